#!/usr/bin/env bash
# Footprint of lumen-monitor as a person meets it, on a virtual display with a tray host:
# time from start to the icon docked in the tray, resident memory after 25 s idle, and CPU
# clock ticks used over 20 s idle.
#   bench/footprint.sh [build-dir]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
display=:91
work=$(mktemp -d)
pids=()
cleanup() { kill "${pids[@]}" 2>/dev/null || true; rm -rf "$work"; }
trap cleanup EXIT

Xvfb "$display" -screen 0 800x500x24 -nolisten tcp >/dev/null 2>&1 & pids+=($!)
sleep 1
DISPLAY=$display trayer --edge top --align right --widthtype request --height 24 >/dev/null 2>&1 & pids+=($!)
sleep 1

docked() { DISPLAY=$display xwininfo -root -tree 2>/dev/null | grep -q '"lumen-monitor": ("lumen-monitor" "lumen-monitor")'; }

start=$(date +%s%N)
DISPLAY=$display QT_QPA_PLATFORM=xcb HOME=$work XDG_RUNTIME_DIR=$work \
  dbus-run-session -- "$build/src/lumen-monitor" --root "$work" >/dev/null 2>&1 &
pids+=($!)
until docked; do sleep 0.005; done
docked_at=$(date +%s%N)
pid=$(pgrep -f "^$build/src/lumen-monitor --root $work" | head -1)

sleep 25
rss_kb=$(awk '/VmRSS/ {print $2}' "/proc/$pid/status")
ticks() { awk '{print $14 + $15}' "/proc/$pid/stat"; }
before=$(ticks)
sleep 20
after=$(ticks)

printf 'start to tray icon: %d ms\n' $(( (docked_at - start) / 1000000 ))
printf 'resident memory after 25 s idle: %.1f MB\n' "$(echo "$rss_kb / 1024" | bc -l)"
printf 'CPU clock ticks over 20 s idle: %d (of %d per second)\n' $((after - before)) "$(getconf CLK_TCK)"
