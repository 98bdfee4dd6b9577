#include "soap.h"

#include <QHash>
#include <QRegularExpression>

namespace velotte::Soap {

QString escape(const QString &value)
{
    QString out = value;
    out.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    out.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    out.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    out.replace(QLatin1Char('"'), QLatin1String("&quot;"));
    return out;
}

QString unescape(const QString &value)
{
    QString out = value;
    out.replace(QLatin1String("&lt;"), QLatin1String("<"));
    out.replace(QLatin1String("&gt;"), QLatin1String(">"));
    out.replace(QLatin1String("&quot;"), QLatin1String("\""));
    out.replace(QLatin1String("&amp;"), QLatin1String("&"));
    return out;
}

QString envelope(const QString &action, const QString &service, const QString &inner)
{
    return QStringLiteral("<?xml version=\"1.0\"?>\n"
                          "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\n"
                          "<s:Body>\n<u:")
        + action + QStringLiteral(" xmlns:u=\"") + service + QStringLiteral("\">\n") + inner + QStringLiteral("\n</u:") + action
        + QStringLiteral(">\n</s:Body>\n</s:Envelope>");
}

QString shortEnvelope(const QString &service, const QString &action, const Fields &fields)
{
    QString arguments;
    for (const auto &[name, value] : fields)
        arguments += QLatin1Char('<') + name + QLatin1Char('>') + escape(value) + QStringLiteral("</") + name + QLatin1Char('>');
    return QStringLiteral("<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><u:") + action + QStringLiteral(" xmlns:u=\"")
        + service + QStringLiteral("\">") + arguments + QStringLiteral("</u:") + action + QStringLiteral("></s:Body></s:Envelope>");
}

QString setURIEnvelope(const QString &uri, const QString &title)
{
    // The DIDL document is text inside the envelope, so what it holds is escaped twice.
    const QString metadata =
        QStringLiteral("&lt;DIDL-Lite xmlns:dc=&quot;http://purl.org/dc/elements/1.1/&quot; xmlns:upnp=&quot;urn:schemas-upnp-org:metadata-1-0/upnp/&quot; "
                       "xmlns=&quot;urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/&quot;&gt;&lt;item id=&quot;0&quot; parentID=&quot;-1&quot; "
                       "restricted=&quot;1&quot;&gt;&lt;dc:title&gt;")
        + escape(escape(title)) + QStringLiteral("&lt;/dc:title&gt;&lt;upnp:class&gt;object.item.audioItem.musicTrack&lt;/upnp:class&gt;&lt;res&gt;") + escape(escape(uri))
        + QStringLiteral("&lt;/res&gt;&lt;/item&gt;&lt;/DIDL-Lite&gt;");
    return QStringLiteral("<?xml version=\"1.0\"?>\n"
                          "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\n"
                          "<s:Body>\n<u:SetAVTransportURI xmlns:u=\"urn:schemas-upnp-org:service:AVTransport:1\">\n<InstanceID>0</InstanceID>\n<CurrentURI>")
        + escape(uri) + QStringLiteral("</CurrentURI>\n<CurrentURIMetaData>") + metadata
        + QStringLiteral("</CurrentURIMetaData>\n</u:SetAVTransportURI>\n</s:Body>\n</s:Envelope>");
}

std::optional<QString> tag(const QString &name, const QString &text)
{
    // A pattern per element name, built once: replies are read many times over.
    thread_local QHash<QString, QRegularExpression> patterns;
    auto it = patterns.constFind(name);
    if (it == patterns.constEnd()) {
        const QString escaped = QRegularExpression::escape(name);
        it = patterns.insert(name, QRegularExpression(QLatin1Char('<') + escaped + QStringLiteral("[^>]*>(.*?)</") + escaped + QLatin1Char('>'),
                                                      QRegularExpression::DotMatchesEverythingOption));
    }
    const auto match = it->match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QString value = match.captured(1).trimmed();
    if (value.isEmpty())
        return std::nullopt;
    return value;
}

std::optional<qint64> integer(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    int start = (text[0] == QLatin1Char('+') || text[0] == QLatin1Char('-')) ? 1 : 0;
    if (start == text.size())
        return std::nullopt;
    for (int i = start; i < text.size(); ++i) {
        if (text[i] < QLatin1Char('0') || text[i] > QLatin1Char('9'))
            return std::nullopt;
    }
    bool ok = false;
    const qint64 value = text.mid(text[0] == QLatin1Char('+') ? 1 : 0).toLongLong(&ok);
    if (!ok)
        return std::nullopt;
    return value;
}

QString clock(qint64 millis)
{
    const qint64 seconds = std::max<qint64>(0, millis) / 1000;
    return QString::asprintf("%d:%02d:%02d", int(seconds / 3600), int(seconds / 60 % 60), int(seconds % 60));
}

qint64 millis(const QString &text)
{
    qint64 total = 0;
    bool any = false;
    for (const QString &piece : text.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        bool ok = false;
        const qint64 value = piece.toLongLong(&ok);
        if (!ok || piece.startsWith(QLatin1Char('+')) || piece.startsWith(QLatin1Char('-')))
            continue;
        if (total > (std::numeric_limits<qint64>::max() / 1000 - value) / 60)
            return 0; // a time this long is not a time
        total = total * 60 + value;
        any = true;
    }
    return any ? total * 1000 : 0;
}

QCoro::Task<HttpResponse> postShort(HttpTransport &transport, QString host, QString path, QString service, QString action, Fields fields,
                                    std::chrono::milliseconds timeout, CancelToken cancel)
{
    HttpRequest request;
    request.url = QUrl(QStringLiteral("http://") + host + QStringLiteral(":1400") + path, QUrl::StrictMode);
    if (host.isEmpty() || !request.url.isValid() || request.url.host().isEmpty())
        throw TransportError(TransportError::Kind::BadRequest, QStringLiteral("no speaker address"));
    request.method = "POST";
    request.body = shortEnvelope(service, action, fields).toUtf8();
    request.timeout = timeout;
    request.setHeader("Content-Type", "text/xml; charset=utf-8");
    request.setHeader("SOAPACTION", "\"" + (service + QLatin1Char('#') + action).toUtf8() + "\"");
    co_return co_await transport.send(std::move(request), cancel);
}

QString playMode(bool shuffle, bool repeats)
{
    if (shuffle)
        return repeats ? QStringLiteral("SHUFFLE") : QStringLiteral("SHUFFLE_NOREPEAT");
    return repeats ? QStringLiteral("REPEAT_ALL") : QStringLiteral("NORMAL");
}

std::pair<bool, bool> playModeFlags(const QString &mode)
{
    const bool shuffle = mode.startsWith(u"SHUFFLE");
    const bool repeats = mode == u"SHUFFLE" || mode.startsWith(u"REPEAT") || mode == u"SHUFFLE_REPEAT_ONE";
    return {shuffle, repeats};
}

} // namespace velotte::Soap
