#include "speakerfault.h"

#include "soap.h"

namespace velotte {

using namespace Qt::Literals::StringLiterals;

SpeakerFault::SpeakerFault(Kind kind, int status, std::optional<int> code)
    : Failure(u"speaker fault %1 status %2 code %3"_s.arg(int(kind)).arg(status).arg(code.value_or(0))), m_kind(kind), m_status(status),
      m_code(code)
{
}

SpeakerFault SpeakerFault::noAnswer() { return SpeakerFault(Kind::noAnswer, 0, std::nullopt); }

SpeakerFault SpeakerFault::refused(int status, std::optional<int> code) { return SpeakerFault(Kind::refused, status, code); }

std::optional<SpeakerFault> SpeakerFault::of(int status, const QString &body)
{
    if (status == 403)
        return SpeakerFault(Kind::localControlOff, status, std::nullopt);
    // Speakers report faults as HTTP 500; an errorCode in a 200 reply is one too.
    std::optional<int> code;
    if (const auto text = Soap::tag(u"errorCode"_s, body)) {
        if (const auto value = Soap::integer(*text); value && *value > 0 && *value < 100000)
            code = int(*value);
    }
    if (status >= 200 && status <= 299 && !code)
        return std::nullopt;
    return refused(status, code);
}

std::optional<SpeakerFault> SpeakerFault::of(const HttpResponse &response) { return of(response.status, QString::fromUtf8(response.body)); }

QString SpeakerFault::codeText() const { return m_code ? QString::number(*m_code) : u"HTTP %1"_s.arg(m_status); }

QString SpeakerFault::sentence() const
{
    switch (m_kind) {
    case Kind::noAnswer: return u"The speaker did not answer. Check that it is on the same Wi-Fi network."_s;
    case Kind::localControlOff:
        return u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s;
    case Kind::refused: break;
    }
    switch (m_code.value_or(0)) {
    case transitionNotAvailable: return u"What is playing now does not allow that (701)."_s;
    case playModeNotSupported: return u"What is playing now cannot shuffle or repeat (712)."_s;
    case illegalMimeType: return u"Sonos cannot play this kind of item (714)."_s;
    case notCoordinator: return u"Another speaker leads this room’s group, and it could not be reached (800)."_s;
    case queueChanged: return u"The queue changed on the speaker in the meantime (1028). Look at it again and try once more."_s;
    default: break;
    }
    return u"The speaker refused the request (%1)."_s.arg(codeText());
}

} // namespace velotte
