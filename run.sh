#!/usr/bin/env bash
# Builds, then shows the main job: a lecture is presented and captured, the events are printed as they come, and the path
# of the page that the lecture leaves comes last.
#
#   ./run.sh         with the simulated presentation program
#   ./run.sh DECK    with LibreOffice Impress: on your display, where you present; without one on a virtual display,
#                    where the show advances by itself
set -euo pipefail
cd "$(dirname "$0")"
root=$PWD
[ $# -le 1 ] || { echo "usage: $0 [DECK]" >&2; exit 2; }
deck=${1:+$(realpath -- "$1")}
[ -z "$deck" ] || [ -r "$deck" ] || { echo "$0: cannot read the deck $deck" >&2; exit 2; }

build=build/run
program=keynote-simulator
[ -z "$deck" ] || program=keynote-impress
mkdir -p build
if [ -z "${KCS_BUILT:-}" ]; then
    packaging/install-dependencies.sh build run ${deck:+impress}
    cmake --preset release -B "$build" -DKCS_TESTS=OFF -DKCS_BENCHMARKS=OFF -DCMAKE_UNITY_BUILD=ON -DKCS_IMPRESS="${deck:+ON}" >"$build.log" 2>&1 \
        || { cat "$build.log"; exit 1; }
    cmake --build "$build" --target KeynoteCaptureService keynote-capture "$program"
    export KCS_BUILT=1
fi
# Everything below needs a session bus; make a private one where there is none.
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ] && [ ! -S "${XDG_RUNTIME_DIR:-/nonexistent}/bus" ]; then
    exec dbus-run-session -- "$root/run.sh" "$@" 2> >(grep -v '^dbus-daemon' >&2)
fi

started=()
finish() {
    for ((i = ${#started[@]} - 1; i >= 0; i--)); do kill -- "-${started[i]}" 2>/dev/null || true; done
    [ -z "${work:-}" ] || rm -rf "$work"
}
trap finish EXIT
# Starts a command in a process group of its own, so that all of it can be ended.
start() { set -m; "$@" & set +m; started+=($!); }

work=$(mktemp -d)
captures=$root/build/captures/$(date +%Y-%m-%d_%H%M%S)
mkdir -p "$captures"
start "$build/bin/KeynoteCaptureService" >"$work/service.log" 2>&1
for _ in $(seq 100); do
    dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.GetNameOwner \
        string:com.veldrin.KeynoteCaptureService >/dev/null 2>&1 && break
    sleep 0.1
done
start "$build/bin/keynote-capture" record --to "$captures"
recorder=${started[-1]}

if [ -z "$deck" ]; then
    "$build/bin/keynote-simulator" examples/lecture.simulation >"$work/program.log" 2>&1
else
    show=()
    if [ -z "${DISPLAY:-}" ]; then
        start Xvfb -displayfd 3 -screen 0 1440x900x24 -nolisten tcp 3>"$work/display" 2>/dev/null
        for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
        DISPLAY=:$(cat "$work/display")
        export DISPLAY
        start openbox >/dev/null 2>&1
        show=(--present "$deck" --advance 3)
    fi
    pipe=keynote-capture-$$
    start soffice --accept="pipe,name=$pipe;urp;" --norestore --nologo --nodefault --nofirststartwizard \
        "-env:UserInstallation=file://$work/profile" >"$work/office.log" 2>&1
    office=${started[-1]}
    start "$build/bin/keynote-impress" --pipe "$pipe" "${show[@]}" >"$work/program.log" 2>&1
    if [ ${#show[@]} -gt 0 ]; then
        for _ in $(seq 1200); do grep -q 'show ended' "$work/program.log" && break; sleep 0.25; done
        sleep 1
    else
        soffice "-env:UserInstallation=file://$work/profile" "$deck" >/dev/null 2>&1 || true
        echo "Present the deck (F5). When you are done, close the office window."
        wait "$office" || true
    fi
fi

# The recorder waits for the images of the show that has ended.
kill -INT "$recorder" 2>/dev/null || true
status=0
wait "$recorder" || status=$?
echo
echo "The capture lies in $captures:"
(cd "$captures" && find . -type f -printf '%P  %s bytes\n' | sort)
find "$captures" -name index.html -printf 'Its page, for a browser: %p\n'
exit "$status"
