# The Debian package: `bash scripts/package.sh` runs CPack's DEB generator on
# the release build. Libraries the programs link come from dpkg-shlibdeps; the
# rest is what they load at run time, which no linker sees.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velotte)
set(CPACK_PACKAGE_VENDOR "The Velotte developers")
set(CPACK_PACKAGE_CONTACT "The Velotte developers <maintainers@velotte.app>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "controller for Sonos speakers in the tray")
set(CPACK_PACKAGE_DESCRIPTION "Velotte controls Sonos speakers from a small panel behind a tray icon:
what plays in each room, playback, volume, grouping, favorites, lyrics
and morning news alarms, with a Sonos account or on the local network
alone. A desktop widget and the velottectl command come with it.")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/package)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT) # velotte_VERSION_ARCH.deb
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://velotte.app)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The views' QML imports (QtQuick, QtQuick.Controls.Basic and the templates
# it is drawn with, QtQuick.Shapes) and the SVG plugins that draw the tray and
# view icons: the views are compiled into the programs, these modules are not.
set(VELOTTE_RUNTIME_DEPENDS
  qml6-module-qtquick
  qml6-module-qtquick-controls
  qml6-module-qtquick-templates
  qml6-module-qtquick-shapes
  qml6-module-qtqml-workerscript
  libqt6svg6)
list(JOIN VELOTTE_RUNTIME_DEPENDS ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
# Bonjour finds the speakers through the desktop's mDNS daemon; the sign-in
# is kept by a Secret Service.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS avahi-daemon)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnome-keyring | kwalletmanager")

include(CPack)
