#!/usr/bin/env bash
# Lists the skipped tests of a ctest JUnit report (ctest --output-junit FILE), each with its
# reason. Usage: scripts/list-skipped.sh FILE
set -euo pipefail
# A skipped GoogleTest prints "FILE:LINE: Skipped" and then its reason; a skipped script
# prints its reason last.
skips="$(awk '
  /<testcase / {
    name = $0; sub(/.*<testcase name="/, "", name); sub(/".*/, "", name)
    skipped = ($0 ~ /status="notrun"/); reason = ""; last = ""; fallback = ""; take = 0; next
  }
  !skipped { next }
  /<skipped message=/ { fallback = $0; sub(/.*message="/, "", fallback); sub(/".*/, "", fallback); next }
  /<\/testcase>/ {
    if (reason == "") reason = (last != "" ? last : fallback)
    printf "  %s: %s\n", name, reason; skipped = 0; next
  }
  { line = $0; sub(/.*<system-out>/, "", line); sub(/<\/system-out>.*/, "", line) }
  take { reason = line; take = 0; next }
  line ~ /: Skipped$/ { take = 1; next }
  line != "" && line !~ /^\[/ { last = line }
' "$1" | sed 's/&lt;/</g; s/&gt;/>/g; s/&quot;/"/g; s/&apos;/'"'"'/g; s/&amp;/\&/g')"
if [ -n "$skips" ]; then
  echo
  echo "Skipped tests ($(grep -c . <<<"$skips")), with their reasons:"
  echo "$skips"
else
  echo
  echo "No test was skipped."
fi
