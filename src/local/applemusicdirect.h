#pragma once

#include "applemusicaccount.h"
#include "applemusicidentity.h"
#include "soap.h"

#include "core/failure.h"
#include "core/http.h"

#include <QCoroTask>

#include <functional>
#include <random>

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

    // One queue entry.
    struct Resource {
        QString uri;
        QString metadata; // a DIDL-Lite document
    };

    using Send = std::function<QCoro::Task<QString>(QString host, QString action, Soap::Fields fields, CancelToken cancel)>;
    using Progress = std::function<void(int queued)>;

    // The live value: every action goes to the speaker through `transport`.
    explicit AppleMusicDirect(HttpTransport &transport);
    AppleMusicDirect(HttpTransport &transport, Send send);

    // POSTs one AVTransport action; the reply text, or a Failure (a non-200
    // status or an errorCode in the reply is `rejected`, a transport error
    // `network`). A speaker with local control switched off throws the
    // SpeakerFault that says so.
    static QCoro::Task<QString> request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel = {});

    // The queue entry of a song, album or playlist; throws `unsupported`.
    // Songs carry the household's Apple Music account number.
    static Resource resource(const AppleMusicIdentity &item, int account = AppleMusicAccount::fallback);
    // The queue's revision after a reply ("0" when it names none); throws
    // `invalidResponse` for a value that is no number.
    static qint64 revision(const QString &reply);

    // Whether the speaker at `host` is the player `coordinator`; throws the
    // SpeakerFault of a speaker with local control switched off.
    QCoro::Task<bool> isCoordinator(QString coordinator, QString host);
    // One action, with cancellation checked before and after it.
    QCoro::Task<QString> command(QString host, QString action, Soap::Fields fields, CancelToken cancel = {});
    // Fills the coordinator's queue and, unless adding after the current
    // track, starts it; `progress` hears the number of items queued. The
    // account number of songs is learned once per `household`.
    QCoro::Task<void> play(QList<AppleMusicIdentity> items, QString host, QString coordinator, AppleMusicAction action,
                           Progress progress = {}, CancelToken cancel = {}, QString household = {});

    // Tests fix the shuffle.
    void seed(quint32 value) { m_random.seed(value); }

private:
    HttpTransport &m_transport;
    Send m_send;
    AppleMusicAccount m_account{m_transport};
    std::mt19937 m_random{std::random_device{}()};
};

} // namespace velotte
