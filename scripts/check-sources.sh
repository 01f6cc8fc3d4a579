#!/usr/bin/env bash
# Source rules: only platform/ includes ICU, GLib/GIO, expat, libuuid or POSIX system headers.
set -euo pipefail
cd "$(dirname "$0")/.."
pattern='#include <(unicode/|glib|gio/|expat|uuid/|unistd\.h|fcntl\.h|pthread\.h|dirent\.h|sys/|sched\.h|dlfcn\.h|signal\.h)'
hits=$(grep -rnE "$pattern" include core threading collections streams filesystem xml time log 2>/dev/null || true)
if [ -n "$hits" ]; then
  echo "platform headers outside platform/:"
  echo "$hits"
  exit 1
fi
echo "source rules: ok"
