#!/bin/sh
# Installs the Debian packages that the groups need and that are missing; asks for nothing.
# usage: install-dependencies.sh [build] [run] [impress] [test] [benchmark]     (without a group: all of them)
set -eu

build='cmake ninja-build ccache g++ pkg-config gettext libsdbus-c++-dev libsdbus-c++-bin libsystemd-dev libboost-dev
       libicu-dev libfmt-dev libxml2-dev libcurl4-openssl-dev libssl-dev libxcb1-dev libxcb-ewmh-dev
       libxcb-randr0-dev uuid-dev libcli11-dev nlohmann-json3-dev libcairo2-dev libjpeg-dev fonts-dejavu-core'
run='dbus dbus-daemon dbus-bin'
impress='libreoffice-impress libreoffice-dev xvfb openbox'
benchmark='libreoffice-impress python3-uno ffmpeg mkvtoolnix chromium chromium-driver'
test="$run libgtest-dev libgmock-dev libbenchmark-dev libxcb-xtest0-dev x11proto-dev libxml2-utils gsoap libgsoap-dev xvfb openbox mandoc man-db zsh fish python3-gi python3-websockets git locales"
# One version of them, so that all agree on what is well formed; later Debians no longer have it.
if grep -qs '^12' /etc/debian_version; then test="$test clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev"; fi

wanted=''
[ $# -gt 0 ] || set -- build run impress test benchmark
for group in "$@"; do
    case $group in
        build) wanted="$wanted $build" ;;
        run) wanted="$wanted $run" ;;
        impress) wanted="$wanted $impress" ;;
        test) wanted="$wanted $test" ;;
        benchmark) wanted="$wanted $benchmark" ;;
        *) echo "$0: no group '$group'; there are build, run, impress, test and benchmark" >&2; exit 2 ;;
    esac
done

if ! command -v dpkg-query >/dev/null; then
    echo "$0: this is not Debian; install what corresponds to:" $wanted >&2
    exit 1
fi

present=$(dpkg-query --show --showformat '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null || true)
missing=''
for package in $wanted; do
    case "
$present
" in
        *"
installed $package
"*) ;;
        *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

as_root=''
if [ "$(id -u)" -ne 0 ]; then
    as_root='sudo'
    command -v sudo >/dev/null || { echo "$0: run this as root; missing:$missing" >&2; exit 1; }
fi
echo "Installing:$missing"
$as_root apt-get update -q
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends $missing
