#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.  usage: ./test.sh [dev|asan|tsan] [ctest options]
set -euo pipefail
cd "$(dirname "$0")"
preset=${1:-dev}
[ $# -eq 0 ] || shift
packaging/install-dependencies.sh build run impress test
cmake --preset "$preset"
cmake --build --preset "$preset"
# Most end-to-end tests wait rather than compute, so more of them than cores run side by side.
exec ctest --preset "$preset" --parallel 4 "$@"
