#pragma once

#include "core/settings.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

namespace apptest {

// The app's helpers (lyrics, catalog, news) reach web services; in tests
// every one of them points at a closed loopback port.
inline void useLoopbackServices()
{
    QStandardPaths::setTestModeEnabled(true);
    const QString file = velotte::Paths::settingsFile();
    QDir().mkpath(QFileInfo(file).absolutePath());
    QSettings s(file, QSettings::IniFormat);
    for (const char *key : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
        s.setValue(QStringLiteral("services/") + QLatin1String(key), QStringLiteral("http://127.0.0.1:9"));
    s.sync();
}

} // namespace apptest
