#include "applemusicdirect.h"

#include "speakeraction.h"

#include <algorithm>

namespace velotte {

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

const QString instance = u"InstanceID"_s;

struct Kind {
    QLatin1StringView name;
    QLatin1StringView prefix;
    QLatin1StringView upnpClass;
    bool container;
};

constexpr Kind kinds[] = {
    {QLatin1StringView("song"), QLatin1StringView("10032020"), QLatin1StringView("object.item.audioItem.musicTrack"), false},
    {QLatin1StringView("album"), QLatin1StringView("1004206c"), QLatin1StringView("object.container.album.musicAlbum"), true},
    {QLatin1StringView("playlist"), QLatin1StringView("1006206c"), QLatin1StringView("object.container.playlistContainer"), true},
};

// Apple Music is service 204 on the speakers; songs stream as .mp4 under the
// household's account of that service.
QString songURI(const QString &encodedID, int account)
{
    return u"x-sonos-http:"_s + encodedID + u".mp4?sid=204&flags=8224&sn="_s + QString::number(account);
}

// A reply's count that must be present and at least `least`.
qint64 count(const QString &name, const QString &reply, qint64 least)
{
    const auto text = Soap::tag(name, reply);
    const auto value = text ? Soap::integer(*text) : std::nullopt;
    if (!value || *value < least)
        throw AppleMusicDirect::Failure::invalidResponse();
    return *value;
}

Soap::Fields zeroInstance()
{
    return {{instance, u"0"_s}};
}

Soap::Fields enqueue(qint64 updateID, qsizetype size, const QStringList &uris, const QStringList &metadata, qint64 position, bool next)
{
    return {{instance, u"0"_s},
            {u"UpdateID"_s, QString::number(updateID)},
            {u"NumberOfURIs"_s, QString::number(size)},
            {u"EnqueuedURIs"_s, uris.join(u' ')},
            {u"EnqueuedURIsMetaData"_s, metadata.join(u' ')},
            {u"ContainerURI"_s, QString()},
            {u"ContainerMetaData"_s, QString()},
            {u"DesiredFirstTrackNumberEnqueued"_s, QString::number(position)},
            {u"EnqueueAsNext"_s, next ? u"1"_s : u"0"_s}};
}

} // namespace

AppleMusicDirect::Failure::Failure(Kind kind, QString code)
    : velotte::Failure(QStringLiteral("queueing failed %1 %2").arg(int(kind)).arg(code)), m_kind(kind), m_code(std::move(code))
{
}

QString AppleMusicDirect::Failure::sentence() const
{
    switch (m_kind) {
    case Kind::rejected:
        if (m_code == QString::number(SpeakerFault::queueChanged))
            return QStringLiteral("The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it.");
        return QStringLiteral("Sonos couldn’t load this Apple Music item (%1). Check that Apple Music is connected in the Sonos app and the item is available in your account.").arg(m_code);
    case Kind::unsupported:
        return QStringLiteral("This item has no playable Apple Music catalog link. Uploaded files and some private collections aren’t available to Sonos.");
    case Kind::network:
        return QStringLiteral("Sonos is unreachable on this local network. If a VPN is active, enable its approved local-network access. Also allow Local Network access for Velotte in Settings.");
    case Kind::invalidResponse:
        break;
    }
    return QStringLiteral("Sonos didn’t confirm the queue update. Refresh the room before trying again.");
}

AppleMusicDirect::AppleMusicDirect(HttpTransport &transport)
    : AppleMusicDirect(transport, [&transport](QString host, QString action, Soap::Fields fields, CancelToken cancel) {
        return request(transport, std::move(host), std::move(action), std::move(fields), std::move(cancel));
    })
{
}

AppleMusicDirect::AppleMusicDirect(HttpTransport &transport, Send send) : m_transport(transport), m_send(std::move(send)) {}

