#!/usr/bin/env bash
# Builds the Debian package and checks it as a user's machine would meet it: the desktop and
# autostart entries validate, lintian finds no error, it installs with its dependencies, the
# desktop entry's command puts the icon in a tray, and removing it leaves no file behind.
#   tools/check-package.sh [build-dir]        (as root: it installs and removes the package)
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then # the monitor's session bus ends with this script
  exec dbus-run-session -- "$0" "$@"
fi
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends lintian desktop-file-utils >/dev/null
for entry in "$here"/../packaging/*.desktop; do
  desktop-file-validate "$entry"
done
echo "desktop entries: valid"
make -C "$here/.." package BUILD="$build" >/dev/null
deb=$(ls -t "$build"/lumen-monitor_*.deb | head -1)
lintian --fail-on error --tag-display-limit 0 "$deb"
echo "lintian: no errors in $deb"

before=$(mktemp)
find /usr /etc -xdev 2>/dev/null | sort > "$before"
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "./$deb" >/dev/null
test -L /etc/xdg/autostart/lumen-monitor.desktop
desktop-file-validate /usr/share/applications/lumen-monitor.desktop /etc/xdg/autostart/lumen-monitor.desktop
man -w lumenctl >/dev/null && man -w lumen-monitor >/dev/null
echo "installed: $(dpkg-query -W -f='${Package} ${Version}' lumen-monitor)"

# Started as the desktop starts it, on a private display with a tray host.
source "$here/virtual-display.sh"
start_scratch_root
start_virtual_display :94 800x600
export HOME=$home XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
command=$(sed -n 's/^Exec=//p' /usr/share/applications/lumen-monitor.desktop)
$command 2>/dev/null &
pids+=($!)
for _ in $(seq 1 100); do
  xwininfo -root -tree 2>/dev/null | grep -q '"lumen-monitor": ("lumen-monitor" "lumen-monitor")' && break
  sleep 0.1
done
xwininfo -root -tree | grep -q '"lumen-monitor": ("lumen-monitor" "lumen-monitor")' \
  || { echo "the desktop entry's command showed no tray icon" >&2; exit 1; }
echo "desktop entry: the tray icon is shown"
kill "${pids[@]}" 2>/dev/null || true
wait 2>/dev/null || true

dpkg -r lumen-monitor >/dev/null
after=$(mktemp)
find /usr /etc -xdev 2>/dev/null | sort > "$after"
# Only what apt pulled in as dependencies may be new; nothing of ours may stay.
if grep -E 'lumen|lumenctl' "$after" | grep -vxFf "$before"; then
  echo "left behind after removal (above)" >&2
  exit 1
fi
echo "removed: nothing of the package is left"
