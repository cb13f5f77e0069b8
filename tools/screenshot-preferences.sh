#!/usr/bin/env bash
# Screenshots of the preferences window as a person sees it: the monitor runs on a private X server
# with a logged-in account and a proxy typed in by hand; the main application's launch request
# opens the window, and the notifications other programs post add an exclusion and switch panes.
#   tools/screenshot-preferences.sh [build-dir] [output-folder]
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
out=${2:-docs/screenshots}
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  exec dbus-run-session -- "$0" "$@"
fi
source "$(dirname "$0")/virtual-display.sh"
start_scratch_root
mkdir -p "$home/Movies/Holidays"
head -c 3000000 /dev/zero >"$home/Movies/Holidays/beach.mov"
# One account, logged in; the proxy settings of this login; a request to open the preferences.
PYTHONPATH="$(dirname "$0")" python3 - "$root" "$home" "$(id -un)" <<'PY'
import os, plistlib, sys
from demo_files import log_in, under
root, home, login = sys.argv[1:4]
support = 'Library/Application Support/CorvanePortableforMac'
log_in(home)
with open(under(root, support + '/' + login + '/setting.plist'), 'wb') as f:
    plistlib.dump({'ProxyEnable': '1', 'ProxyAddress': 'proxy.example.com', 'ProxyPort': '3128',
                   'ProxyAuthEnable': '0'}, f)
with open(under(root, support + '/.launch'), 'w') as f:
    f.write('Open')
PY

start_virtual_display :94 1100x900

export HOME=$home XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
lumenctl() { "$build/src/cli/lumenctl" --root "$root" "$@"; }
QT_QPA_PLATFORM=xcb "$build/src/lumen-monitor" --root "$root" 2>/dev/null &
pids+=($!)

# Waits until the running monitor shows the pane named $1.
wait_for_pane() {
  for _ in $(seq 1 100); do
    lumenctl status 2>/dev/null | grep -q "Preferences: *$1 pane open" && return 0
    sleep 0.1
  done
  echo "the $1 pane did not open" >&2
  exit 1
}
shoot() {
  sleep 1.5 # the window is drawn and a folder's size is measured
  local id
  id=$(xwininfo -root -tree | awk '/Preferences"/ { print $1; exit }')
  [ -n "$id" ] || { echo "no preferences window on the display" >&2; exit 1; }
  import -window "$id" "$out/$1"
  echo "wrote $out/$1"
}
mkdir -p "$out"

wait_for_pane General
shoot preferences-general.png

# The proxy box of the same pane, cut out of the window (PROXY_BOX: WIDTHxHEIGHT+X+Y, where the
# box lies at this display size and font).
convert "$out/preferences-general.png" -crop "${PROXY_BOX:-592x248+172+290}" +repage "$out/preferences-proxy.png"
echo "wrote $out/preferences-proxy.png"

lumenctl notify CorvaneMonitorPortableAddRemoveFileToExclude --user-info "{\"add\": \"$home/Movies\"}" >/dev/null
lumenctl notify CorvanePortableOpenPreferencesNotification --object ViewExclude >/dev/null
wait_for_pane Exclude
shoot preferences-exclusions.png
