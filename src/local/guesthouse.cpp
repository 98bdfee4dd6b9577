#include "guesthouse.h"

#include "transportactions.h"

#include "core/logging.h"

#include <QUrl>

#include <algorithm>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {
QString instance() { return u"<InstanceID>0</InstanceID>"_s; }
QString master() { return u"<InstanceID>0</InstanceID><Channel>Master</Channel>"_s; }
QUrl controlUrl(const QString &host, const QString &path) { return QUrl(u"http://"_s + host + u":1400"_s + path, QUrl::StrictMode); }
} // namespace

GuestHouse::GuestHouse(HttpTransport &transport) : m_transport(transport) {}

QCoro::Task<std::optional<QString>> GuestHouse::call(QString host, QString path, QString action, QString body)
{
    HttpRequest request;
    request.url = controlUrl(host, path);
    if (host.isEmpty() || !request.url.isValid() || request.url.host().isEmpty())
        co_return std::nullopt;
    request.method = "POST";
    request.body = body.toUtf8();
    request.timeout = 4s;
    request.maxBytes = largestReply;
    request.setHeader("Content-Type", "text/xml; charset=\"utf-8\"");
    request.setHeader("SOAPACTION", action.toUtf8()); // no quotes in this flavour
    const std::shared_ptr<QHash<QString, SpeakerFault>> faults = m_faults;
    try {
        const HttpResponse response = co_await m_transport.send(std::move(request));
        if (!response.ok()) {
            faults->insert(host, SpeakerFault::of(response).value_or(SpeakerFault::noAnswer()));
            co_return std::nullopt;
        }
        faults->remove(host);
        co_return QString::fromUtf8(response.body);
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &e) {
        qCDebug(lcLocal) << action << "to" << host << "failed:" << e.what();
        faults->insert(host, SpeakerFault::noAnswer());
        co_return std::nullopt;
    }
}

std::optional<SpeakerFault> GuestHouse::fault(const QString &host) const
{
    const auto it = m_faults->constFind(host);
    if (it == m_faults->constEnd())
        return std::nullopt;
    return *it;
}

bool GuestHouse::refusesLocalControl(const QString &host) const
{
    const auto f = fault(host);
    return f && f->kind() == SpeakerFault::Kind::localControlOff;
}

QCoro::Task<bool> GuestHouse::send(QString host, QString path, QString service, QString action, QString inner)
{
    const auto reply = co_await call(host, path, service + u'#' + action, Soap::envelope(action, service, inner));
    co_return reply.has_value();
}

QCoro::Task<std::optional<int>> GuestHouse::volume(QString host)
{
    const auto reply = co_await call(host, Soap::renderingPath, Soap::renderingControl + u"#GetVolume"_s,
                                     Soap::envelope(u"GetVolume"_s, Soap::renderingControl, master()));
    const auto value = reply ? Soap::integer(Soap::tag(u"CurrentVolume"_s, *reply).value_or(QString())) : std::nullopt;
    if (!value || *value < 0 || *value > 100)
        co_return std::nullopt;
    co_return int(*value);
}

QCoro::Task<bool> GuestHouse::setVolume(QString host, int volume)
{
    const QString inner = master() + u"<DesiredVolume>"_s + QString::number(std::clamp(volume, 0, 100)) + u"</DesiredVolume>"_s;
    co_return co_await send(host, Soap::renderingPath, Soap::renderingControl, u"SetVolume"_s, inner);
}

QCoro::Task<bool> GuestHouse::setMuted(QString host, bool muted)
{
    const QString inner = master() + u"<DesiredMute>"_s + (muted ? u"1"_s : u"0"_s) + u"</DesiredMute>"_s;
    co_return co_await send(host, Soap::renderingPath, Soap::renderingControl, u"SetMute"_s, inner);
}

QCoro::Task<std::optional<int>> GuestHouse::bass(QString host)
{
    const auto reply = co_await call(host, Soap::renderingPath, Soap::renderingControl + u"#GetBass"_s,
                                     Soap::envelope(u"GetBass"_s, Soap::renderingControl, instance()));
    const auto value = reply ? Soap::integer(Soap::tag(u"CurrentBass"_s, *reply).value_or(QString())) : std::nullopt;
    if (!value || *value < -10 || *value > 10)
        co_return std::nullopt;
    co_return int(*value);
}

