#!/usr/bin/env bash
# Installs a build tree into a temporary prefix, then builds and runs the consumer project
# against it twice: through the CMake package (find_package) and through pkg-config with a
# plain compiler command line. Also checks the installed tool and the library's SONAME.
# Usage: check-install.sh BUILD_DIR
set -euo pipefail
build="$(cd "$1" && pwd)"
here="$(cd "$(dirname "$0")" && pwd)"
work="$(mktemp -d "${TMPDIR:-/tmp}/varn-install-XXXXXX")"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null
libdir="$(dirname "$(find "$prefix" -name 'libVarnUtilityLib.so' -print -quit)")"
[ -n "$libdir" ] || { echo "no libVarnUtilityLib.so installed" >&2; exit 1; }
soname="$(readelf -d "$libdir/libVarnUtilityLib.so" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')"
[ "$soname" = "libVarnUtilityLib.so.0" ] || { echo "SONAME is '$soname'" >&2; exit 1; }
[ -f "$prefix/include/VarnUtilityLib/VarnUtilityLib.h" ] || { echo "umbrella header missing" >&2; exit 1; }
[ -f "$prefix/include/VarnUtilityLib/CUVersion.h" ] || { echo "CUVersion.h missing" >&2; exit 1; }
if find "$prefix/include" -path '*platform*' | grep -q .; then
  echo "platform headers were installed" >&2
  exit 1
fi
"$prefix/bin/varnutil" --version

echo "-- find_package(VarnUtilityLib CONFIG)"
cmake -S "$here" -B "$work/cmake-build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/cmake-build" >/dev/null
"$work/cmake-build/consumer"

echo "-- pkg-config VarnUtilityLib"
flags="$(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs VarnUtilityLib)"
# shellcheck disable=SC2086
"${CXX:-c++}" -Wall -Wextra -o "$work/consumer-pc" "$here/consumer.cpp" $flags
LD_LIBRARY_PATH="$libdir" "$work/consumer-pc"
