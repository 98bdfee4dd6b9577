#include "app/mprisservice.h"
#include "session/housesession.h"

#include <QCoreApplication>
#include <QTextStream>

// The demo household as a media player on the session bus, for the
// playerctl test. Runs until killed.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    velotte::HouseSession session({});
    session.loadDemo();
    velotte::MprisService mpris(session);
    if (!mpris.registerOnBus()) {
        QTextStream(stderr) << "no session bus" << Qt::endl;
        return 1;
    }
    QTextStream(stdout) << "ready" << Qt::endl;
    return app.exec();
}
