#!/usr/bin/env bash
# `make run`: the monitor with the engine stand-in on a demo environment under build/demo/.
# Without a display it starts a virtual one (Xvfb) with a tray host (trayer), and saves a
# screenshot of the tray with the status menu open to build/demo/tray.png.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
demo=$build/demo
root=$demo/root
home=$demo/home
mkdir -p "$root" "$home"
python3 "$(dirname "$0")/seed-demo.py" "$build/src/cli/lumenctl" "$root" "$home"

if [ -z "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then
  exec dbus-run-session -- "$0" "$@"
fi

pids=()
cleanup() { kill "${pids[@]}" 2>/dev/null || true; }
trap cleanup EXIT INT TERM

virtual=no
if [ -z "${DISPLAY:-}" ]; then
  source "$(dirname "$0")/virtual-display.sh"
  start_virtual_display :93 900x520
  virtual=yes
fi

export HOME=$home XDG_RUNTIME_DIR=$demo/runtime
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
"$build/tests/lumen-engine-sim" --root "$root" --speed 2 2>/dev/null &
pids+=($!)
menu=()
[ "$virtual" = yes ] && menu=(--show-menu)
QT_QPA_PLATFORM=xcb "$build/src/lumen-monitor" --root "$root" "${menu[@]}" &
pids+=($!)

if [ "$virtual" = yes ]; then
  sleep 3
  import -window root "$demo/tray.png"
  echo "No display here: the monitor runs on a virtual one ($DISPLAY); its tray with the status menu open is in $demo/tray.png"
fi
echo "Lumen Monitor is running on $root (home $home). Press Ctrl-C to stop."
wait "${pids[-1]}"
