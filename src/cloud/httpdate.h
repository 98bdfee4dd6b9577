#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace velotte::HttpDate {

// Parses "EEE, dd MMM yyyy HH:mm:ss zzz" (English names, GMT or a numeric
// zone), as Retry-After and similar headers carry it.
std::optional<QDateTime> parse(const QString &text);

// Formats a UTC time the same way, zone "GMT".
QString format(const QDateTime &time);

} // namespace velotte::HttpDate
