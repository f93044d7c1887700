#!/usr/bin/env bash
# Puts the mistakes of a list into the product, one at a time, and tells which of them are found: those of the service by
# the simulated lectures, with which seed; those of what writes files by the processes that are killed at each change.
# usage: tests/mutations/mutate.sh [LECTURES [NAME...]]
# Ends with status 1 when a mistake survives. The tree must be without changes in the files concerned; they are restored.
set -euo pipefail
cd "$(dirname "$0")/../.."
lectures=${1:-10000}
shift || true
build=build/mutations
file= survivors=0
restore() { [ -z "$file" ] || git checkout -q -- "$file"; file=; }
trap restore EXIT

cmake --preset dev -B "$build" -DKCS_IMPRESS=OFF -DKCS_BENCHMARKS=OFF >/dev/null
while IFS='|' read -r name path expression; do
    [[ -n $name && $name != \#* ]] || continue
    [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
    git diff --quiet -- "$path" || { echo "$path has changes" >&2; exit 2; }
    file=$path
    sed -i -E "$expression" "$path"
    if git diff --quiet -- "$path"; then echo "$name: $path no longer has that line" >&2; exit 2; fi
    case $path in
        KeynoteCaptureService/* | platform/simulated/*) check=(simulate --lectures "$lectures") ;;
        *) check=(cut-tests) ;;
    esac
    if ! cmake --build "$build" --target "${check[0]}" >"$build/log" 2>&1; then
        printf '%-32s is no program\n' "$name"
    elif timeout 300 "$build/bin/${check[0]}" "${check[@]:1}" >"$build/story" 2>&1; then
        printf '%-32s SURVIVES %s\n' "$name" "${check[*]}"
        survivors=$((survivors + 1))
    else
        printf '%-32s %s\n' "$name" "$(grep -m1 -E '^(seed|\[  FAILED)' "$build/story" || echo 'crashes')"
    fi
    restore
done <tests/mutations/mutations.txt
[ "$survivors" -eq 0 ]
