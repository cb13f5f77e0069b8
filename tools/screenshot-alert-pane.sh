#!/usr/bin/env bash
# Screenshot of the alert pane as a person sees it, on a private X server.
#   tools/screenshot-alert-pane.sh [build-dir] [output.png] [message]
# Without a message the demo's own (a pane grown by a few lines); `long` is a message of 140
# characters, the most the pane holds without growing.
set -euo pipefail
build=${1:-build}
out=${2:-docs/screenshots/alert-pane.png}
message=${3:-}
if [ "$message" = long ]; then
  message="Immediate schedule has already been scheduled. Please try after it completes; your files are safe and the next backup will start as planned."
fi
demo_args=()
[ -n "$message" ] && demo_args=(--message "$message")
display=:97
Xvfb "$display" -screen 0 1024x640x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'kill $demo $xvfb 2>/dev/null || true' EXIT
sleep 1
DISPLAY=$display QT_QPA_PLATFORM=xcb "$build/tests/alert_pane_demo" "${demo_args[@]}" &
demo=$!
for _ in $(seq 1 50); do
  id=$(DISPLAY=$display xwininfo -root -tree 2>/dev/null | awk '/"Corvane Lumen"/ {print $1; exit}')
  [ -n "$id" ] && break
  sleep 0.1
done
sleep 0.5
mkdir -p "$(dirname "$out")"
DISPLAY=$display import -window "${id:-root}" "$out"
echo "wrote $out"