QCoro::Task<QString> AppleMusicDirect::request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel)
{
    const auto timeout = action == QLatin1String("AddMultipleURIsToQueue") ? 60s : 10s;
    std::optional<SpeakerFault> fault;
    try {
        co_return co_await speakerAction(transport, host, Soap::transportPath, Soap::avTransport, action, fields, timeout, cancel);
    } catch (const SpeakerFault &f) {
        fault = f;
    }
    switch (fault->kind()) {
    case SpeakerFault::Kind::localControlOff: throw *fault;
    case SpeakerFault::Kind::noAnswer: throw Failure::network();
    case SpeakerFault::Kind::refused: break;
    }
    throw Failure::rejected(fault->code() ? QString::number(*fault->code()) : QString::number(fault->status()));
}

AppleMusicDirect::Resource AppleMusicDirect::resource(const AppleMusicIdentity &item, int account)
{
    const QString id = item.key.trimmed();
    const auto kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind &k) { return k.name == item.kind; });
    if (id.isEmpty() || kind == std::end(kinds))
        throw Failure::unsupported();
    const QString encoded = item.kind + u"%3a"_s + id;
    const QString metadata = u"<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
                             "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\"><item id=\""_s
        + kind->prefix + encoded + u"\" parentID=\"-1\" restricted=\"true\"><dc:title>"_s + Soap::escape(item.title)
        + u"</dc:title><upnp:class>"_s + kind->upnpClass
        + u"</upnp:class><desc id=\"cdudn\" nameSpace=\"urn:schemas-rinconnetworks-com:metadata-1-0/\">SA_RINCON52231_X_#Svc52231-0-Token</desc></item></DIDL-Lite>"_s;
    const QString uri = kind->container ? u"x-rincon-cpcontainer:"_s + kind->prefix + encoded : songURI(encoded, account);
    return {uri, metadata};
}

qint64 AppleMusicDirect::revision(const QString &reply)
{
    const auto text = Soap::tag(u"NewUpdateID"_s, reply);
    if (!text)
        return 0;
    const auto value = Soap::integer(*text);
    if (!value || *value < 0)
        throw Failure::invalidResponse();
    return *value;
}

QCoro::Task<bool> AppleMusicDirect::isCoordinator(QString coordinator, QString host)
{
    HttpRequest request;
    request.url = QUrl(u"http://"_s + host + u":1400"_s + Soap::descriptionPath, QUrl::StrictMode);
    if (host.isEmpty() || coordinator.isEmpty() || !request.url.isValid() || request.url.host().isEmpty())
        co_return false;
    request.timeout = 3s;
    request.maxBytes = 1 << 20;
    HttpResponse response;
    try {
        response = co_await m_transport.send(std::move(request));
    } catch (const std::exception &) {
        co_return false;
    }
    if (const auto fault = SpeakerFault::of(response); fault && fault->kind() == SpeakerFault::Kind::localControlOff)
        throw *fault;
    if (response.status != 200)
        co_return false;
    QString udn = Soap::tag(u"UDN"_s, QString::fromUtf8(response.body)).value_or(QString());
    if (udn.startsWith(u"uuid:"_s))
        udn.remove(0, 5);
    co_return udn == coordinator;
}

QCoro::Task<QString> AppleMusicDirect::command(QString host, QString action, Soap::Fields fields, CancelToken cancel)
{
    cancel.throwIfCancelled();
    QString reply = co_await m_send(std::move(host), std::move(action), std::move(fields), cancel);
    cancel.throwIfCancelled();
    co_return reply;
}

