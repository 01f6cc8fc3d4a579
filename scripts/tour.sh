#!/usr/bin/env bash
# Builds everything (default preset) and runs the library's tour.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default
exec build/default/tools/varnutil/varnutil tour
