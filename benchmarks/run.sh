#!/usr/bin/env bash
# Builds, measures against peers and physical limits, and prints a table.  usage: benchmarks/run.sh [NAME...]
# The names are http, journal, log, poll, polling, restart, search, soap, soapcall, start, strings, text, tick (all unless told otherwise, four minutes), and
# extract, impress, lecture and truth.
# Exit status: 0 every figure is within its limit, 1 one is not or could not be measured, 2 wrong usage.
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/release
target=(benchmarks)
[[ ! " $* " =~ " impress "|" extract " ]] || target+=(keynote-impress)
[[ ! " $* " =~ " truth " ]] || target+=(truth_benchmark)
mkdir -p build
[ -z "${KCS_BUILT:-}" ] || target=()
if [ ${#target[@]} -gt 0 ]; then
    packaging/install-dependencies.sh
    { cmake --preset release && cmake --build "$build" --target "${target[@]}"; } >build/benchmarks.log 2>&1 \
        || { tail -40 build/benchmarks.log; exit 1; }
fi
exec python3 -B benchmarks/measure.py --programs "$build/bin" "$@"
