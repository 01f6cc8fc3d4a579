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
tmux new-session -d -s "$session" -x 120 -y 10 \
  "'$varnutil' cp '$work/source' '$work/copy'; echo \"EXIT=\$?\" > '$work/status'; sleep 30"

bar=""
for _ in $(seq 1 50); do
  sleep 0.1
  bar="$(tmux capture-pane -p -t "$session" | grep -E '\[#*[ ]*\] +[0-9]+%.*/s .*left' || true)"
  [ -n "$bar" ] && break
done
if [ -z "$bar" ]; then
  echo "no progress bar seen:"; tmux capture-pane -p -t "$session"; exit 1
fi
echo "progress bar: $bar"

tmux send-keys -t "$session" C-c
for _ in $(seq 1 150); do
  [ -f "$work/status" ] && break
  sleep 0.1
done
status="$(cat "$work/status" 2>/dev/null || echo missing)"
echo "after Ctrl-C: $status"
[ "$status" = "EXIT=130" ] || { tmux capture-pane -p -t "$session"; exit 1; }
if [ -e "$work/copy" ]; then
  echo "a partial destination was left behind"; exit 1
fi
echo "no partial file left"
