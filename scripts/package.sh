#!/usr/bin/env bash
# Builds the Debian packages: libvarnutilitylib0, libvarnutilitylib-dev and varnutil.
# Usage: scripts/package.sh [output-folder]   (default build/package/deb)
# The build uses its own tree (build/package) configured for the /usr prefix, without tests.
set -euo pipefail
cd "$(dirname "$0")/.."
out="${1:-build/package/deb}"
build=build/package
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr \
  -DVARN_BUILD_TESTS=OFF -DVARN_BUILD_EXAMPLES=OFF -DVARN_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target VarnUtilityLib varnutil varn-system-report
mkdir -p "$out"
(cd "$build" && cpack -G DEB -B "$PWD/cpack" >/dev/null)
rm -f "$out"/*.deb
cp "$build"/cpack/*.deb "$out"/
for deb in "$out"/*.deb; do
  echo "$deb"
  dpkg-deb -f "$deb" Package Version Depends | sed 's/^/  /'
done
