#pragma once

#include <QString>

#include <optional>

namespace velotte::cli {

// "1:05" or "1:02:05".
QString clockText(qint64 millis);
// The line after "Sonos sign-in is not configured in this build.": where the credentials go.
QString signInHelp();
// "1:05", "1:02:05" or "40%" into milliseconds of a track of the given
// length; none when the text is not a position.
std::optional<qint64> parsePosition(const QString &text, qint64 durationMillis);
// "on"/"off" (and "true"/"false", "1"/"0").
std::optional<bool> parseSwitch(const QString &text);

} // namespace velotte::cli