QCoro::Task<bool> GuestHouse::setBass(QString host, int bass)
{
    const QString inner = instance() + u"<DesiredBass>"_s + QString::number(std::clamp(bass, -10, 10)) + u"</DesiredBass>"_s;
    co_return co_await send(host, Soap::renderingPath, Soap::renderingControl, u"SetBass"_s, inner);
}

QCoro::Task<bool> GuestHouse::seek(QString host, qint64 millis)
{
    const QString inner = instance() + u"<Unit>REL_TIME</Unit><Target>"_s + Soap::clock(millis) + u"</Target>"_s;
    co_return co_await command(host, u"Seek"_s, inner);
}

QCoro::Task<bool> GuestHouse::playMode(QString host, bool shuffle, bool repeats)
{
    const QString inner = instance() + u"<NewPlayMode>"_s + Soap::playMode(shuffle, repeats) + u"</NewPlayMode>"_s;
    co_return co_await command(host, u"SetPlayMode"_s, inner);
}

QCoro::Task<bool> GuestHouse::transport(QString action, QString host)
{
    if (action == u"BecomeCoordinatorOfStandaloneGroup"_s)
        co_return co_await send(host, Soap::transportPath, Soap::avTransport, action, instance());
    const QString inner = action == u"Play"_s ? instance() + u"<Speed>1</Speed>"_s : instance();
    co_return co_await command(host, action, inner);
}

QCoro::Task<std::optional<QString>> GuestHouse::pauseVerb(QString host)
{
    // A live stream cannot pause; it offers Stop instead.
    const auto reply = co_await call(host, Soap::transportPath, Soap::avTransport + u"#GetCurrentTransportActions"_s,
                                     Soap::envelope(u"GetCurrentTransportActions"_s, Soap::avTransport, instance()));
    if (reply)
        co_return TransportActions::parse(Soap::tag(u"Actions"_s, *reply).value_or(QString())).pauseVerb();
    // A speaker that does not answer is not asked a second time.
    const auto why = fault(host);
    if (why && why->kind() == SpeakerFault::Kind::noAnswer)
        co_return std::nullopt;
    co_return u"Pause"_s;
}

QCoro::Task<bool> GuestHouse::command(QString host, QString action, QString inner)
{
    const bool pause = action == u"Pause"_s;
    if (pause) {
        const auto verb = co_await pauseVerb(host);
        if (!verb)
            co_return false;
        action = *verb;
    }
    if (co_await send(host, Soap::transportPath, Soap::avTransport, action, inner))
        co_return true;
    const std::shared_ptr<QHash<QString, SpeakerFault>> faults = m_faults;
    const std::optional<SpeakerFault> refusal = fault(host);
    if (!refusal || !refusal->is(SpeakerFault::notCoordinator))
        co_return false;
    // The room's group is led by another speaker now: ask that one.
    const std::optional<QString> leader = co_await coordinatorHost(host);
    const bool elsewhere = leader && *leader != host;
    // A follower lists fewer actions than its coordinator: ask that one.
    if (elsewhere && pause)
        action = (co_await pauseVerb(*leader)).value_or(u"Pause"_s);
    const bool sent = elsewhere && co_await send(*leader, Soap::transportPath, Soap::avTransport, action, inner);
    // The caller asks about the speaker it sent to.
    if (sent)
        faults->remove(host);
    else
        faults->insert(host, elsewhere ? fault(*leader).value_or(*refusal) : *refusal);
    co_return sent;
}

QCoro::Task<bool> GuestHouse::delegate(QString coordinator, QString host)
{
    const QString inner = instance() + u"<NewCoordinator>"_s + Soap::escape(coordinator) + u"</NewCoordinator><RejoinGroup>0</RejoinGroup>"_s;
    co_return co_await send(host, Soap::transportPath, Soap::avTransport, u"DelegateGroupCoordinationTo"_s, inner);
}

