#pragma once

#include "core/settings.h"
#include "core/shutdown.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QQuickItem>
#include <QQuickView>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

namespace apptest {

// The app's helpers (lyrics, catalog, news) reach web services; in tests
// every one of them points at a closed loopback port. Each test program
// keeps its settings and data in a home of its own: test programs run side
// by side, and one's fake catalog must not become another's.
inline void useLoopbackServices()
{
    static QTemporaryDir home;
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"}) {
        const QString dir = home.filePath(QString::fromLatin1(name));
        QDir().mkpath(dir);
        qputenv(name, dir.toLocal8Bit());
    }
    const QString file = velotte::Paths::settingsFile();
    QDir().mkpath(QFileInfo(file).absolutePath());
    QSettings s(file, QSettings::IniFormat);
    for (const char *key : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
        s.setValue(QStringLiteral("services/") + QLatin1String(key), QStringLiteral("http://127.0.0.1:9"));
    s.setValue(QStringLiteral("local/eventPort"), 0); // test programs side by side each take their own
    s.sync();
}

// Every text the panel shows right now. The visual tree, not the object
// tree: what repeaters and lists create hangs only there.
inline QStringList shownTexts(QQuickView *panel)
{
    QStringList out;
    QList<QQuickItem *> items{panel->rootObject()};
    while (!items.isEmpty()) {
        QQuickItem *item = items.takeFirst();
        if (!item->isVisible())
            continue;
        const QVariant text = item->property("text");
        if (text.typeId() == QMetaType::QString && !text.toString().isEmpty())
            out << text.toString();
        items << item->childItems();
    }
    return out;
}

// Waits until the panel shows `text`; on failure says what it shows instead.
inline ::testing::AssertionResult shows(QQuickView *panel, const QString &text, int limitMs = 5000)
{
    if (QTest::qWaitFor([&] { return shownTexts(panel).contains(text); }, limitMs))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "\"" << text.toStdString() << "\" not among: " << shownTexts(panel).join(u" | ").toStdString();
}

// The main of the app's test programs.
inline int runTests(int argc, char **argv)
{
    QApplication app(argc, argv);
    useLoopbackServices();
    ::testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    velotte::settleBeforeExit(); // nothing a test cancelled stays suspended
    return status;
}

} // namespace apptest
