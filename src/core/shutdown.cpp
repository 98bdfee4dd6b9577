#include "shutdown.h"

#include "networktransport.h"

#include <QCoreApplication>
#include <QEvent>

namespace velotte {

void settleBeforeExit()
{
    NetworkTransport::shared().abortAll();
    // A few rounds: a task that resumes may cancel another in turn.
    for (int round = 0; round < 4; ++round) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

} // namespace velotte
