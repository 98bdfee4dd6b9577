#include "httpdate.h"

#include <QLocale>
#include <QRegularExpression>

namespace velotte::HttpDate {

std::optional<QDateTime> parse(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(
        R"(^([A-Za-z]{3}), (\d{1,2}) ([A-Za-z]{3}) (\d{4}) (\d{2}):(\d{2}):(\d{2}) ([A-Za-z]{1,5}|[A-Za-z]{0,3}[+-]\d{1,2}(?::?\d{2})?)$)"));
    const auto m = pattern.match(text.trimmed());
    if (!m.hasMatch())
        return std::nullopt;
    static const QStringList months{QStringLiteral("jan"), QStringLiteral("feb"), QStringLiteral("mar"), QStringLiteral("apr"),
                                    QStringLiteral("may"), QStringLiteral("jun"), QStringLiteral("jul"), QStringLiteral("aug"),
                                    QStringLiteral("sep"), QStringLiteral("oct"), QStringLiteral("nov"), QStringLiteral("dec")};
    static const QStringList days{QStringLiteral("mon"), QStringLiteral("tue"), QStringLiteral("wed"), QStringLiteral("thu"),
                                  QStringLiteral("fri"), QStringLiteral("sat"), QStringLiteral("sun")};
    const int month = int(months.indexOf(m.captured(3).toLower())) + 1;
    if (month == 0 || !days.contains(m.captured(1).toLower()))
        return std::nullopt;
    const QDate date(m.captured(4).toInt(), month, m.captured(2).toInt());
    const QTime time(m.captured(5).toInt(), m.captured(6).toInt(), m.captured(7).toInt());
    if (!date.isValid() || !time.isValid())
        return std::nullopt;

    QString zone = m.captured(8).toUpper();
    int offsetSeconds = 0;
    static const QRegularExpression numeric(QStringLiteral(R"(^(?:GMT|UTC|UT)?([+-])(\d{1,2}):?(\d{2})?$)"));
    if (const auto z = numeric.match(zone); z.hasMatch()) {
        offsetSeconds = (z.captured(2).toInt() * 3600 + z.captured(3).toInt() * 60) * (z.captured(1) == QLatin1String("-") ? -1 : 1);
    } else if (zone != QLatin1String("GMT") && zone != QLatin1String("UTC") && zone != QLatin1String("UT") && zone != QLatin1String("Z")) {
        return std::nullopt;
    }
    return QDateTime(date, time, Qt::UTC).addSecs(-offsetSeconds);
}

QString format(const QDateTime &time)
{
    return QLocale::c().toString(time.toUTC(), QStringLiteral("ddd, dd MMM yyyy HH:mm:ss")) + QStringLiteral(" GMT");
}

} // namespace velotte::HttpDate
