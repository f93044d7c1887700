#!/usr/bin/env bash
# Puts the mistakes of a list into the product, one at a time, and tells which of them are found: by simulated lectures, and
# with which seed, or by the program that the list names.  usage: tests/mutations/mutate.sh [--check | LECTURES [NAME...]]
# Ends with status 1 when a mistake survives. The tree must be without changes in the files concerned; they are restored.
# --check only looks whether each mistake can still be made.
set -euo pipefail
cd "$(dirname "$0")/../.."
lectures=${1:-10000}
shift || true
build=build/mutations
file= survivors=0
restore() { [ -z "$file" ] || git checkout -q -- "$file"; file=; }
trap restore EXIT

mistakes() { grep -v -e '^#' -e '^$' tests/mutations/mutations.txt; }
while IFS='|' read -r name path expression; do
    sed -E "$expression" "$path" | cmp -s - "$path" || continue
    echo "$name: $path no longer has that line" >&2
    exit 2
done < <(mistakes)
[ "$lectures" != --check ] || exit 0

cmake --preset dev -B "$build" -DKCS_IMPRESS=OFF -DKCS_BENCHMARKS=OFF >/dev/null
while IFS='|' read -r name path expression; do
    program=simulate
    [[ $name != *@* ]] || program=${name#*@}
    name=${name%@*}
    case $program in
        simulate) arguments=(--lectures "$lectures") ;;
        fuzz-*) arguments=(-runs=2000 -seed=1 "fuzz/corpus/${program#fuzz-}") ;;
        *) arguments=() ;;
    esac
    [ $# -eq 0 ] || [[ " $* " == *" $name "* ]] || continue
    git diff --quiet -- "$path" || { echo "$path has changes" >&2; exit 2; }
    file=$path
    sed -i -E "$expression" "$path"
    if ! cmake --build "$build" --target "$program" >"$build/log" 2>&1; then
        printf '%-32s is no program\n' "$name"
    elif (timeout 300 "$build/bin/$program" "${arguments[@]}"; exit $?) >"$build/story" 2>&1; then
        printf '%-32s SURVIVES %s\n' "$name" "$program ${arguments[*]}"
        survivors=$((survivors + 1))
    else
        printf '%-32s %s\n' "$name" "$(grep -m1 -e '^seed' -e '^\[  FAILED' "$build/story" || echo "$program crashes")"
    fi
    restore
done < <(mistakes)
[ "$survivors" -eq 0 ]
