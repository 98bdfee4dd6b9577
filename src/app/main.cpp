// velotte: the tray controller.
#include "controllerapp.h"
#include "controllerbridge.h"
#include "singleinstance.h"

#include "core/shutdown.h"

#include <QApplication>
#include <QSystemTrayIcon>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("velotte"));
    QApplication::setApplicationDisplayName(QStringLiteral("Velotte"));
    QApplication::setDesktopFileName(QStringLiteral("velotte"));
    QApplication::setQuitOnLastWindowClosed(false);

    velotte::SingleInstance instance;
    if (instance.handOver(QApplication::arguments()))
        return 0;
    instance.listen();

    velotte::ControllerApp::Options options;
    options.tray = QSystemTrayIcon::isSystemTrayAvailable();
    options.reducedMotion = velotte::ControllerShell::desktopAsksReducedMotion();
    int status = 0;
    {
        velotte::ControllerApp controller(velotte::LaunchOptions::parse(QApplication::arguments()), options);
        QObject::connect(&instance, &velotte::SingleInstance::reopened, &controller, &velotte::ControllerApp::reopen);
        QObject::connect(&controller.bridge(), &velotte::ControllerBridge::quitRequested, &app, &QApplication::quit, Qt::QueuedConnection);
        controller.start();
        status = app.exec();
    }
    velotte::settleBeforeExit();
    return status;
}
