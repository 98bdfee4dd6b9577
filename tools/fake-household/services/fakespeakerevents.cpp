// What the fake speakers send their subscribers: property sets shaped like
// the captured ones, each value what a read of the same speaker answers.
#include "fakespeakers.h"

#include "fakecaptures.h"
#include "fakespeakersoap.h"

#include <QRegularExpression>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;
using namespace speakersoap;

namespace {

QString propertySet(const QList<QPair<QString, QString>> &properties)
{
    QString out = u"<e:propertyset xmlns:e=\"urn:schemas-upnp-org:event-1-0\">"_s;
    for (const auto &[name, value] : properties)
        out += u"<e:property><%1>%2</%1></e:property>"_s.arg(name, value);
    return out + u"</e:propertyset>"_s;
}

// `document` with the val of its element `name` set to `value`.
void setValue(QString &document, const QString &name, const QString &value)
{
    const QRegularExpression element(u"(<"_s + QRegularExpression::escape(name) + u" val=\")[^\"]*(\")"_s);
    const auto m = element.match(document);
    if (m.hasMatch())
        document.replace(m.capturedEnd(1), m.capturedStart(2) - m.capturedEnd(1), escape(value));
}

} // namespace

void FakeSpeakers::publish()
{
    settle();
    m_events->publish();
}

QString FakeSpeakers::eventBody(const QString &host, const QString &path)
{
    Speaker *s = byHost(host);
    if (!s)
        return {};
    if (path == u"/MediaRenderer/AVTransport/Event"_s)
        return transportEvent(*s);
    if (path == u"/MediaRenderer/RenderingControl/Event"_s)
        return renderingEvent(*s);
    if (path == u"/ZoneGroupTopology/Event"_s)
        return topologyEvent(*s);
    const QString queue = u"<Event xmlns=\"urn:schemas-sonos-com:metadata-1-0/Queue/\"><QueueID val=\"0\"><UpdateID val=\"%1\"/></QueueID></Event>"_s;
    return propertySet({{u"LastChange"_s, escape(queue.arg(coordinatorOf(*s).updateID))}});
}

QString FakeSpeakers::transportEvent(Speaker &speaker)
{
    // The captured event, its values replaced by what the reads say now.
    static const QRegularExpression lastChange(u"<LastChange>(.*)</LastChange>"_s, QRegularExpression::DotMatchesEverythingOption);
    const QString capture = captures::text(u"event-avtransport.xml"_s);
    const auto m = lastChange.match(capture);
    QString event = unescape(m.captured(1));
    Speaker &c = coordinatorOf(speaker);
    const QString media = QString::fromUtf8(mediaInfo(speaker).body);
    const QString uri = argument(media, u"CurrentURI"_s);
    const bool member = &c != &speaker;
    const QString position = member ? QString() : QString::fromUtf8(positionInfo(c).body);
    setValue(event, u"TransportState"_s, reportedState(c));
    setValue(event, u"CurrentPlayMode"_s, c.playMode);
    setValue(event, u"NumberOfTracks"_s, argument(media, u"NrTracks"_s));
    setValue(event, u"CurrentTrack"_s, member ? u"1"_s : argument(position, u"Track"_s));
    setValue(event, u"CurrentTrackURI"_s, member ? uri : argument(position, u"TrackURI"_s));
    setValue(event, u"CurrentTrackDuration"_s, argument(position, u"TrackDuration"_s));
    setValue(event, u"CurrentTrackMetaData"_s, argument(position, u"TrackMetaData"_s));
    for (const QString &name : {u"r:NextTrackURI"_s, u"r:NextTrackMetaData"_s, u"r:EnqueuedTransportURI"_s, u"r:EnqueuedTransportURIMetaData"_s})
        setValue(event, name, QString());
    setValue(event, u"AVTransportURI"_s, uri);
    setValue(event, u"CurrentTransportActions"_s, transportActions(speaker));
    setValue(event, u"r:SleepTimerGeneration"_s, QString::number(c.sleepGeneration));
    QString body = capture;
    return body.replace(m.capturedStart(1), m.capturedLength(1), escape(event));
}

QString FakeSpeakers::renderingEvent(const Speaker &speaker) const
{
    // No capture of this one: the form of the UPnP rendering control,
    // with the channels a stereo speaker has.
    const QString event = u"<Event xmlns=\"urn:schemas-upnp-org:metadata-1-0/RCS/\"><InstanceID val=\"0\">"
                          "<Volume channel=\"Master\" val=\"%1\"/><Volume channel=\"LF\" val=\"100\"/><Volume channel=\"RF\" val=\"100\"/>"
                          "<Mute channel=\"Master\" val=\"%2\"/><Mute channel=\"LF\" val=\"0\"/><Mute channel=\"RF\" val=\"0\"/>"
                          "<Bass val=\"%3\"/><Treble val=\"0\"/><Loudness channel=\"Master\" val=\"1\"/><OutputFixed val=\"0\"/>"
                          "<PresetNameList>FactoryDefaults</PresetNameList></InstanceID></Event>"_s.arg(speaker.volume)
                              .arg(speaker.muted ? 1 : 0)
                              .arg(speaker.bass);
    return propertySet({{u"LastChange"_s, escape(event)}});
}

QString FakeSpeakers::topologyEvent(Speaker &speaker)
{
    const Speaker &c = coordinatorOf(speaker);
    QStringList members;
    for (const Speaker *m : membersOf(c.id))
        members << m->id;
    return propertySet({{u"ZoneGroupState"_s, escape(zoneGroupState())},
                        {u"ZoneGroupName"_s, escape(c.room)},
                        {u"ZoneGroupID"_s, u"%1:%2"_s.arg(c.id).arg(c.updateID + 1000)},
                        {u"ZonePlayerUUIDsInGroup"_s, members.join(u',')}});
}

} // namespace velotte::fake
