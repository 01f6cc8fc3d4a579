#!/usr/bin/env bash
# Drives varnutil through a table of command lines: each row gives the exit status, a pattern
# (grep -P, over the whole output; an empty one wants no output at all) that stdout and stderr together must contain, a check run afterwards in the work
# folder, and the command line. Rows marked `user` run as an unprivileged user, so that
# permissions hold; as root they run through setpriv as nobody (from a copy of the tool when
# nobody cannot reach the build tree), and are skipped when nobody cannot run it at all.
# Usage: varnutil-cases.sh VARNUTIL
set -uo pipefail
varnutil="$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"
work="$(mktemp -d)"
trap 'chmod -R u+rwx "$work" 2>/dev/null; rm -rf "$work"' EXIT
chmod 755 "$work"
cd "$work"
export HOME="$work/home" XDG_DATA_HOME="$work/home/.local/share" NO_COLOR=1
unset LC_ALL LC_COLLATE
# The tool collates with ICU, which needs no system locale; given through env, so that the
# shell itself does not try to load it.
pinned=(env LANG=en_US.UTF-8)
mkdir -p "$HOME" folder full/sub ro unreadable-folder trash-me
printf 'abc' > file.txt
printf 'abc' > full/abcdefgh
printf 'abc' > full/日本.txt
for name in b A a B; do printf 'x' > "full/$name"; done
ln -s folder link-to-folder
mkfifo fifo
ln -s file.txt link-to-file
printf 'x' > folder/inside
printf 'secret' > unreadable.txt
chmod 000 unreadable.txt unreadable-folder
chmod 555 ro
mkdir locked-log
printf 'old line\r\n' > locked-log/App0.log
chmod 444 locked-log/App0.log
chmod 777 locked-log
ln -s folder link-to-folder-r

as_user=()
user_ok=1
user_varnutil="$varnutil"
if [ "$(id -u)" -eq 0 ]; then
  as_user=(setpriv --reuid=nobody --regid=nogroup --clear-groups)
  if ! "${as_user[@]}" "$varnutil" --version >/dev/null 2>&1; then
    # The build tree is out of nobody's reach (under /root, say): run a copy of the tool and
    # of the library from the work folder instead.
    mkdir "$work/bin"
    cp "$varnutil" "$work/bin/"
    ldd "$varnutil" | sed -n 's/.*=> \(.*libVarnUtilityLib[^ ]*\) .*/\1/p' |
      xargs -r cp -t "$work/bin/"
    chmod -R a+rX "$work/bin"
    user_varnutil="$work/bin/$(basename "$varnutil")"
    as_user+=(env "LD_LIBRARY_PATH=$work/bin")
    "${as_user[@]}" "$user_varnutil" --version >/dev/null 2>&1 || user_ok=0
  fi
fi

