#include "app/mprisservice.h"
#include "core/networktransport.h"
#include "local/guesthouse.h"
#include "local/localconnections.h"
#include "session/housesession.h"
#include "session/liveports.h"

#include <QCoreApplication>
#include <QTextStream>

// A household as a media player on the session bus, for the MPRIS tests:
// the demo household, or with "--speakers HOST,HOST" the speakers there.
// Runs until killed.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const qsizetype at = args.indexOf(QStringLiteral("--speakers"));
    velotte::GuestHouse house(velotte::NetworkTransport::shared());
    velotte::HouseSession::Services services;
    if (at > 0 && at + 1 < args.size()) {
        services.local = velotte::liveLocalPorts(house, velotte::manualHosts(args[at + 1].split(QLatin1Char(','))), 0);
        services.arguments = {QStringLiteral("-VelotteGuest")};
    }
    velotte::HouseSession session(services);
    if (services.local) {
        session.setPollingEnabled(true);
        auto start = session.bootstrap();
    } else {
        session.loadDemo();
    }
    velotte::MprisService mpris(session);
    if (!mpris.registerOnBus()) {
        QTextStream(stderr) << "no session bus" << Qt::endl;
        return 1;
    }
    QTextStream(stdout) << "ready" << Qt::endl;
    return app.exec();
}
