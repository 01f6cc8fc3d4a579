#!/usr/bin/env bash
# `varnutil xml`: lenient by default and exact with --strict, a refusal as FILE:LINE:COLUMN:
# reason with exit status 1, and fmt indenting element-only content while text stays as it is.
# Usage: xml-command.sh VARNUTIL
set -euo pipefail
varnutil="$1"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

# Each case: command arguments (the file last), the exit status, and what the output must be.
expect() {
  local want_status="$1" want="$2"
  shift 2
  local got status=0
  got="$("$varnutil" xml "$@" 2>&1)" || status=$?
  [ "$status" -eq "$want_status" ] || fail "$* exited $status, not $want_status: $got"
  [ "$got" = "$want" ] || fail "$*: got [$got], want [$want]"
}

printf '<a>\n  <b></a>' >"$work/bad.xml"
expect 1 "$work/bad.xml:2:6: mismatched end tag </a>" check "$work/bad.xml"
expect 1 "$work/bad.xml:2:6: mismatched end tag </a>" check --strict "$work/bad.xml"

printf '<?xml version="1.0"?>\n<!-- c -->\n<r k="v"><s>x<![CDATA[&]]> <t/></s><u/><?p d?></r>' \
  >"$work/doc.xml"
expect 1 "$work/doc.xml:2:1: comment" check --strict "$work/doc.xml"
expect 0 "$work/doc.xml: loads (2 top-level nodes)" check "$work/doc.xml"
expect 0 '<?xml version="1.0"?>
<r k="v">
  <s>x&amp;&#32;<t></t></s>
  <u></u>
  <?p d?>
</r>' fmt "$work/doc.xml"
expect 0 '<?xml version="1.0"?>
<r k="v">
    <s>x&amp;&#32;<t></t></s>
    <u></u>
    <?p d?>
</r>' fmt --indent 4 "$work/doc.xml"
expect 0 '<?xml version="1.0"?><r k="v"><s>x&amp;&#32;<t></t></s><u></u><?p d?></r>' \
  fmt --indent 0 "$work/doc.xml"
echo "ok"
