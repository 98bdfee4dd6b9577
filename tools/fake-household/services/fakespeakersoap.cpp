#include "fakespeakersoap.h"

#include "fakecaptures.h"

#include <QRegularExpression>

namespace velotte::fake::speakersoap {

using namespace Qt::Literals::StringLiterals;

QString escape(QString s)
{
    s.replace(u'&', u"&amp;"_s);
    s.replace(u'<', u"&lt;"_s);
    s.replace(u'>', u"&gt;"_s);
    s.replace(u'"', u"&quot;"_s);
    return s;
}

QString unescape(QString s)
{
    s.replace(u"&lt;"_s, u"<"_s);
    s.replace(u"&gt;"_s, u">"_s);
    s.replace(u"&quot;"_s, u"\""_s);
    s.replace(u"&apos;"_s, u"'"_s);
    s.replace(u"&amp;"_s, u"&"_s);
    return s;
}

namespace {
QRegularExpressionMatch find(const QString &body, const QString &name)
{
    const QString n = QRegularExpression::escape(name);
    const QRegularExpression re(u"<"_s + n + u"(?:\\s[^>]*)?>(.*?)</"_s + n + u">|<"_s + n + u"(?:\\s[^>]*)?/>"_s,
                                QRegularExpression::DotMatchesEverythingOption);
    return re.match(body);
}
} // namespace

QString argument(const QString &body, const QString &name) { return unescape(find(body, name).captured(1)); }

bool hasArgument(const QString &body, const QString &name) { return find(body, name).hasMatch(); }

std::optional<int> number(const QString &body, const QString &name)
{
    bool ok = false;
    const int value = argument(body, name).toInt(&ok);
    return ok ? std::optional<int>(value) : std::nullopt;
}

QString clock(qint64 ms)
{
    const qint64 s = std::max<qint64>(0, ms) / 1000;
    return QString::asprintf("%d:%02d:%02d", int(s / 3600), int(s / 60 % 60), int(s % 60));
}

std::optional<qint64> parseClock(const QString &text)
{
    static const QRegularExpression form(u"^(\\d{1,3}):(\\d{1,2}):(\\d{1,2})$"_s);
    const auto m = form.match(text.trimmed());
    if (!m.hasMatch() || m.captured(2).toInt() > 59 || m.captured(3).toInt() > 59)
        return std::nullopt;
    return ((m.captured(1).toLongLong() * 60 + m.captured(2).toLongLong()) * 60 + m.captured(3).toLongLong()) * 1000;
}

Response envelope(const QString &action, const QString &service, const QString &inner)
{
    const QString body = u"<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"
                         "<s:Body><u:"_s
        + action + u"Response xmlns:u=\""_s + service + u"\">"_s + inner + u"</u:"_s + action + u"Response></s:Body></s:Envelope>"_s;
    return Response::text(body.toUtf8(), "text/xml; charset=\"utf-8\"").header("Server", "Linux UPnP/1.0 Sonos/80.1-55240 (ZPS1)");
}

Response fault(int code) { return captures::fault(code); }

} // namespace velotte::fake::speakersoap
