#!/usr/bin/env bash
# Builds the release programs (without tests) and the Debian package
# build/package/velotte_VERSION_ARCH.deb; install it with
#   sudo apt install ./build/package/velotte_*.deb
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install.sh
bash scripts/build.sh package
rm -f build/package/velotte_*.deb
(cd build/package-release && cpack -G DEB)
ls build/package/velotte_*.deb
