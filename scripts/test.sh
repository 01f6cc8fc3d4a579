#!/usr/bin/env bash
# Builds and runs the test suite. Usage: scripts/test.sh [preset]   (default, debug, asan, tsan)
# Ends by listing each skipped test with its reason (what the test printed when it skipped).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
junit="$(mktemp)"
trap 'rm -f "$junit"' EXIT
status=0
ctest --preset "$preset" --output-junit "$junit" || status=$?

scripts/list-skipped.sh "$junit"
exit "$status"
