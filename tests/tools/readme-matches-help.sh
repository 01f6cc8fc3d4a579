#!/usr/bin/env bash
# The README's varnutil table lists exactly the subcommands of `varnutil --help` (and of each
# subcommand that has its own), each with the same description.
# Usage: readme-matches-help.sh VARNUTIL README
set -uo pipefail
varnutil="$1"
section="$(sed -n '/^## varnutil$/,/^## /p' "$2")"
failed=0

# "name<TAB>description" for each subcommand listed by `varnutil WORDS... --help`.
subcommands() {
  "$varnutil" "$@" --help | sed -n '/^Subcommands:$/,$p' | sed -n 's/^  \([a-z]*\)  *\(.*[^ ]\) *$/\1\t\2/p'
}

check() {
  local prefix="$1" name description
  shift
  while IFS=$'\t' read -r name description; do
    [ -z "$name" ] && continue
    local row
    row="$(grep -F "| \`varnutil $prefix$name" <<<"$section" | grep -F "| $description |")"
    if [ -z "$row" ]; then
      echo "README lacks: | \`varnutil $prefix$name ...\` | $description |"
      failed=$((failed + 1))
    fi
    known+=("$prefix$name")
    check "$prefix$name " "$@" "$name"
  done < <(subcommands "$@")
}

known=()
check ""
# Every row names a real subcommand.
while read -r words; do
  found=0
  for k in "${known[@]}"; do
    case "$words " in "$k "*) found=1 ;; esac
  done
  if [ "$found" -eq 0 ]; then
    echo "README lists a subcommand varnutil does not have: varnutil $words"
    failed=$((failed + 1))
  fi
done < <(sed -n 's/^| `varnutil \([a-z]*\).*/\1/p' <<<"$section")

echo "${#known[@]} subcommands checked, $failed differences"
[ "$failed" -eq 0 ]
