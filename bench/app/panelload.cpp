// What the panel costs while it shows a song playing on a fake speaker, and
// while it is hidden: "cpu-percent N" (of one core), "wakeups-per-s N"
// (context switches of every thread) and "frames-per-s N", measured over ten
// seconds once the panel has settled. The speakers are another process, as
// they would be. Run under the platform to compare, e.g. xvfb-run.
#include "app/controllerapp.h"
#include "app/controllershell.h"
#include "core/settings.h"
#include "session/housesession.h"
#include "session/sessionplayback.h"

#include <QQuickView>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>
#include <QStandardPaths>
#include <QTextStream>
#include <QTimer>

#include <map>

#include <sys/resource.h>

namespace {

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

} // namespace

int main(int argc, char **argv)
{
    if (!qEnvironmentVariableIsSet("QSG_RENDER_LOOP"))
        qputenv("QSG_RENDER_LOOP", "basic"); // as the program itself
    QApplication app(argc, argv);
    const bool hidden = argc > 2 && qstrcmp(argv[2], "hidden") == 0;
    if (argc < 2)
        return 2; // panel_load FAKE-HOUSEHOLD-PROGRAM [shown|hidden]
    QStandardPaths::setTestModeEnabled(true);
    {
        QSettings s(velotte::Paths::settingsFile(), QSettings::IniFormat);
        for (const char *key : {"news", "lrclib", "netease", "kugou", "itunes", "model"})
            s.setValue(QStringLiteral("services/") + QLatin1String(key), QStringLiteral("http://127.0.0.1:9"));
        s.setValue(QStringLiteral("local/eventPort"), 0);
    }
    QProcess speakers;
    speakers.start(QString::fromLocal8Bit(argv[1]), {QStringLiteral("--only"), QStringLiteral("speakers"), QStringLiteral("--speakers-base"),
                                                    QStringLiteral("127.0.0.81"), QStringLiteral("--speakers-count"), QStringLiteral("3")});
    while (speakers.waitForReadyRead(5000))
        if (speakers.readAll().contains("ready"))
            break;
    if (speakers.state() != QProcess::Running)
        return 2;
    velotte::ControllerApp controller(velotte::LaunchOptions::parse({QStringLiteral("velotte"), QStringLiteral("--speakers"), QStringLiteral("127.0.0.81")}),
                                      velotte::ControllerApp::Options{.tray = true, .reducedMotion = false, .mpris = false, .widget = false});
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
