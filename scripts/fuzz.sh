#!/usr/bin/env bash
# Builds the libFuzzer targets (preset "fuzz": clang with AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for a while, starting from an empty corpus in a
# temporary folder (XmlLoadFuzz also reads the W3C XML conformance documents as seeds).
#
# Usage: scripts/fuzz.sh [seconds per target, default 60] [target...]   (default: every target)
# Exits non-zero when a target finds a crash, a leak, a broken property or a hang; the input
# that did it is kept in build/fuzz/artifacts/. Prints executions and coverage per target.
# VARN_XMLCONF_ZIP names the conformance suite archive (default: ../shared/testdata/...).
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)

seconds="${1:-60}"
shift || true
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/*Fuzz.cpp; do
    targets+=("$(basename "$source" .cpp)")
  done
fi

if ! command -v clang++ >/dev/null 2>&1 || ! compgen -G "/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a" >/dev/null; then
  scripts/install-deps.sh --fuzz
fi
scripts/install-deps.sh

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "${targets[@]}"

work=$(mktemp -d "${TMPDIR:-/tmp}/varn-fuzz.XXXXXX")
trap 'rm -rf "$work"' EXIT
artifacts="$repo/build/fuzz/artifacts"
mkdir -p "$artifacts"

# Conformance documents as seeds for the XML loader: every document up to 16 KiB.
xml_seeds="$work/xml-seeds"
mkdir -p "$xml_seeds"
zip="${VARN_XMLCONF_ZIP:-$repo/../shared/testdata/xmlts20130923.zip}"
if [ -f "$zip" ]; then
  (cd "$work" && cmake -E tar xf "$zip")
  n=0
  while IFS= read -r -d '' f; do
    n=$((n + 1))
    cp "$f" "$xml_seeds/$n.xml"
  done < <(find "$work/xmlconf" -type f -name '*.xml' -size -16k -print0)
  rm -rf "$work/xmlconf"
else
  echo "note: $zip not found; XmlLoadFuzz starts without seeds" >&2
fi

status=0
printf '%-20s %10s %8s %8s %s\n' target executions cov ft result
for target in "${targets[@]}"; do
  corpus="$work/corpus-$target"
  mkdir -p "$corpus"
  options=(-max_total_time="$seconds" -timeout=30 -rss_limit_mb=2560 -print_final_stats=1
           -artifact_prefix="$artifacts/$target-")
  inputs=("$corpus")
  case "$target" in
    XmlLoadFuzz)
      options+=(-max_len=16384 -dict="$repo/fuzz/xml.dict")
      inputs+=("$xml_seeds")
      ;;
  esac
  log="$work/$target.log"
  result=ok
  if ! "build/fuzz/fuzz/$target" "${options[@]}" "${inputs[@]}" >"$log" 2>&1; then
    result=FAILED
    status=1
  fi
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1 || true)
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1 | cut -d' ' -f2 || true)
  ft=$(grep -o 'ft: [0-9]*' "$log" | tail -1 | cut -d' ' -f2 || true)
  printf '%-20s %10s %8s %8s %s\n' "$target" "${executions:-?}" "${cov:-?}" "${ft:-?}" "$result"
  if [ "$result" != ok ]; then
    grep -E 'broken property|ERROR|SUMMARY|runtime error|Test unit written' "$log" | head -20 >&2
    cp "$log" "$artifacts/$target.log"
  fi
done
exit $status
