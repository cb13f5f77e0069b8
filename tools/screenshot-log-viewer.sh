#!/usr/bin/env bash
# Screenshot of the log viewer with a week of runs: index files and session logs for the last seven
# days are written as the engine writes them, the monitor runs on a private X server, and its
# "View Logs…" item is chosen through lumenctl.
#   tools/screenshot-log-viewer.sh [build-dir] [output.png]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
out=${2:-docs/screenshots/log-viewer.png}
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  exec dbus-run-session -- "$0" "$@"
fi
source "$(dirname "$0")/virtual-display.sh"
start_scratch_root
# One account, logged in; a week of runs, the newest with a summary.
runs=$(PYTHONPATH="$(dirname "$0")" python3 - "$root" "$home" <<'PY'
import datetime, os, random, sys
from demo_files import log_in, under
root, home = sys.argv[1:3]
support = 'Library/Application Support/CorvanePortableforMac'
log_in(home)
logs = '/Library/Application Support/CorvanePortableforMac/SessionLogs'
kinds = [(1, 'Backup', 'B'), (1, 'Backup', 'B'), (3, 'Restore', 'R'), (5, 'Delete', 'D'), (7, 'Backup', 'C')]
random.seed(7)
count = 0
today = datetime.datetime.now().replace(minute=0, second=0, microsecond=0)
for back in range(6, -1, -1):
    day = today - datetime.timedelta(days=back)
    name = day.strftime('%m-%d-%Y')
    plain, cdp = [], []
    for hour in (9, 13, 18):
        optype, folder, letter = random.choice(kinds)
        start = day.replace(hour=hour, minute=random.randrange(60))
        log = '%s/%s/%s%s.log' % (logs, folder, letter, start.strftime('%m-%d-%Y-%H-%M-%S'))
        files = random.randrange(3, 2400)
        with open(under(root, log), 'w') as f:
            f.write('%s started %s\n' % (folder, start.strftime('%b %d, %Y %I:%M:%S %p')))
            for i in range(min(files, 40)):
                f.write('File size: %d  /Users/ann/Documents/report-%03d.pdf\n' % (random.randrange(1000, 900000), i))
            f.write('%d files, completed successfully\n' % files)
        status = 'Success' if random.random() > 0.15 else 'Failed'
        record = ('<record>\n\t<datetime>%s</datetime>\n\t<uname>ann@example.com</uname>\n\t<files>%d</files>\n'
                  '\t<filesinsync>%d</filesinsync>\n\t<status>%s</status>\n\t<duration>00:%02d:%02d</duration>\n'
                  '\t<content>%s</content>\n\t<optype>%d</optype>\n\t<lpath>/Users/ann</lpath>\n'
                  '\t<logfile>%s</logfile>\n\t<logname>%s</logname>\n</record>\n') % (
            start.strftime('%b %d, %Y %I:%M:%S %p'), files, files // 3, status, random.randrange(1, 40),
            random.randrange(60), folder, optype, log, name + ('_cdp' if optype == 7 else ''))
        (cdp if optype == 7 else plain).append(record)
        count += 1
        if back == 0 and hour == 18:
            with open(under(root, log + '.summary'), 'w') as f:
                f.write('Backup of ann@example.com to storage1\n\n%d files backed up, %d already in sync.\n'
                        '14 files were skipped by your exclusions. Click here to view excluded files/ folders\n'
                        % (files, files // 3))
    for suffix, records in (('', plain), ('_cdp', cdp)):
        if records:
            with open(under(root, '%s/LOGXML/%s%s.xml' % (logs, name, suffix)), 'w') as f:
                f.write('<?xml version="1.0" encoding="utf-8"?>\n<records>\n' + ''.join(records) + '</records>\n')
print(count)
PY
)
start_virtual_display :93 1100x800

export HOME=$home XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
lumenctl() { "$build/src/cli/lumenctl" --root "$root" "$@"; }
QT_QPA_PLATFORM=xcb "$build/src/lumen-monitor" --root "$root" 2>/dev/null &
pids+=($!)
for _ in $(seq 1 50); do
  lumenctl menu view-logs >/dev/null 2>&1 && break
  sleep 0.2
done
for _ in $(seq 1 100); do
  lumenctl status --json 2>/dev/null | grep -Eq "\"runs\": ?$runs\b" && break
  sleep 0.1
done
lumenctl status --json | grep -Eq "\"runs\": ?$runs\b" || { echo "the viewer did not list the $runs runs" >&2; exit 1; }
sleep 1.8 # the first row is selected a second after the window opens
id=$(xwininfo -root -tree | awk '/ Logs"/ { print $1; exit }')
[ -n "$id" ] || { echo "no log window on the display" >&2; exit 1; }
mkdir -p "$(dirname "$out")"
import -window "$id" "$out"
echo "wrote $out"
