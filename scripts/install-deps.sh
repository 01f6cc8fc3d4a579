#!/usr/bin/env bash
# Installs the Debian packages that building and testing VarnUtilityLib need, when missing.
# Works as root or through sudo. Usage: scripts/install-deps.sh [--bench] [--fuzz] [--docs]
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libicu-dev libglib2.0-dev libexpat1-dev uuid-dev libmimalloc-dev
  libcli11-dev libgtest-dev libgmock-dev tmux
  file  # scripts/package.sh: cpack reads the binaries' types with it
)
for arg in "$@"; do
  case "$arg" in
    --bench) packages+=(libbenchmark-dev libspdlog-dev libxml2-dev libpugixml-dev) ;;
    --fuzz) packages+=(clang libclang-rt-14-dev) ;;
    --docs) packages+=(doxygen) ;;
    *) echo "unknown option: $arg" >&2; exit 2 ;;
  esac
done

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "need root or sudo to install: ${missing[*]}" >&2
  exit 1
fi
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
