#!/usr/bin/env bash
# Builds the Debian packages, installs them with dpkg, builds the consumer project against the
# installed files (CMake package and pkg-config), runs varnutil, and removes the packages again.
# Needs root (or sudo). Packages already installed before the run are left as they were.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$(id -u)" -eq 0 ]; then sudo=(); else sudo=(sudo); fi

packages=(varnutil libvarnutilitylib-dev libvarnutilitylib0)
for p in "${packages[@]}"; do
  if dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    echo "$p is installed already; remove it first" >&2
    exit 1
  fi
done

out="$(mktemp -d "${TMPDIR:-/tmp}/varn-deb-XXXXXX")"
cleanup() {
  "${sudo[@]}" dpkg --purge "${packages[@]}" >/dev/null 2>&1 || true
  rm -rf "$out"
}
trap cleanup EXIT

scripts/package.sh "$out/debs"
# dpkg -i does not fetch dependencies: the library's (ICU, expat, libuuid) are present on any
# machine that built it.
"${sudo[@]}" dpkg -i "$out"/debs/*.deb

varnutil --version
# The program that writes the log's system report from a process of its own.
test -x /usr/libexec/VarnUtilityLib/varn-system-report
varnutil uuid >/dev/null

echo "-- consumer through find_package"
cmake -S tests/consumer -B "$out/cmake-build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$out/cmake-build" >/dev/null
"$out/cmake-build/consumer"

echo "-- consumer through pkg-config"
# shellcheck disable=SC2046
"${CXX:-c++}" -Wall -Wextra -o "$out/consumer-pc" tests/consumer/consumer.cpp \
  $(pkg-config --cflags --libs VarnUtilityLib)
"$out/consumer-pc"

"${sudo[@]}" dpkg --purge "${packages[@]}" >/dev/null
if [ -e /usr/include/VarnUtilityLib/VarnUtilityLib.h ] || ldconfig -p | grep -q libVarnUtilityLib; then
  echo "files remain after removing the packages" >&2
  exit 1
fi
echo "debian packages: install, build against, run and remove: ok"
