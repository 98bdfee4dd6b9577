#pragma once

#include "soap.h"

#include "core/failure.h"
#include "core/http.h"

#include <QCoroTask>

namespace velotte {

// Putting Apple Music items straight into a speaker's queue over the local
// network. Its requests use the short envelope with a quoted action.
class AppleMusicDirect {
public:
    class Failure : public velotte::Failure {
    public:
        enum class Kind { rejected, unsupported, network, invalidResponse };
        static Failure rejected(const QString &code) { return Failure(Kind::rejected, code); }
        static Failure unsupported() { return Failure(Kind::unsupported, {}); }
        static Failure network() { return Failure(Kind::network, {}); }
        static Failure invalidResponse() { return Failure(Kind::invalidResponse, {}); }
        Kind kind() const { return m_kind; }
        QString code() const { return m_code; }
        QString sentence() const override;

    private:
        Failure(Kind kind, QString code);
        Kind m_kind;
        QString m_code;
    };

    // POSTs one AVTransport action; the reply text, or a Failure (a non-200
    // status or an errorCode in the reply is `rejected`, a transport error
    // `network`).
    static QCoro::Task<QString> request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel = {});
};

} // namespace velotte
