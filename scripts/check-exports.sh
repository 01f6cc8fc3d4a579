#!/usr/bin/env bash
# Compares the shared library's exported symbols with docs/exported-symbols.txt, so that an
# export added or lost by accident shows up in review. Usage: check-exports.sh BUILD_DIR [--update]
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build/default}"
lib=$(ls "$build"/libVarnUtilityLib.so.* 2>/dev/null | head -n 1)
[ -n "$lib" ] || { echo "no shared library in $build" >&2; exit 1; }
current=$(nm -D --defined-only -C "$lib" | awk '{ $1=""; $2=""; sub(/^  /, ""); print }' \
  | grep -vE '^(_init|_fini|_edata|_end|__bss_start)$' | LC_ALL=C sort -u)
if [ "${2:-}" = "--update" ]; then
  printf '%s\n' "$current" > docs/exported-symbols.txt
  echo "docs/exported-symbols.txt updated ($(printf '%s\n' "$current" | wc -l) symbols)"
  exit 0
fi
if ! diff -u docs/exported-symbols.txt <(printf '%s\n' "$current"); then
  echo "exported symbols changed: review, then run scripts/check-exports.sh $build --update" >&2
  exit 1
fi
echo "exported symbols: ok ($(printf '%s\n' "$current" | wc -l))"
