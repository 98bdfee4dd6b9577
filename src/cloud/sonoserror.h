#pragma once

#include "core/failure.h"

#include <QDateTime>

namespace velotte {

// The one error of cloud operations, each case with its fixed sentence.
class SonosError : public Failure {
public:
    enum class Kind { http, rateLimited, authorization, missingCredentials };

    static SonosError http(int status);
    static SonosError rateLimited(const QDateTime &until);
    static SonosError authorization();
    static SonosError missingCredentials();

    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    QDateTime until() const { return m_until; }
    QString sentence() const override;

private:
    SonosError(Kind kind, int status, QDateTime until);
    Kind m_kind;
    int m_status = 0;
    QDateTime m_until;
};

} // namespace velotte
