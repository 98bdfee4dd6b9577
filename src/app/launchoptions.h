#pragma once

#include <QStringList>
#include <QUrl>

namespace velotte {

// What the program was started with: the household to run and the first
// screen. Both the platform-style words ("-VelotteDemo") and the usual
// double-dash forms are understood.
struct LaunchOptions {
    bool demo = false;
    bool guest = false;
    bool hidden = false; // at login: the tray icon only, even before the tray is up
    QString screen; // "rooms", "music", "news"; empty: the default screen
    QStringList speakers;
    QUrl link;      // a "velotte://favorite/ID" link handed over by the desktop

    static LaunchOptions parse(const QStringList &arguments);
    // The favorite id of a "velotte://favorite/ID" link; empty for anything else.
    static QString favoriteOf(const QUrl &link);
    // "velotte://refresh": read the household and its favorites again.
    static bool isRefresh(const QUrl &link);
};

} // namespace velotte
