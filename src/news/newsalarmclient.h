#pragma once

#include "core/failure.h"
#include "core/http.h"
#include "local/soap.h"

#include <QCoroTask>

namespace velotte {

// The speakers' alarm clock, where news schedules live.
class NewsAlarmClient {
public:
    class Failure : public velotte::Failure {
    public:
        enum class Kind { invalid, network, rejected, response, changed };
        explicit Failure(Kind kind) : velotte::Failure(QStringLiteral("alarm failure %1").arg(int(kind))), m_kind(kind) {}
        Kind kind() const { return m_kind; }
        QString sentence() const override;

    private:
        Kind m_kind;
    };

    // POSTs one AlarmClock action in the short envelope with a quoted action
    // and a 10-second time-out. A non-200 status or an errorCode in the reply
    // is `rejected`; a transport failure is `network`.
    static QCoro::Task<QString> request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel = {});
};

} // namespace velotte
