#!/usr/bin/env bash
# Drives `varnutil cp` on a real terminal (a tmux pane): the progress bar must show a rate and
# the time left, and Ctrl-C must end the copy with status 130 and no partial destination.
# Usage: cp-progress-interrupt.sh VARNUTIL
set -euo pipefail
varnutil="$1"
command -v tmux >/dev/null || { echo "tmux is not installed"; exit 77; }
work="$(mktemp -d)"
session="varn-cp-$$"
cleanup() { tmux kill-session -t "$session" 2>/dev/null || true; rm -rf "$work"; }
trap cleanup EXIT

# Unwritten extents read as zeros but must still be copied: a copy of several seconds without
# writing gigabytes first.
fallocate -l 4G "$work/source" 2>/dev/null || { echo "fallocate unsupported here"; exit 77; }
# One attempt: start the copy on a terminal, wait for the bar, press Ctrl-C. Prints the status
# line; returns 2 when the copy finished before the key arrived (a loaded machine), so that the
# attempt says nothing either way.
attempt() {
  rm -f "$work/status" "$work/copy"
  tmux kill-session -t "$session" 2>/dev/null || true
  tmux new-session -d -s "$session" -x 120 -y 10 \
    "'$varnutil' cp '$work/source' '$work/copy'; echo \"EXIT=\$?\" > '$work/status'; sleep 30"

  bar=""
  for _ in $(seq 1 100); do
    sleep 0.1
    bar="$(tmux capture-pane -p -t "$session" | grep -E '\[#*[ ]*\] +[0-9]+%.*/s .*left' || true)"
    [ -n "$bar" ] && break
  done
  if [ -z "$bar" ]; then
    echo "no progress bar seen:"; tmux capture-pane -p -t "$session"; return 1
  fi
  echo "progress bar: $bar"

  tmux send-keys -t "$session" C-c
  for _ in $(seq 1 150); do
    [ -f "$work/status" ] && break
    sleep 0.1
  done
  status="$(cat "$work/status" 2>/dev/null || echo missing)"
  echo "after Ctrl-C: $status"
  if [ "$status" = "EXIT=0" ] && cmp -s "$work/source" "$work/copy"; then
    echo "the copy was complete before Ctrl-C arrived"; return 2
  fi
  [ "$status" = "EXIT=130" ] || { tmux capture-pane -p -t "$session"; return 1; }
  if [ -e "$work/copy" ]; then
    echo "a partial destination was left behind"; return 1
  fi
  echo "no partial file left"
}

for try in 1 2 3; do
  result=0
  attempt || result=$?
  [ "$result" -eq 2 ] || exit "$result"
done
echo "every attempt finished before Ctrl-C; nothing shown"; exit 77
