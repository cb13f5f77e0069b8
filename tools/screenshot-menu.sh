#!/usr/bin/env bash
# Screenshots of the status menu on a private X server, on the demo environment: with the
# dashboard at its top (docs/screenshots/menu-dashboard.png), and with Scheduled Jobs open during
# a one-hour pause (docs/screenshots/menu-snooze.png).
#   tools/screenshot-menu.sh [build-dir] [output-folder]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
out=$(mkdir -p "${2:-docs/screenshots}" && cd "${2:-docs/screenshots}" && pwd)
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  exec dbus-run-session -- "$0" "$@"
fi
source "$(dirname "$0")/virtual-display.sh"
start_scratch_root
python3 "$(dirname "$0")/seed-demo.py" "$build/src/cli/lumenctl" "$root" "$home" >/dev/null
export HOME=$home XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
start_virtual_display :95 900x560
lumenctl() { "$build/src/cli/lumenctl" --root "$root" "$@"; }

# shot NAME [monitor options]: the screen once the menu is open; the monitor is left running.
shot() {
  local name=$1
  shift
  QT_QPA_PLATFORM=xcb "$build/src/lumen-monitor" --root "$root" "$@" 2>/dev/null &
  monitor=$!
  pids+=($monitor)
  for _ in $(seq 1 50); do lumenctl status >/dev/null 2>&1 && break; sleep 0.2; done
  sleep 2
  import -window root "$out/$name.png"
  echo "wrote $out/$name.png"
}
shot menu-dashboard --show-menu
lumenctl menu 9152013 >/dev/null # Pause for 1 hour
kill $monitor
wait $monitor 2>/dev/null || true
shot menu-snooze --show-jobs-menu
