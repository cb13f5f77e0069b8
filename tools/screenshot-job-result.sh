#!/usr/bin/env bash
# Screenshot of a finished job as a person sees it: the monitor and the engine stand-in run on a
# private X server with a tray; a backup is started from the monitor's menu, the engine runs it,
# and its result (a type-1 message) brings up the notification window at the top right.
#   tools/screenshot-job-result.sh [build-dir] [output.png]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
out=${2:-docs/screenshots/notification-window.png}
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  exec dbus-run-session -- "$0" "$@"
fi
source "$(dirname "$0")/virtual-display.sh"
start_scratch_root
# One account, logged in, with a backup set and a daily schedule for tonight.
PYTHONPATH="$(dirname "$0")" python3 - "$root" "$home" <<'PY'
import os, plistlib, sys
from demo_files import log_in, under
root, home = sys.argv[1:3]
log_in(home)
with open(under(root, 'Library/Application Support/CorvaneforMac/BackupSets/ann@example.com.plist'), 'wb') as f:
    plistlib.dump([os.path.join(home, 'Documents')], f)
PY
HOME=$home "$build/src/cli/lumenctl" --root "$root" schedules add --frequency daily --time 23:30 \
  --user ann --account ann@example.com >/dev/null
logs=$root/Library/Application\ Support/CorvanePortableforMac/SessionLogs/Backup

start_virtual_display :95 1280x800

export HOME=$home XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
"$build/tests/lumen-engine-sim" --root "$root" --speed 10 2>/dev/null &
pids+=($!)
QT_QPA_PLATFORM=xcb "$build/src/lumen-monitor" --root "$root" &
pids+=($!)

# Backup Now, chosen in the running monitor's menu once it is up.
for _ in $(seq 1 50); do
  "$build/src/cli/lumenctl" --root "$root" menu backup-now >/dev/null 2>&1 && break
  sleep 0.2
done
# The job is over when its session log is there; the window comes with its result.
for _ in $(seq 1 300); do
  [ -n "$(ls "$logs" 2>/dev/null)" ] && break
  sleep 0.1
done
[ -n "$(ls "$logs" 2>/dev/null)" ] || { echo "the job did not finish" >&2; exit 1; }
sleep 1.5
mkdir -p "$(dirname "$out")"
import -window root "$out"
echo "wrote $out"
