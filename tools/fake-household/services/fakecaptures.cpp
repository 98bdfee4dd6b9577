#include "fakecaptures.h"

#include "fakespeakersoap.h"

#include <QFile>
#include <QHash>
#include <QRegularExpression>

namespace velotte::fake::captures {

using namespace Qt::Literals::StringLiterals;

QString text(const QString &name)
{
    static QHash<QString, QString> cache;
    if (const auto it = cache.constFind(name); it != cache.constEnd())
        return *it;
    QFile file(u":/captures/"_s + name);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("capture %s is not built into the fake household", qPrintable(name));
    QString content = QString::fromUtf8(file.readAll());
    while (content.startsWith(u"# "_s))
        content = content.mid(content.indexOf(u'\n') + 1);
    cache.insert(name, content);
    return content;
}

QString body(const QString &name)
{
    const QString all = text(name);
    static const QRegularExpression response(u"<u:\\w+Response\\b[^>]*>(.*)</u:\\w+Response>"_s, QRegularExpression::DotMatchesEverythingOption);
    const auto m = response.match(all);
    return (m.hasMatch() ? m.captured(1) : all).trimmed();
}

QString withElement(QString xml, const QString &name, const QString &value)
{
    const QRegularExpression element(u"(<"_s + name + u">)(.*?)(</"_s + name + u">)"_s, QRegularExpression::DotMatchesEverythingOption);
    const auto m = element.match(xml);
    if (m.hasMatch())
        xml.replace(m.capturedStart(2), m.capturedLength(2), value);
    return xml;
}

QString actions(const QString &situation)
{
    for (const QString &line : text(u"transport-actions.tsv"_s).split(u'\n')) {
        const QStringList columns = line.split(u'\t');
        if (columns.size() == 3 && columns[0] == situation)
            return columns[1];
    }
    qFatal("no captured actions list for %s", qPrintable(situation));
}

Response fault(int code)
{
    const QString all = text(u"upnp-fault.http"_s);
    const qsizetype split = all.indexOf(u"\n\n"_s);
    QString envelope = all.mid(split + 2).trimmed();
    envelope.replace(u"<errorCode>701</errorCode>"_s, u"<errorCode>%1</errorCode>"_s.arg(code));
    Response r = Response::text(envelope.toUtf8(), "text/xml; charset=\"utf-8\"", 500);
    // The captured header fields, less those the server writes itself.
    for (const QString &line : all.left(split).split(u'\n')) {
        const QString name = line.section(u':', 0, 0).trimmed();
        if (name.compare(u"EXT"_s, Qt::CaseInsensitive) == 0 || name.compare(u"Server"_s, Qt::CaseInsensitive) == 0)
            r.header(name.toLatin1(), line.section(u':', 1).trimmed().toLatin1());
    }
    return r;
}

QString description(const QString &model, const QString &id, const QString &host, const QString &room)
{
    static const QHash<QString, QString> files{
        {u"Sonos One"_s, u"description-sonos-one.xml"_s},
        {u"Sonos One SL"_s, u"description-sonos-one-s2.xml"_s},
        {u"Sonos Playbar"_s, u"description-playbar.xml"_s},
        {u"Sonos Roam 2"_s, u"description-roam.xml"_s},
    };
    QString doc = text(files.value(model, u"description-sonos-one.xml"_s));
    static const QRegularExpression udn(u"<UDN>uuid:(RINCON_[0-9A-F]+)</UDN>"_s);
    static const QRegularExpression address(u"<friendlyName>([0-9.]+) - "_s);
    static const QRegularExpression roomName(u"<roomName>(.*?)</roomName>"_s);
    const QString capturedID = udn.match(doc).captured(1);
    const QString capturedHost = address.match(doc).captured(1);
    const QString capturedRoom = roomName.match(doc).captured(1);
    doc.replace(capturedID, id);
    doc.replace(u">"_s + capturedHost + u" - "_s, u">"_s + host + u" - "_s);
    doc.replace(u">"_s + capturedRoom + u"<"_s, u">"_s + speakersoap::escape(room) + u"<"_s);
    doc.replace(u">"_s + capturedRoom + u" - "_s, u">"_s + speakersoap::escape(room) + u" - "_s);
    return doc;
}

} // namespace velotte::fake::captures
