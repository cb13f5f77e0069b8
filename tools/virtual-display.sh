# Sourced by the scripts that show the monitor without a real display: a private X server with a
# plain background and a tray host at the top right.
#   start_virtual_display :NN WIDTHxHEIGHT     (exports DISPLAY, appends to the caller's pids)
start_virtual_display() {
  export DISPLAY=$1
  Xvfb "$DISPLAY" -screen 0 "$2"x24 -nolisten tcp >/dev/null 2>&1 &
  pids+=($!)
  sleep 1
  xsetroot -solid '#35506b' 2>/dev/null || true
  trayer --edge top --align right --widthtype request --height 24 --transparent false \
         --tint 0xe8e8e8 >/dev/null 2>&1 &
  pids+=($!)
  sleep 1
}

# A scratch root and home for the product's files, removed on exit with every process in pids.
#   start_scratch_root     (sets work, root, home and pids)
start_scratch_root() {
  work=$(mktemp -d)
  root=$work/root home=$work/home
  pids=()
  trap 'kill "${pids[@]}" 2>/dev/null || true; wait 2>/dev/null; rm -rf "$work"' EXIT
  mkdir -p "$root" "$home"
}
