#pragma once

#include "controllershell.h"
#include "launchoptions.h"

#include <QCoroTask>

#include <memory>

namespace velotte {

class AppWiring;
class ControllerBridge;
class HouseSession;
class MprisService;
class WidgetSnapshotWriter;

// Everything the tray program runs, put together once: the session and its
// collaborators, the panel, the widget snapshot and the media player on the
// session bus.
class ControllerApp : public QObject {
    Q_OBJECT
public:
    struct Options {
        bool tray = true;
        bool reducedMotion = false;
        bool mpris = true;
        bool widget = true;
    };
    ControllerApp(LaunchOptions launch, Options options, QObject *parent = nullptr);
    ~ControllerApp() override;

    // Starts the session: the demo household, or the stored sign-in and the
    // network. Without a tray the panel opens at once, unless started hidden.
    void start();
    // Another start of the program asked for the panel (and maybe a link).
    void reopen(const QStringList &arguments);

    HouseSession &session() { return *m_session; }
    ControllerBridge &bridge() { return *m_bridge; }
    ControllerShell &shell() { return *m_shell; }

private:
    QCoro::Task<void> bootstrap();

    LaunchOptions m_launch;
    Options m_options;
    std::unique_ptr<AppWiring> m_wiring;
    std::unique_ptr<HouseSession> m_session;
    std::unique_ptr<ControllerBridge> m_bridge;
    std::unique_ptr<ControllerShell> m_shell;
    std::unique_ptr<WidgetSnapshotWriter> m_widget;
    std::unique_ptr<MprisService> m_mpris;
};

} // namespace velotte
