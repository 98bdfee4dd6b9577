#include "speakerevent.h"

#include "soap.h"

#include <QXmlStreamReader>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

namespace {

// Names without their prefix: speakers are not bound to "e:" or "r:".
QStringView local(QStringView qualified)
{
    const qsizetype colon = qualified.lastIndexOf(u':');
    return colon < 0 ? qualified : qualified.mid(colon + 1);
}

// The children of each e:property of a property set: name -> text.
std::optional<QHash<QString, QString>> properties(const QByteArray &body)
{
    QXmlStreamReader xml(body);
    xml.setNamespaceProcessing(false);
    QHash<QString, QString> out;
    int depth = 0;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isEndElement()) {
            --depth;
        } else if (xml.isStartElement()) {
            ++depth;
            if (depth == 1 && local(xml.qualifiedName()) != u"propertyset"_s)
                return std::nullopt;
            if (depth == 3) {
                const QString name = local(xml.qualifiedName()).toString();
                out.insert(name, xml.readElementText(QXmlStreamReader::SkipChildElements));
                --depth;
            }
        }
    }
    if (xml.hasError())
        return std::nullopt;
    return out;
}

std::optional<int> number(const QHash<QString, QString> &values, const QString &name)
{
    const auto it = values.constFind(name);
    if (it == values.constEnd())
        return std::nullopt;
    const auto value = Soap::integer(it->trimmed());
    if (!value || *value < 0 || *value > std::numeric_limits<int>::max())
        return std::nullopt;
    return int(*value);
}

std::optional<QString> text(const QHash<QString, QString> &values, const QString &name)
{
    const auto it = values.constFind(name);
    return it == values.constEnd() ? std::nullopt : std::optional<QString>(*it);
}

void readTransport(SpeakerEvent &e, const QHash<QString, QString> &v)
{
    e.transportState = text(v, u"TransportState"_s);
    e.playMode = text(v, u"CurrentPlayMode"_s);
    e.transportURI = text(v, u"AVTransportURI"_s);
    e.track = number(v, u"CurrentTrack"_s);
    e.numberOfTracks = number(v, u"NumberOfTracks"_s);
    if (const auto duration = text(v, u"CurrentTrackDuration"_s))
        e.durationMillis = Soap::millis(*duration);
    if (const auto list = text(v, u"CurrentTransportActions"_s))
        e.actions = TransportActions::parse(*list);
    if (const auto metadata = text(v, u"CurrentTrackMetaData"_s)) {
        // A TV input names no track: the literal NOT_IMPLEMENTED.
        const auto [title, artist] = *metadata == u"NOT_IMPLEMENTED"_s ? QPair<QString, QString>() : GuestHouse::trackIn(*metadata);
        e.title = title;
        e.artist = artist;
    }
}

void readRendering(SpeakerEvent &e, const QHash<QString, QString> &v)
{
    if (const auto volume = number(v, u"Volume"_s); volume && *volume <= 100)
        e.volume = *volume;
    const QString mute = v.value(u"Mute"_s).trimmed();
    if (mute == u"1"_s || mute == u"0"_s)
        e.muted = mute == u"1"_s;
}

} // namespace

QString eventPath(EventService service)
{
    switch (service) {
    case EventService::transport: return u"/MediaRenderer/AVTransport/Event"_s;
    case EventService::rendering: return u"/MediaRenderer/RenderingControl/Event"_s;
    case EventService::topology: return u"/ZoneGroupTopology/Event"_s;
    case EventService::queue: break;
    }
    return u"/MediaRenderer/Queue/Event"_s;
}

std::optional<bool> SpeakerEvent::playing() const
{
    if (!transportState)
        return std::nullopt;
    return *transportState == u"PLAYING"_s || *transportState == u"TRANSITIONING"_s;
}

QHash<QString, QString> SpeakerEvent::lastChange(const QString &document)
{
    QXmlStreamReader xml(document);
    xml.setNamespaceProcessing(false);
    QHash<QString, QString> out;
    // Depth of the instance being read; 0 outside it.
    int depth = 0;
    int inside = 0;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isEndElement()) {
            if (depth == inside)
                inside = 0;
            --depth;
            continue;
        }
        if (!xml.isStartElement())
            continue;
        ++depth;
        const QXmlStreamAttributes attributes = xml.attributes();
        const QStringView name = local(xml.qualifiedName());
        if (!inside) {
            // AVTransport and RenderingControl name an InstanceID, the queue a QueueID.
            if ((name == u"InstanceID"_s || name == u"QueueID"_s) && attributes.value(u"val"_s) == u"0"_s)
                inside = depth;
            continue;
        }
        if (depth != inside + 1)
            continue;
        const QStringView channel = attributes.value(u"channel"_s);
        if (!channel.isEmpty() && channel != u"Master"_s)
            continue;
        out.insert(name.toString(), attributes.hasAttribute(u"val"_s) ? attributes.value(u"val"_s).toString()
                                                                       : xml.readElementText(QXmlStreamReader::SkipChildElements));
        if (xml.isEndElement())
            --depth; // readElementText consumed the end
    }
    if (xml.hasError())
        return {};
    return out;
}

std::optional<SpeakerEvent> SpeakerEvent::read(EventService service, const QByteArray &body)
{
    const auto values = properties(body);
    if (!values)
        return std::nullopt;
    SpeakerEvent e;
    e.service = service;
    switch (service) {
    case EventService::transport: readTransport(e, lastChange(values->value(u"LastChange"_s))); break;
    case EventService::rendering: readRendering(e, lastChange(values->value(u"LastChange"_s))); break;
    case EventService::queue:
        if (const auto id = Soap::integer(lastChange(values->value(u"LastChange"_s)).value(u"UpdateID"_s).trimmed()); id && *id >= 0)
            e.queueUpdateID = *id;
        break;
    case EventService::topology:
        // A state without any group is no news of the rooms.
        if (const auto state = values->constFind(u"ZoneGroupState"_s); state != values->constEnd()) {
            QList<GuestHouse::Room> rooms = GuestHouse::roomsOfState(*state);
            if (!rooms.isEmpty())
                e.rooms = std::move(rooms);
        }
        break;
    }
    return e;
}

} // namespace velotte