# status | who | pattern | check afterwards | command line
cases=(
  # Command lines: a wrong word exits 2 and is named.
  "2|-|\`frob\` is not a subcommand; one of: tour, |true|frob"
  "2|-|varnutil log: \`logs\` is not a subcommand; one of: write, show|[ ! -e logs ]|log logs App hi"
  "2|-|varnutil log: a subcommand is needed|true|log"
  "2|-|not expected: extra|true|log show logs App extra"
  "2|-|MESSAGE is required|[ ! -e logs ]|log write logs App"
  "2|-|--level: Value 9 not in range|[ ! -e logs ]|log write logs App hello -l 9"
  "0|-|Usage: .*log write|true|log write --help"
  "0|-|Usage: .*log show|true|log show --help"
  # The log: write then show; a missing ring is an error that creates nothing.
  "1|-|^varnutil log show: logs: no such file or directory\$|[ ! -e logs ] && [ ! -e show ]|log show logs App"
  "0|-||[ -f logs/App0.log ]|log write logs App 'first line'"
  "0|-||grep -q 'ERROR.*second' logs/App0.log|log write logs App second -l 1"
  "0|-|(?s)INFO\]\tfirst line.*ERROR\]\tsecond|true|log show logs App"
  "1|-|log show: logs: no log files named Other0.log to Other9.log there|[ ! -e logs/Other0.log ]|log show logs Other"
  "1|-|^varnutil log write: file.txt: not a folder\$|true|log write file.txt App hello"
  "1|user|^varnutil log write: ro: permission denied\$|[ -z \"\$(ls ro)\" ]|log write ro App hello"
  "1|user|^varnutil log write: locked-log/App0.log: the line could not be written: permission denied\$|[ \"\$(cat locked-log/App0.log)\" = \"\$(printf 'old line\\r')\" ]|log write locked-log App hello"
  "1|user|^varnutil log write: unreadable-folder: permission denied\$|true|log write unreadable-folder App hello"
  "1|user|^varnutil log write: ro/new: permission denied \(error 4\)\$|[ ! -e ro/new ]|log write ro/new App hello"
  # Failures give the system's reason and the library's code.
  "1|-|^varnutil rm: missing: no such file or directory\$|true|rm missing"
  "1|-|^varnutil ls: missing: no such file or directory \(error 4\)\$|true|ls missing"
  "1|-|^varnutil ls: file.txt: not a folder \(error 4\)\$|true|ls file.txt"
  "1|user|^varnutil ls: unreadable-folder: permission denied\$|true|ls unreadable-folder"
  "1|-|^varnutil cp: missing: no such file or directory \(error 9\)\$|true|cp missing copy"
  "1|user|^varnutil cp: unreadable.txt: permission denied \(error 9\)\$|[ ! -e copy ]|cp unreadable.txt copy"
  "1|-|^varnutil cp: fifo: is not a regular file \(a pipe, a device or a socket\); only files are copied and moved \(error 9\)\$|[ ! -e copy ]|cp fifo copy"
  "1|-|^varnutil cp: folder: is a folder; name the new file in full, e.g. folder/file.txt|true|cp file.txt folder"
  "1|-|^varnutil cp: folder/inside: exists; --force replaces it \(error 4\)\$|true|cp file.txt folder/inside"
  "1|user|^varnutil mkdir: ro: permission denied \(error 4\)\$|[ ! -e ro/new ]|mkdir ro/new"
  "1|-|^varnutil mkdir: file.txt: not a folder|true|mkdir file.txt/sub"
  "1|-|^varnutil drive: missing: no such file or directory\$|true|drive missing"
  "2|-|--count: Value 0 not in range|true|uuid --count 0"
  "1|-|^varnutil xml: missing.xml: no such file or directory \(error 9\)\$|true|xml check missing.xml"
  "1|-|^varnutil xml: folder: is a folder, not an XML document \(error 5\)\$|true|xml check folder"
  "1|user|^varnutil xml: unreadable.txt: permission denied \(error 4\)\$|true|xml check unreadable.txt"
  # Links are removed, never what they point to.
  "0|-||[ ! -L link-to-folder ] && [ -f folder/inside ]|rm link-to-folder"
  "0|-||[ ! -L link-to-file ] && [ -f file.txt ]|rm link-to-file"
  "0|-||[ ! -L link-to-folder-r ] && [ -f folder/inside ]|rm -r link-to-folder-r"
  # The trash takes folders, and says so for a file.
  "1|-|^varnutil trash: file.txt: only folders can be trashed|[ -f file.txt ]|trash file.txt"
  "0|-||[ ! -e trash-me ] && [ -d \"\$XDG_DATA_HOME/Trash/files/trash-me\" ]|trash trash-me"
  # ls: the locale's order, and columns lined up by display width.
  "0|-|^sub/\na         1 B\nA         1 B\nabcdefgh  3 B\nb         1 B\nB         1 B\n日本.txt  3 B\$|true|ls full"
)

failed=0
skipped=0
for row in "${cases[@]}"; do
  IFS='|' read -r want who pattern check line <<<"$row"
  eval "args=($line)"
  runner=()
  tool="$varnutil"
  if [ "$who" = user ]; then
    if [ "$user_ok" -eq 0 ]; then
      echo "skipped (nobody cannot run $varnutil): varnutil $line"
      skipped=$((skipped + 1))
      continue
    fi
    runner=("${as_user[@]}")
    tool="$user_varnutil"
  fi
  output="$("${runner[@]}" "${pinned[@]}" "$tool" "${args[@]}" 2>&1)"
  status=$?
  if [ "$status" -ne "$want" ] || { [ -z "$pattern" ] && [ -n "$output" ]; } ||
    { [ -n "$pattern" ] && ! printf '%s' "$output" | grep -Pzq -- "$pattern"; } || ! eval "$check"; then
    echo "FAILED: varnutil $line"
    echo "  exit $status (want $want); output:"
    sed 's/^/    /' <<<"$output"
    echo "  wanted pattern: $pattern; check: $check"
    failed=$((failed + 1))
  else
    echo "ok: varnutil $line"
  fi
done

# The tour logs the same number of sections that it prints at the end.
tour="$("${pinned[@]}" "$varnutil" tour 2>&1)"
printed="$(sed -n 's/^\([0-9]*\) sections in .*/\1/p' <<<"$tour")"
logged="$(sed -n 's/.*tour started with \([0-9]*\) sections.*/\1/p' <<<"$tour")"
if [ -z "$printed" ] || [ "$printed" != "$logged" ]; then
  echo "FAILED: the tour prints ${printed:-no} sections but logs ${logged:-none}"
  failed=$((failed + 1))
else
  echo "ok: the tour prints and logs $printed sections"
fi

echo "$((${#cases[@]} + 1 - skipped)) cases run, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
