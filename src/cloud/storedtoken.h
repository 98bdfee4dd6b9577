#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace velotte {

// The sign-in kept in the secret store, as JSON with the keys "access",
// "refresh" and "expiry" (seconds since 2001-01-01T00:00:00Z, the reference
// date of the stores written on other platforms).
struct StoredToken {
    QString access;
    QString refresh;
    QDateTime expiry;

    QByteArray encode() const;
    // None for anything that is not a whole token.
    static std::optional<StoredToken> decode(const QByteArray &json);
};

} // namespace velotte
