#include "controllerapp.h"

#include "appwiring.h"
#include "controllerbridge.h"
#include "mprisservice.h"
#include "processlogin.h"
#include "widgetsnapshot.h"

#include "core/logging.h"
#include "core/stillcurrent.h"
#include "session/housesession.h"

#include <QPointer>

namespace velotte {

ControllerApp::ControllerApp(LaunchOptions launch, Options options, QObject *parent)
    : QObject(parent), m_launch(std::move(launch)), m_options(options)
{
    m_wiring = std::make_unique<AppWiring>(m_launch);
    m_session = std::make_unique<HouseSession>(m_wiring->services());
    m_bridge = std::make_unique<ControllerBridge>(*m_session, m_wiring->preferences());
    m_bridge->setNotes(m_wiring->trackNotes(*m_session));
    m_bridge->setNews(m_wiring->news(*m_session));
    m_bridge->setMusic(m_wiring->music(*m_session));
    m_bridge->setCanSignIn(m_wiring->auth() != nullptr);
    if (!m_launch.screen.isEmpty())
        m_bridge->setScreen(m_launch.screen);

    ControllerShell::Options shellOptions;
    shellOptions.tray = options.tray;
    shellOptions.reducedMotion = options.reducedMotion;
    m_shell = std::make_unique<ControllerShell>(*m_session, *m_bridge, shellOptions);

    // The panel makes way for the sign-in window and comes back when it closes.
    if (ProcessLoginPresenter *login = m_wiring->login()) {
        connect(login, &ProcessLoginPresenter::didOpen, m_shell.get(), &ControllerShell::hideController);
        connect(login, &ProcessLoginPresenter::didClose, m_shell.get(), &ControllerShell::showController);
    }

    if (options.widget)
        m_widget = std::make_unique<WidgetSnapshotWriter>(*m_session, Clock::system());
    if (options.mpris) {
        m_mpris = std::make_unique<MprisService>(*m_session);
        if (!m_mpris->registerOnBus())
            qCInfo(lcApp) << "no session bus: media keys are not available";
        connect(m_mpris.get(), &MprisService::raiseRequested, m_shell.get(), &ControllerShell::showController);
    }
}

ControllerApp::~ControllerApp()
{
    // The views go first: they still point at the session.
    m_shell.reset();
}

void ControllerApp::start()
{
    if (m_launch.demo) {
        m_session->loadDemo();
        if (m_launch.link.isValid())
            m_bridge->openLink(m_launch.link);
    } else {
        auto task = bootstrap();
    }
    if ((!m_options.tray && !m_launch.hidden) || m_launch.link.isValid())
        m_shell->showController();
}

QCoro::Task<void> ControllerApp::bootstrap()
{
    const StillCurrent alive(this);
    co_await m_session->bootstrap();
    if (alive && m_launch.link.isValid())
        m_bridge->openLink(m_launch.link);
}

void ControllerApp::reopen(const QStringList &arguments)
{
    const LaunchOptions again = LaunchOptions::parse(arguments);
    if (!again.screen.isEmpty())
        m_bridge->setScreen(again.screen);
    if (again.link.isValid())
        m_bridge->openLink(again.link);
    // The login start of a program that already runs changes nothing.
    if (!again.hidden || again.link.isValid())
        m_shell->showController();
}

} // namespace velotte
