#pragma once

#include "core/failure.h"
#include "core/http.h"

#include <optional>

namespace velotte {

// Why a speaker did not do what it was asked, read the same way for every
// client that talks to speakers: it gave no answer, it has local control
// switched off (HTTP 403 to everything), or it answered with a refusal (a
// UPnP fault: HTTP 500 with an errorCode, or another status).
class SpeakerFault : public Failure {
public:
    enum class Kind { noAnswer, localControlOff, refused };

    // UPnP codes that get a sentence of their own.
    static constexpr int transitionNotAvailable = 701;
    static constexpr int playModeNotSupported = 712;
    static constexpr int illegalMimeType = 714;
    static constexpr int notCoordinator = 800;
    // The queue's update id named in the request is no longer the queue's.
    static constexpr int queueChanged = 1028;

    static SpeakerFault noAnswer();
    static SpeakerFault refused(int status, std::optional<int> code = std::nullopt);
    // None for a 2xx reply without an errorCode.
    static std::optional<SpeakerFault> of(int status, const QString &body);
    static std::optional<SpeakerFault> of(const HttpResponse &response);

    Kind kind() const { return m_kind; }
    // The UPnP errorCode of a refusal; none when the reply held none.
    std::optional<int> code() const { return m_code; }
    bool is(int code) const { return m_code == code; }
    int status() const { return m_status; }
    // The code shown in sentences: the UPnP code, else "HTTP" and the status.
    QString codeText() const;
    QString sentence() const override;

private:
    SpeakerFault(Kind kind, int status, std::optional<int> code);
    Kind m_kind;
    int m_status;
    std::optional<int> m_code;
};

} // namespace velotte
