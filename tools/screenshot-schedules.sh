#!/usr/bin/env bash
# Screenshots of the schedule summary window and of its edit sheet, on a private X server, with
# the schedules of two local users written through lumenctl.
#   tools/screenshot-schedules.sh [build-dir] [output-folder]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
out=${2:-docs/screenshots}
source "$(dirname "$0")/virtual-display.sh"
start_scratch_root
export HOME=$home
PYTHONPATH="$(dirname "$0")" python3 -c "import sys; from demo_files import log_in; log_in(sys.argv[1])" "$home"
lumenctl() { "$build/src/cli/lumenctl" --root "$root" "$@" >/dev/null; }
lumenctl schedules add --frequency weekdays --days 1,3,5 --time 12:15 --user ann --account ann@example.com
lumenctl schedules add --frequency daily --time 21:30 --user bob --account bob@example.com
lumenctl schedules add --frequency monthly --day-of-month 1 --time 02:00 --user cy --account cy@example.com
start_virtual_display :92 1000x780
mkdir -p "$out"

# shot NAME [demo options]: the whole screen once the window is up.
shot() {
  local name=$1
  shift
  QT_QPA_PLATFORM=xcb "$build/tests/scheduler_window_demo" --root "$root" "$@" 2>/dev/null &
  local demo=$!
  for _ in $(seq 1 50); do
    xwininfo -root -tree | grep -q ' Schedules"' && break
    sleep 0.1
  done
  sleep 1.5
  import -window root "$out/$name.png"
  kill $demo
  wait $demo 2>/dev/null || true
  echo "wrote $out/$name.png"
}
shot schedule-summary --select 0
shot schedule-editor --select 1 --edit
