#!/usr/bin/env bash
# Builds and runs the test suite. Usage: scripts/test.sh [preset]   (default, debug, asan, tsan)
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"
scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
