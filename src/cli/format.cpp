#include "format.h"

#include <QRegularExpression>

#include <cmath>

namespace velotte::cli {

QString signInHelp()
{
    return QStringLiteral("Put your Sonos integration’s SonosSecrets.plist in ~/.config/velotte/ (see “Sign in” in the README).");
}

QString clockText(qint64 millis)
{
    const qint64 seconds = std::max<qint64>(0, millis) / 1000;
    const qint64 h = seconds / 3600, m = seconds / 60 % 60, s = seconds % 60;
    if (h > 0)
        return QStringLiteral("%1:%2:%3").arg(h).arg(m, 2, 10, QLatin1Char('0')).arg(s, 2, 10, QLatin1Char('0'));
    return QStringLiteral("%1:%2").arg(m).arg(s, 2, 10, QLatin1Char('0'));
}

std::optional<qint64> parsePosition(const QString &text, qint64 durationMillis)
{
    const QString t = text.trimmed();
    static const QRegularExpression percent(QStringLiteral(R"(^(\d{1,3}(?:\.\d+)?)%$)"));
    if (const auto m = percent.match(t); m.hasMatch()) {
        const double value = m.captured(1).toDouble();
        if (value > 100)
            return std::nullopt;
        return qint64(std::llround(value / 100.0 * double(durationMillis)));
    }
    static const QRegularExpression clock(QStringLiteral(R"(^(?:(\d+):)?(\d{1,2}):(\d{2})$)"));
    if (const auto m = clock.match(t); m.hasMatch()) {
        const qint64 h = m.captured(1).toLongLong(), mm = m.captured(2).toLongLong(), s = m.captured(3).toLongLong();
        if (s > 59 || (m.hasCaptured(1) && !m.captured(1).isEmpty() && mm > 59) || h > 99)
            return std::nullopt;
        return ((h * 60 + mm) * 60 + s) * 1000;
    }
    return std::nullopt;
}

std::optional<bool> parseSwitch(const QString &text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("on") || t == QLatin1String("true") || t == QLatin1String("1"))
        return true;
    if (t == QLatin1String("off") || t == QLatin1String("false") || t == QLatin1String("0"))
        return false;
    return std::nullopt;
}

} // namespace velotte::cli