QCoro::Task<bool> GuestHouse::join(QString coordinator, QString host)
{
    const QString body = Soap::setURIEnvelope(u"x-rincon:"_s + coordinator, QString());
    const auto reply = co_await call(host, Soap::transportPath, Soap::avTransport + u"#SetAVTransportURI"_s, body);
    co_return reply.has_value();
}

QCoro::Task<bool> GuestHouse::separate(QString host) { co_return co_await transport(u"BecomeCoordinatorOfStandaloneGroup"_s, host); }

QString GuestHouse::didlText(QString s)
{
    s.replace(u"&apos;"_s, u"'"_s);
    return Soap::unescape(s);
}

QPair<QString, QString> GuestHouse::track(const QString &escapedMetadata)
{
    if (escapedMetadata == u"NOT_IMPLEMENTED"_s)
        return {};
    return trackIn(Soap::unescape(escapedMetadata));
}

QPair<QString, QString> GuestHouse::trackIn(const QString &didl)
{
    const auto title = Soap::tag(u"dc:title"_s, didl);
    const auto artist = Soap::tag(u"dc:creator"_s, didl);
    // A radio stream names itself by its address and the song as
    // "Artist - Title" in its stream content.
    const QString stream = didlText(Soap::tag(u"r:streamContent"_s, didl).value_or(QString()));
    if (!artist && !stream.isEmpty()) {
        const qsizetype dash = stream.indexOf(u" - "_s);
        if (dash < 0)
            return {stream, QString()};
        return {stream.mid(dash + 3).trimmed(), stream.left(dash).trimmed()};
    }
    // Speakers escape the text inside once more than the document around it.
    return {didlText(title ? *title : Soap::tag(u"title"_s, didl).value_or(QString())),
            didlText(artist ? *artist : Soap::tag(u"creator"_s, didl).value_or(QString()))};
}

QCoro::Task<std::optional<GuestHouse::Now>> GuestHouse::nowPlaying(QString host)
{
    // The four reads overlap: one round trip, not four.
    auto actionsTask = call(host, Soap::transportPath, Soap::avTransport + u"#GetCurrentTransportActions"_s,
                            Soap::envelope(u"GetCurrentTransportActions"_s, Soap::avTransport, instance()));
    auto positionTask = call(host, Soap::transportPath, Soap::avTransport + u"#GetPositionInfo"_s,
                             Soap::envelope(u"GetPositionInfo"_s, Soap::avTransport, instance()));
    auto stateTask = call(host, Soap::transportPath, Soap::avTransport + u"#GetTransportInfo"_s,
                          Soap::envelope(u"GetTransportInfo"_s, Soap::avTransport, instance()));
    auto volumeTask = volume(host);
    const auto actions = co_await actionsTask;
    const auto position = co_await positionTask;
    const auto state = co_await stateTask;
    const auto volume = co_await volumeTask;
    // Without the state or the position there is nothing to show.
    if (!state || !position)
        co_return std::nullopt;

    Now now;
    const TransportActions allowed = TransportActions::parse(actions ? Soap::tag(u"Actions"_s, *actions).value_or(QString()) : QString());
    now.canSkip = allowed.canSkip;
    now.canSkipBack = allowed.canSkipBack;
    now.canSeek = allowed.canSeek;
    const auto [title, artist] = track(Soap::tag(u"TrackMetaData"_s, *position).value_or(QString()));
    now.title = title;
    now.artist = artist;
    now.positionMillis = Soap::millis(Soap::tag(u"RelTime"_s, *position).value_or(QString()));
    now.durationMillis = Soap::millis(Soap::tag(u"TrackDuration"_s, *position).value_or(QString()));
    if (const auto track = Soap::integer(Soap::tag(u"Track"_s, *position).value_or(QString())); track && *track > 0)
        now.track = int(*track);
    const QString transportState = Soap::tag(u"CurrentTransportState"_s, *state).value_or(QString());
    now.playing = transportState == u"PLAYING"_s || transportState == u"TRANSITIONING"_s;
    now.volume = volume;
    co_return now;
}

} // namespace velotte
