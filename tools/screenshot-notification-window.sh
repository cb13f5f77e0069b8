#!/usr/bin/env bash
# The notification window drawn by a small demo program on a private X server (for its variants;
# tools/screenshot-job-result.sh photographs a real job's result in the running monitor): the
# end of a job (1152 files, 1024 in sync, 3 failed) of a personal plan at 72 % of its quota.
#   tools/screenshot-notification-window.sh [build-dir] [output.png] [demo options...]
# Demo options: --status (the account status), --error TEXT (a failed job), --panel (the older
# quota panel, found by its title).
set -euo pipefail
build=${1:-build}
out=${2:-build/notification-window-demo.png}
shift $(( $# < 2 ? $# : 2 ))
demo_args=("$@")
title="Lumen notification"
for arg in "${demo_args[@]}"; do
  [ "$arg" = --panel ] && title="Storage almost full"
done
display=:96
Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
demo=
trap 'kill $demo $xvfb 2>/dev/null || true' EXIT
sleep 1
DISPLAY=$display QT_QPA_PLATFORM=xcb "$build/tests/notification_window_demo" "${demo_args[@]}" &
demo=$!
id=
for _ in $(seq 1 50); do
  id=$(DISPLAY=$display xwininfo -root -tree 2>/dev/null | awk -v t="\"$title\"" 'index($0, t) {print $1; exit}')
  [ -n "$id" ] && break
  sleep 0.1
done
sleep 0.5
mkdir -p "$(dirname "$out")"
DISPLAY=$display import -window "${id:-root}" "$out"
echo "wrote $out"
