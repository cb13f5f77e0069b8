#!/usr/bin/env bash
# Installs the Debian packages the project needs, and only those that are missing.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config make
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev libgl-dev libplist-dev libexpat1-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  dbus dbus-bin procps python3 tzdata
  xvfb xauth tinyproxy
  clang libclang-rt-14-dev
  gobjc gnustep-make libgnustep-base-dev
)

# `make run` also needs a virtual display, a tray host and a screenshot tool.
if [ "${1:-}" = "--run" ]; then
  packages+=(trayer imagemagick x11-utils x11-xserver-utils)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
