#pragma once

#include "speakerfault.h"

#include "core/failure.h"

#include <optional>

namespace velotte {

// Why the speakers send no updates to this computer, in one sentence that
// says what to do. Until they do, the state is read by asking.
class EventFailure : public Failure {
public:
    enum class Kind {
        unreachable, // subscribed, but no event came through: a firewall
        noRoute,     // no address of this computer reaches the speaker
        portTaken,   // another program listens on the port
        speaker,     // the speaker refused or did not answer the subscription
    };

    static EventFailure unreachable(int port);
    static EventFailure noRoute(const QString &host);
    static EventFailure portTaken(int port);
    static EventFailure speaker(const QString &host, const SpeakerFault &fault);

    Kind kind() const { return m_kind; }
    int port() const { return m_port; }
    QString host() const { return m_host; }
    const std::optional<SpeakerFault> &fault() const { return m_fault; }
    QString sentence() const override;

private:
    EventFailure(Kind kind, int port, QString host, std::optional<SpeakerFault> fault);
    Kind m_kind;
    int m_port = 0;
    QString m_host;
    std::optional<SpeakerFault> m_fault;
};

} // namespace velotte
