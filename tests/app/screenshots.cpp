// Saves a picture of each screen of the panel on the demo household, for
// people to look at; fails when a view does not load or draws nothing.
#include "appmain.h"

#include "app/controllerapp.h"
#include "app/controllerbridge.h"
#include "app/widget/widgetview.h"
#include "app/widgetsnapshot.h"
#include "session/housesession.h"

#include <QApplication>
#include <QDir>
#include <QQuickItem>
#include <QQmlContext>
#include <QQuickView>
#include <QSaveFile>
#include <QTest>
#include <QTextStream>

#include "core/shutdown.h"

namespace {
int shoot(int argc, char **argv)
{
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots");
    QDir().mkpath(out);
    // More arguments pick the household ("--speakers 127.0.0.61,..."); the
    // services then come from the settings file named in VELOTTE_SHOTS_CONF.
    QStringList arguments = QApplication::arguments().mid(1);
    arguments.removeFirst();
    velotte::LaunchOptions launch = velotte::LaunchOptions::parse(QStringList{u"velotte"_qs} + arguments);
    launch.demo = arguments.isEmpty();
    if (const QString conf = qEnvironmentVariable("VELOTTE_SHOTS_CONF"); !conf.isEmpty()) {
        QFile::remove(velotte::Paths::settingsFile());
        QFile::copy(conf, velotte::Paths::settingsFile());
    }
    velotte::ControllerApp controller(launch, {.tray = false, .reducedMotion = true, .mpris = false, .widget = false});
    controller.start();
    QQuickView *panel = controller.shell().panel();
    if (!QTest::qWaitForWindowExposed(panel)) {
        QTextStream(stderr) << "the panel was never shown" << Qt::endl;
        return 1;
    }
    // A live household: wait for its rooms and what plays.
    if (!launch.demo && !QTest::qWaitFor([&] { return !controller.session().playback()->title().isEmpty(); }, 15000)) {
        QTextStream(stderr) << "FAIL: the household never showed what plays: " << controller.session().noteText() << Qt::endl;
        return 1;
    }
    int failures = 0;
    for (const QString &screen : {u"now"_qs, u"queue"_qs, u"sound"_qs, u"rooms"_qs, u"music"_qs, u"news"_qs, u"lyrics"_qs}) {
        controller.bridge().setScreen(screen);
        QTest::qWait(400);
        auto *view = panel->rootObject()->findChild<QQuickItem *>(QStringLiteral("view"));
        const QImage picture = panel->grabWindow();
        const QString file = out + QStringLiteral("/panel-%1.png").arg(screen);
        // A view that failed to load leaves the loader empty.
        const bool loaded = view && !view->childItems().isEmpty();
        if (!loaded || picture.isNull() || !picture.save(file)) {
            QTextStream(stderr) << "FAIL: " << screen << " was not drawn" << Qt::endl;
            ++failures;
            continue;
        }
        QTextStream(stdout) << file << Qt::endl;
        // The music view's other parts.
        if (screen == u"music") {
            QObject *music = view->property("item").value<QObject *>();
            for (const char *part : {"suggest", "apple"}) {
                music->setProperty("part", QString::fromLatin1(part));
                QTest::qWait(300);
                const QString partFile = out + QStringLiteral("/panel-music-%1.png").arg(QLatin1String(part));
                if (!panel->grabWindow().save(partFile))
                    ++failures;
            }
            music->setProperty("part", u"favorites"_qs);
        }
    }
    // An account sheet over the now-playing view.
    controller.bridge().setScreen(u"now"_qs);
    if (QObject *sheet = panel->rootObject()->findChild<QObject *>(u"account"_qs)) {
        sheet->setProperty("open", true);
        QTest::qWait(300);
        panel->grabWindow().save(out + u"/panel-account.png"_qs);
    }
    // The desktop widget, reading the snapshot of the same household.
    const QString snapshot = out + u"/controller-widget.json"_qs;
    QSaveFile file(snapshot);
    if (file.open(QIODevice::WriteOnly)) {
        velotte::ControllerWidgetSnapshot s = velotte::ControllerWidgetSnapshot::of(controller.session());
        s.updated = QDateTime::currentDateTimeUtc();
        file.write(s.encode());
        file.commit();
    }
    velotte::WidgetFeed feed(snapshot);
    QQuickView widget;
    widget.setColor(Qt::transparent);
    widget.rootContext()->setContextProperty(u"feed"_qs, &feed);
    widget.setResizeMode(QQuickView::SizeRootObjectToView);
    widget.setSource(QUrl(u"qrc:/velotte/qml/Widget.qml"_qs));
    widget.show();
    if (!QTest::qWaitForWindowExposed(&widget) || !feed.available() || !widget.grabWindow().save(out + u"/widget.png"_qs)) {
        QTextStream(stderr) << "FAIL: the widget was not drawn" << Qt::endl;
        ++failures;
    }
    return failures == 0 ? 0 : 1;
}
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    apptest::useLoopbackServices();
    const int status = shoot(argc, argv);
    velotte::settleBeforeExit();
    return status;
}
