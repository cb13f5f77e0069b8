#!/usr/bin/env bash
# Screenshot of the error report's last look before sending, on a private X server: a logged-in
# account whose trace logs name the home folder and the login, the form filled in, Send chosen.
#   tools/screenshot-error-report.sh [build-dir] [output.png]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
out=${2:-docs/screenshots/error-report.png}
source "$(dirname "$0")/virtual-display.sh"
start_scratch_root
PYTHONPATH="$(dirname "$0")" python3 - "$home" "$(id -un)" <<'PY'
import sys
from demo_files import SUPPORT, log_in, under
home, login = sys.argv[1:3]
log_in(home)
logs = SUPPORT + '/Logs/'
with open(under(home, logs + 'InteractiveTrace.log'), 'w') as f:
    f.write(f'[2026-11-22 21:04:10] Backup set read for {login}\n'
            f'[2026-11-22 21:04:12] Sending {home}/Documents/Taxes/2025.pdf\n'
            f'[2026-11-22 21:31:40] Connection reset while sending {home}/Documents/Photos.zip\n')
with open(under(home, logs + 'MonitorTrace.log'), 'w') as f:
    f.write('Start of manageSchedules: In MonitorController\n'
            'Exit of manageSchedules: In MonitorController\n'
            f'Scheduled backup of {login} ended: state=failed\n')
PY
start_virtual_display :93 1000x760
HOME=$home QT_QPA_PLATFORM=xcb "$build/tests/error_report_demo" --root "$root" &
pids+=($!)
for _ in $(seq 1 80); do
  id=$(xwininfo -root -tree 2>/dev/null | awk '/"The report as it will be sent"/ {print $1; exit}')
  [ -n "$id" ] && break
  sleep 0.1
done
[ -n "${id:-}" ] || { echo "the report was not shown" >&2; exit 1; }
sleep 0.8
mkdir -p "$(dirname "$out")"
import -window "$id" "$out"
echo "wrote $out"
