#!/usr/bin/env bash
# Builds the fuzz targets with libFuzzer and the sanitizers, lets each look for ways through the code, and tells per target
# how many inputs it ran, how many a second, what it reached (edges and features) and what it found.
# usage: fuzz/run.sh [--minutes M] [--jobs N] [NAME...]          (5 minutes each, one at a time, all targets)
# Ends with status 1 when something was found. Inputs, findings and logs stay in build/fuzz/fuzz/NAME; a finding is played
# again by build/fuzz/bin/fuzz-NAME FILE.
set -euo pipefail
cd "$(dirname "$0")/.."
usage() { echo "usage: $0 [--minutes M] [--jobs N] [NAME...]" >&2; exit 2; }
minutes=5 jobs=1 names=()
while [ $# -gt 0 ]; do
    case $1 in
        --minutes | --jobs) [[ ${2:-} =~ ^[1-9][0-9]*$ ]] || usage; declare "${1#--}=$2"; shift ;;
        -*) usage ;;
        *) [ -d "fuzz/corpus/$1" ] || { echo "$0: there is no target $1" >&2; exit 2; }; names+=("$1") ;;
    esac
    shift
done
[ ${#names[@]} -gt 0 ] || mapfile -t names < <(ls fuzz/corpus)

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${names[@]/#/fuzz-}"
# A hang counts like a crash: its end by `timeout` is a finding, too.
fuzz() {
    local work=$PWD/build/fuzz/fuzz/$1 found=-
    mkdir -p "$work/inputs" "$work/findings"
    timeout --kill-after=10 $((minutes * 60 + 120)) "build/fuzz/bin/fuzz-$1" -max_total_time=$((minutes * 60)) -timeout=30 \
        -print_final_stats=1 -artifact_prefix="$work/findings/" "$work/inputs" "fuzz/corpus/$1" >"$work/log" 2>&1 \
        || found=$(sed -n 's/.*Test unit written to //p' "$work/log" | tail -n 1)
    figure() { sed -nE "s/.*$1 *([0-9]+).*/\1/p" "$work/log" | tail -n 1; }
    printf '%-20s %12s %9s %8s %9s  %s\n' "$1" "$(figure stat::number_of_executed_units:)" \
        "$(figure stat::average_exec_per_sec:)" "$(figure cov:)" "$(figure ft:)" "${found:-see $work/log}"
    [ "$found" = - ]
}
export minutes
export -f fuzz
printf '%-20s %12s %9s %8s %9s  %s\n' target inputs '/second' edges features found
printf '%s\n' "${names[@]}" | xargs -P "$jobs" -I NAME bash -c 'fuzz NAME' || exit 1
