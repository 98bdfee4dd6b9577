#!/usr/bin/env bash
# Installs every Debian 12 package the project builds, tests and runs with.
# Idempotent; needs root (or sudo).
set -euo pipefail

PACKAGES=(
  # toolchain
  build-essential cmake ninja-build pkg-config ccache git
  # Qt 6 and friends
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
  qt6-svg-dev qt6-webengine-dev
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-window qml6-module-qtqml-workerscript qml6-module-qttest
  qml6-module-qtquick-templates qml6-module-qtquick-shapes
  qcoro-qt6-dev qtkeychain-qt6-dev
  # platform libraries
  libavahi-client-dev libicu-dev libxcb1-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev libbenchmark-dev
  dbus dbus-bin gnome-keyring avahi-daemon avahi-utils iproute2 util-linux mount xvfb xauth playerctl procps openssl python3
  # the Debian package: icons, shared-library dependencies, the desktop's validators, the man page's check
  librsvg2-bin dpkg-dev file desktop-file-utils appstream groff-base
  # the panel as a tray popup: a window manager and real clicks and keys under Xvfb
  openbox xdotool
)

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ "${#missing[@]}" -eq 0 ]; then
  echo "install: all ${#PACKAGES[@]} packages present"
  exit 0
fi

echo "install: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
