// velotte: the tray controller.
#include "controllerapp.h"
#include "controllerbridge.h"
#include "singleinstance.h"

#include "core/shutdown.h"
#include "session/housesession.h"

#include <QApplication>
#include <QEventLoop>
#include <QTimer>
#include <QSystemTrayIcon>

#include <cstdio>
#include <cstring>

namespace {
const char usage[] =
    "Usage: velotte [--demo | --guest | --speakers HOST[,HOST...]] [--screen SCREEN] [velotte://favorite/ID]\n"
    "\n"
    "The Sonos controller behind a tray icon. A second start opens the running one's panel.\n"
    "\n"
    "  --demo                 the built-in demo household; nothing reaches the network\n"
    "  --guest                rooms on this network only, without a Sonos account\n"
    "  --speakers HOST,...    these speakers, for networks where Bonjour finds none\n"
    "  --screen SCREEN        open on rooms, sound, music, news or lyrics\n"
    "  --hidden               start in the tray with the panel closed, as at login\n"
    "  velotte://favorite/ID  play this favorite in the current room\n"
    "  -h, --help             this help\n"
    "  --version              the program's version\n";
} // namespace

int main(int argc, char **argv)
{
    // Answered before any display is opened, so they work over SSH too.
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            std::fputs(usage, stdout);
            return 0;
        }
        if (!std::strcmp(argv[i], "--version")) {
            std::printf("velotte %s\n", VELOTTE_VERSION);
            return 0;
        }
    }
    // The panel draws about a frame a second: a render thread's hand-offs
    // would wake the program more often than the drawing itself.
    if (!qEnvironmentVariableIsSet("QSG_RENDER_LOOP"))
        qputenv("QSG_RENDER_LOOP", "basic");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("velotte"));
    QApplication::setApplicationDisplayName(QStringLiteral("Velotte"));
    QApplication::setDesktopFileName(QStringLiteral("velotte"));
    QApplication::setQuitOnLastWindowClosed(false);

    velotte::SingleInstance instance;
    if (instance.handOver(QApplication::arguments()))
        return 0;
    instance.listen();

    const velotte::LaunchOptions launch = velotte::LaunchOptions::parse(QApplication::arguments());
    velotte::ControllerApp::Options options;
    // At login the tray may come up after this program; its icon appears then.
    options.tray = QSystemTrayIcon::isSystemTrayAvailable() || launch.hidden;
    options.reducedMotion = velotte::ControllerShell::desktopAsksReducedMotion();
    int status = 0;
    {
        velotte::ControllerApp controller(launch, options);
        QObject::connect(&instance, &velotte::SingleInstance::reopened, &controller, &velotte::ControllerApp::reopen);
        QObject::connect(&controller.bridge(), &velotte::ControllerBridge::quitRequested, &app, &QApplication::quit, Qt::QueuedConnection);
        controller.start();
        status = app.exec();
        // The speakers stop sending updates to a program that is gone; a
        // speaker that does not answer in time forgets it on its own.
        QEventLoop unsubscribing;
        auto stop = [&]() -> QCoro::Task<void> {
            co_await controller.session().events()->stop();
            unsubscribing.quit();
        };
        auto stopping = stop();
        QTimer::singleShot(1500, &unsubscribing, &QEventLoop::quit);
        if (!stopping.isReady())
            unsubscribing.exec();
    }
    velotte::settleBeforeExit();
    return status;
}
