#include "eventfailure.h"

namespace velotte {

using namespace Qt::Literals::StringLiterals;

EventFailure::EventFailure(Kind kind, int port, QString host, std::optional<SpeakerFault> fault)
    : Failure(u"events: kind %1 port %2 host %3"_s.arg(int(kind)).arg(port).arg(host)), m_kind(kind), m_port(port), m_host(std::move(host)),
      m_fault(std::move(fault))
{
}

EventFailure EventFailure::unreachable(int port) { return EventFailure(Kind::unreachable, port, {}, std::nullopt); }
EventFailure EventFailure::noRoute(const QString &host) { return EventFailure(Kind::noRoute, 0, host, std::nullopt); }
EventFailure EventFailure::portTaken(int port) { return EventFailure(Kind::portTaken, port, {}, std::nullopt); }
EventFailure EventFailure::speaker(const QString &host, const SpeakerFault &fault) { return EventFailure(Kind::speaker, 0, host, fault); }

QString EventFailure::sentence() const
{
    switch (m_kind) {
    case Kind::unreachable:
        return u"The speakers cannot reach this computer on port %1: allow incoming connections on that port in the firewall."_s.arg(m_port);
    case Kind::noRoute: return u"No address of this computer reaches the speaker at %1, so it cannot send updates."_s.arg(m_host);
    case Kind::portTaken: return u"Port %1 is taken by another program, so the speakers cannot send updates to this computer."_s.arg(m_port);
    case Kind::speaker: break;
    }
    // No answer and local control switched off say it as every other request does.
    if (m_fault->kind() != SpeakerFault::Kind::refused)
        return m_fault->sentence();
    return u"The speaker at %1 refused to send updates (%2)."_s.arg(m_host, m_fault->codeText());
}

} // namespace velotte