QCoro::Task<void> AppleMusicDirect::play(QList<AppleMusicIdentity> items, QString host, QString coordinator, AppleMusicAction action,
                                         Progress progress, CancelToken cancel, QString household)
{
    for (const AppleMusicIdentity &item : items)
        resource(item); // an unsupported item stops the run before any request
    if (items.isEmpty())
        throw Failure::unsupported();
    const bool songs = std::any_of(items.begin(), items.end(), [](const AppleMusicIdentity &i) { return i.kind == u"song"_s; });
    const int account = songs ? co_await m_account.number(household, host, cancel) : AppleMusicAccount::fallback;
    QList<Resource> resources;
    for (const AppleMusicIdentity &item : items)
        resources.append(resource(item, account));
    const bool shuffled = action == AppleMusicAction::replaceShuffled;
    const bool replacing = action != AppleMusicAction::addAfterCurrent;
    if (shuffled)
        std::shuffle(resources.begin(), resources.end(), m_random);

    // Where the first new track goes: 0 lets the speaker append at the end.
    qint64 position = 0;
    if (!replacing) {
        const QString reply = co_await command(host, u"GetPositionInfo"_s, zeroInstance(), cancel);
        const auto track = Soap::integer(Soap::tag(u"Track"_s, reply).value_or(u"0"_s));
        position = std::max<qint64>(track.value_or(0), 0) + 1;
    }
    Soap::Fields mode = zeroInstance();
    mode.append({u"NewPlayMode"_s, shuffled ? u"SHUFFLE_NOREPEAT"_s : u"NORMAL"_s});

    qint64 updateID = 0;
    qsizetype added = 0;
    while (added < resources.size()) {
        // One item first so playback starts after a single round trip.
        const qsizetype size = added == 0 ? 1 : std::min<qsizetype>(16, resources.size() - added);
        QStringList uris, metadata;
        for (qsizetype i = added; i < added + size; ++i) {
            uris << resources[i].uri;
            metadata << resources[i].metadata;
        }
        const Soap::Fields batch = enqueue(updateID, size, uris, metadata, position, !replacing);
        const QString reply = co_await command(host, u"AddMultipleURIsToQueue"_s, batch, cancel);
        const qint64 first = count(u"FirstTrackNumberEnqueued"_s, reply, 1);
        const qint64 tracks = count(u"NumTracksAdded"_s, reply, 1);
        count(u"NewQueueLength"_s, reply, tracks);
        updateID = revision(reply);
        // Albums and playlists become many tracks: the next batch follows
        // what the speaker says it added.
        position = first + tracks;

        if (added == 0 && replacing) {
            Soap::Fields uri = zeroInstance();
            uri.append({u"CurrentURI"_s, u"x-rincon-queue:"_s + coordinator + u"#0"_s});
            uri.append({u"CurrentURIMetaData"_s, QString()});
            co_await command(host, u"SetAVTransportURI"_s, uri, cancel);
            // Only now: a live stream still playing takes no play mode (712).
            co_await command(host, u"SetPlayMode"_s, mode, cancel);
            Soap::Fields seek = zeroInstance();
            seek.append({u"Unit"_s, u"TRACK_NR"_s});
            seek.append({u"Target"_s, QString::number(first)});
            co_await command(host, u"Seek"_s, seek, cancel);
            Soap::Fields start = zeroInstance();
            start.append({u"Speed"_s, u"1"_s});
            co_await command(host, u"Play"_s, start, cancel);
            const qint64 old = first - 1;
            if (old > 0) {
                Soap::Fields range = zeroInstance();
                range.append({u"UpdateID"_s, QString::number(updateID)});
                range.append({u"StartingIndex"_s, u"1"_s});
                range.append({u"NumberOfTracks"_s, QString::number(old)});
                const QString removed = co_await command(host, u"RemoveTrackRangeFromQueue"_s, range, cancel);
                updateID = revision(removed);
                position -= old;
            }
        } else if (added == 0) {
            // Adding after the current track: the queue's mode, where the
            // group plays its queue; a group on another source keeps its own.
            try {
                co_await command(host, u"SetPlayMode"_s, mode, cancel);
            } catch (const Failure &f) {
                if (f.kind() != Failure::Kind::rejected || f.code() != QString::number(SpeakerFault::playModeNotSupported))
                    throw;
            }
        }
        added += size;
        if (progress)
            progress(int(added));
    }
}

} // namespace velotte
