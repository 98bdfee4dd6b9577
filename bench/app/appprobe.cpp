// One measured run for the panel benchmarks, in a fresh process. "minimal" or
// "panel" (demo): prints "first-frame-ms N" and "rss-kb N". FAKE-HOUSEHOLD
// "shown" or "hidden", a song playing on speakers in another process: prints
// "cpu-percent N" (of one core), "wakeups-per-s N" (switches of every thread)
// and "frames-per-s N" over ten seconds once the panel has settled.
#include "app/controllerapp.h"
#include "app/controllershell.h"
#include "core/settings.h"
#include "session/housesession.h"
#include "session/sessionplayback.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSettings>
#include <QStandardPaths>
#include <QTextStream>
#include <QTimer>

#include <map>

#include <sys/resource.h>

namespace {

using velotte::ControllerApp;

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Every thread's switches, voluntary or not: each is a wake-up of the process.
std::map<QByteArray, long long> wakeupsByThread()
{
    std::map<QByteArray, long long> threads;
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString &task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile f(tasks.filePath(task) + QStringLiteral("/status"));
        if (!f.open(QIODevice::ReadOnly))
            continue;
        QByteArray name;
        long long n = 0;
        for (const QByteArray &line : f.readAll().split('\n')) {
            if (line.startsWith("Name:"))
                name = line.mid(5).trimmed() + '/' + task.toLatin1();
            else if (line.startsWith("voluntary_ctxt_switches:") || line.startsWith("nonvoluntary_ctxt_switches:"))
                n += line.mid(line.indexOf(':') + 1).trimmed().toLongLong();
        }
        threads[name] = n;
    }
    return threads;
}

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

int firstFrame(QApplication &app, const QElapsedTimer &sinceStart, bool minimal)
{
    std::unique_ptr<ControllerApp> controller;
    std::unique_ptr<QQuickView> plain; // the minimal window only: a view of its own would add to the panel's memory
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
        controller = std::make_unique<ControllerApp>(launch, ControllerApp::Options{.tray = false, .reducedMotion = true, .mpris = false, .widget = true});
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

int load(QApplication &app, const QString &household, bool hidden)
{
    QProcess speakers;
    speakers.start(household, {QStringLiteral("--only"), QStringLiteral("speakers"), QStringLiteral("--speakers-base"), QStringLiteral("127.0.0.81"),
                               QStringLiteral("--speakers-count"), QStringLiteral("3")});
    while (speakers.waitForReadyRead(5000))
        if (speakers.readAll().contains("ready"))
            break;
    if (speakers.state() != QProcess::Running)
        return 2;
    ControllerApp controller(velotte::LaunchOptions::parse({QStringLiteral("velotte"), QStringLiteral("--speakers"), QStringLiteral("127.0.0.81")}),
                             ControllerApp::Options{.tray = true, .reducedMotion = false, .mpris = false, .widget = false});
    controller.start();
    controller.shell().showController();
    int frames = 0;
    QObject::connect(controller.shell().panel(), &QQuickWindow::frameSwapped, &app, [&frames] { ++frames; });
    const int settleMs = 4000, measureMs = 10000;
    QTimer::singleShot(2000, &app, [&] {
        if (!controller.session().playback()->isPlaying())
            controller.session().playback()->toggle();
    });
    QTimer::singleShot(settleMs, &app, [&] {
        if (hidden)
            controller.shell().hideController();
        QTimer::singleShot(hidden ? 1000 : 0, &app, [&] {
            const double cpu = cpuSeconds();
            const auto before = wakeupsByThread();
            frames = 0;
            QTimer::singleShot(measureMs, &app, [&, cpu, before] {
                long long woken = 0;
                QTextStream err(stderr);
                for (const auto &[thread, n] : wakeupsByThread()) {
                    const long long since = n - (before.count(thread) ? before.at(thread) : 0);
                    woken += since;
                    if (since)
                        err << thread << ' ' << since << Qt::endl; // where they come from
                }
                QTextStream(stdout) << "cpu-percent " << (cpuSeconds() - cpu) * 100.0 / (measureMs / 1000.0) << Qt::endl
                                    << "wakeups-per-s " << woken / (measureMs / 1000.0) << Qt::endl
                                    << "frames-per-s " << frames / (measureMs / 1000.0) << Qt::endl;
                speakers.terminate();
                speakers.waitForFinished();
                QCoreApplication::quit();
            });
        });
    });
    return app.exec();
}

} // namespace

int main(int argc, char **argv)
{
    QElapsedTimer sinceStart;
    sinceStart.start();
    if (!qEnvironmentVariableIsSet("QSG_RENDER_LOOP"))
        qputenv("QSG_RENDER_LOOP", "basic"); // as the program itself
    QApplication app(argc, argv);
    if (argc < 2)
        return 2;
    // The helpers' web services point at a closed loopback port.
    QStandardPaths::setTestModeEnabled(true);
    {
        QSettings s(velotte::Paths::settingsFile(), QSettings::IniFormat);
        for (const char *key : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
            s.setValue(QStringLiteral("services/") + QLatin1String(key), QStringLiteral("http://127.0.0.1:9"));
        s.setValue(QStringLiteral("local/eventPort"), 0);
    }
    if (argc == 2)
        return firstFrame(app, sinceStart, qstrcmp(argv[1], "minimal") == 0);
    return load(app, QString::fromLocal8Bit(argv[1]), qstrcmp(argv[2], "hidden") == 0);
}
