#!/usr/bin/env bash
# The Debian package as the desktop and apt see it: unpacked into a scratch
# folder, every program, desktop file, icon, page and completion where the
# desktop looks for it, the desktop's own validators content, and the
# dependencies the programs need at run time named.
# Usage: package_test.sh DIR-WITH-THE-DEB SOURCE-DIR
set -uo pipefail
dir=$1 source=$2
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

debs=("$dir"/velotte_*.deb)
if [ ${#debs[@]} -ne 1 ] || [ ! -f "${debs[0]}" ]; then
  echo "FAIL: expected one package in $dir (bash scripts/package.sh builds it), found: ${debs[*]}"
  exit 1
fi
deb=$(realpath "${debs[0]}")
for tool in dpkg-deb desktop-file-validate appstreamcli groff file; do
  command -v $tool >/dev/null || { echo "FAIL: $tool is missing (bash scripts/install.sh installs it)"; exit 1; }
done
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root" || { echo "FAIL: dpkg-deb -x $deb"; exit 1; }
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"

# Control fields. A relation list without versions, one name a line.
field() { dpkg-deb -f "$deb" "$1"; }
names() { field "$1" | tr ',|' '\n\n' | sed 's/(.*)//; s/[[:space:]]//g' | grep -v '^$'; }
version=$(field Version)
echo "Depends: $(field Depends)"
for want in libqt6core6 libqt6quick6 libqt6svg6 libavahi-client3 libqt6keychain1; do
  names Depends | grep -qx "$want" || fail "Depends does not name $want"
done
names Recommends | grep -qx avahi-daemon || fail "Recommends does not name avahi-daemon"
names Suggests | grep -qx gnome-keyring || fail "Suggests does not name a Secret Service"

# Every QML module the views import comes from a package the package depends on.
for module in $(sed -n 's/^import \(Qt[A-Za-z.]*\).*/\1/p' "$source"/src/app/qml/*.qml | sort -u); do
  owner=$(dpkg -S "*/qt6/qml/${module//.//}/qmldir" 2>/dev/null | head -1 | cut -d: -f1)
  if [ -z "$owner" ]; then
    fail "no installed package holds the QML module $module"
  elif ! names Depends | grep -qx "$owner"; then
    fail "the views import $module, but Depends does not name $owner"
  fi
done

# Where the desktop looks.
expected=(
  usr/bin/velotte usr/bin/velotte-widget usr/bin/velotte-signin usr/bin/velottectl
  usr/share/applications/velotte.desktop usr/share/applications/velotte-widget.desktop
  usr/share/metainfo/app.velotte.velotte.metainfo.xml
  usr/share/icons/hicolor/scalable/apps/velotte.svg
  usr/share/man/man1/velottectl.1.gz
  usr/share/bash-completion/completions/velottectl
  usr/share/velotte/SonosSecrets.example.plist
)
for size in 16 22 24 32 48 64 128 256; do
  png=usr/share/icons/hicolor/${size}x${size}/apps/velotte.png
  expected+=("$png")
  [ -f "$root/$png" ] && ! file "$root/$png" | grep -q "PNG image data, $size x $size" && fail "$png is not a $size px PNG"
done
for path in "${expected[@]}"; do
  [ -e "$root/$path" ] || fail "$path is missing"
done
for program in velotte velotte-widget velotte-signin velottectl; do
  [ -x "$root/usr/bin/$program" ] || fail "usr/bin/$program is not executable"
done
stray=$(cd "$root" && find . -type f | grep -v '^\./usr/\(bin\|share\)/' ; cd "$root" && ls usr/bin | grep -vx 'velotte\|velotte-widget\|velotte-signin\|velottectl')
[ -z "$stray" ] || fail "files the package should not hold: $stray"
"$root/usr/bin/velottectl" --version | grep -qx "velottectl $version" || fail "the packaged velottectl does not run or is not version $version"

# The desktop's validators, and what the desktop files point at.
for desktop in "$root"/usr/share/applications/*.desktop; do
  out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate $(basename "$desktop"): $out"
  [ -z "$out" ] || fail "desktop-file-validate $(basename "$desktop") has hints: $out"
  exec=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")
  [ -x "$root/usr/bin/$exec" ] || fail "$(basename "$desktop") starts $exec, which the package does not hold"
  icon=$(sed -n 's/^Icon=//p' "$desktop")
  [ -f "$root/usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "$(basename "$desktop") names the icon $icon, which the package does not hold"
done
grep -q '^MimeType=.*x-scheme-handler/velotte;' "$root/usr/share/applications/velotte.desktop" \
  || fail "velotte.desktop no longer handles velotte:// links"
metainfo=$root/usr/share/metainfo/app.velotte.velotte.metainfo.xml
out=$(appstreamcli validate --no-net "$metainfo" 2>&1) || fail "appstreamcli validate: $out"
launchable=$(sed -n 's:.*<launchable type="desktop-id">\(.*\)</launchable>.*:\1:p' "$metainfo")
[ -f "$root/usr/share/applications/$launchable" ] || fail "the metainfo launches $launchable, which the package does not hold"
grep -q "<release version=\"$version\"" "$metainfo" || fail "the metainfo has no release $version"

# The man page reads without a warning and knows the newest command.
out=$(zcat "$root/usr/share/man/man1/velottectl.1.gz" | groff -man -Tutf8 -ww -z 2>&1)
[ -z "$out" ] || fail "groff warns about velottectl.1: $out"
zcat "$root/usr/share/man/man1/velottectl.1.gz" | grep -q '^\.B autostart' || fail "velottectl.1 has no autostart command"
bash -n "$root/usr/share/bash-completion/completions/velottectl" || fail "the bash completion does not parse"

# apt can install it here: every name it depends on exists.
if ! out=$(apt-get install --simulate --no-install-recommends "$deb" 2>&1); then
  fail "apt-get install --simulate: $out"
fi

[ $failures -eq 0 ] && echo "package: all checks passed"
exit $((failures > 0))
