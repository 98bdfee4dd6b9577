// One measured run for the panel benchmarks: the demo panel, or a minimal
// Qt Quick window for comparison. Prints "first-frame-ms N" and "rss-kb N".
#include "app/controllerapp.h"
#include "app/controllerbridge.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSettings>
#include <QStandardPaths>
#include <QTextStream>
#include <QTimer>

#include "core/settings.h"

namespace {
long residentKb()
{
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : f.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    return -1;
}

// The helpers' web services point at a closed loopback port.
void loopbackServices()
{
    QStandardPaths::setTestModeEnabled(true);
    QSettings s(velotte::Paths::settingsFile(), QSettings::IniFormat);
    for (const char *key : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
        s.setValue(QStringLiteral("services/") + QLatin1String(key), QStringLiteral("http://127.0.0.1:9"));
}
} // namespace

int main(int argc, char **argv)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    QApplication app(argc, argv);
    loopbackServices();
    const bool minimal = argc > 1 && qstrcmp(argv[1], "minimal") == 0;

    std::unique_ptr<velotte::ControllerApp> controller;
    std::unique_ptr<QQuickView> plain;
    QQuickWindow *window = nullptr;
    if (minimal) {
        plain = std::make_unique<QQuickView>();
        plain->setResizeMode(QQuickView::SizeRootObjectToView);
        plain->resize(340, 620);
        QQmlComponent component(plain->engine());
        component.setData("import QtQuick\nRectangle { color: \"#15171f\"; radius: 24; Text { text: \"Velotte\"; color: \"white\" } }", QUrl());
        auto *item = qobject_cast<QQuickItem *>(component.create());
        item->setParentItem(plain->contentItem());
        item->setSize(QSizeF(340, 620));
        plain->show();
        window = plain.get();
    } else {
        velotte::LaunchOptions launch;
        launch.demo = true;
        controller = std::make_unique<velotte::ControllerApp>(launch, velotte::ControllerApp::Options{.tray = false, .reducedMotion = true, .mpris = false, .widget = true});
        controller->start();
        window = controller->shell().panel();
    }
    bool framed = false;
    QObject::connect(window, &QQuickWindow::frameSwapped, &app, [&] {
        if (framed)
            return;
        framed = true;
        QTextStream(stdout) << "first-frame-ms " << sinceStart.elapsed() << Qt::endl;
        // Memory once the panel has settled, with the demo playing.
        QTimer::singleShot(1500, &app, [] {
            QTextStream(stdout) << "rss-kb " << residentKb() << Qt::endl;
            QCoreApplication::quit();
        });
    });
    QTimer::singleShot(20000, &app, [] { QCoreApplication::exit(1); });
    return app.exec();
}
