// The queue of the fake speakers: reading it in pages and editing it, each
// edit with the queue's update id as real speakers check it.
#include "fakespeakers.h"

#include "fakespeakersoap.h"

#include <QRegularExpression>
#include <QUrl>

#include <numeric>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;
using namespace speakersoap;

QString FakeSpeakers::didlDocument(const QString &items)
{
    return u"<DIDL-Lite xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
           "xmlns:r=\"urn:schemas-rinconnetworks-com:metadata-1-0/\" xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\">"_s
        + items + u"</DIDL-Lite>"_s;
}

QString FakeSpeakers::didlItem(const Track &t, const QString &id, const QString &parent)
{
    const QString head = u"<item id=\"%1\" parentID=\"%2\" restricted=\"true\">"_s.arg(id, parent);
    if (!t.metadata.isEmpty()) {
        // A captured track keeps what the speaker said of it.
        static const QRegularExpression item(u"<item\\b[^>]*>(.*)</item>"_s, QRegularExpression::DotMatchesEverythingOption);
        return head + item.match(unescape(t.metadata)).captured(1) + u"</item>"_s;
    }
    return head + u"<res protocolInfo=\"sonos.com-http:*:audio/mp4:*\" duration=\""_s + clock(t.duration) + u"\">"_s + escape(t.uri)
        + u"</res><r:streamContent></r:streamContent><upnp:albumArtURI>/getaa?s=1&amp;u="_s + QString::fromLatin1(QUrl::toPercentEncoding(t.uri))
        + u"</upnp:albumArtURI><dc:title>"_s + escape(t.title) + u"</dc:title><upnp:class>object.item.audioItem.musicTrack</upnp:class><dc:creator>"_s
        + escape(t.artist) + u"</dc:creator><upnp:album>"_s + escape(t.album) + u"</upnp:album></item>"_s;
}

QList<FakeSpeakers::Track> FakeSpeakers::generatedQueue(int count)
{
    QList<Track> out;
    out.reserve(count);
    for (int i = 1; i <= count; ++i)
        out.append(Track{u"Track %1"_s.arg(i), u"Artist %1"_s.arg((i - 1) / 10 + 1), u"Album %1"_s.arg((i - 1) / 10 + 1), 180000 + (i % 60) * 1000,
                         u"x-sonos-http:song%%3a%1.mp4?sid=204&flags=8224&sn=5"_s.arg(1000000 + i), {}});
    return out;
}

Response FakeSpeakers::browse(Speaker &speaker, const QString &body)
{
    // The DIDL items of the household's favorites or of the coordinator's
    // queue, escaped into the reply as speakers do, from StartingIndex on.
    const QString object = argument(body, u"ObjectID"_s);
    const int start = std::max(0, number(body, u"StartingIndex"_s).value_or(0));
    const int asked = std::max(0, number(body, u"RequestedCount"_s).value_or(0));
    QStringList items;
    int total = 0;
    int updateID = 1;
    auto wanted = [&](int index) { return index >= start && (asked == 0 || index < start + asked); };
    if (object == u"FV:2"_s) {
        total = int(favorites.size());
        for (int i = 0; i < total; ++i) {
            const Favorite &f = favorites[i];
            if (wanted(i))
                items << u"<item id=\"FV:2/%1\" parentID=\"FV:2\" restricted=\"true\"><dc:title>%2</dc:title><upnp:class>%3</upnp:class>"
                         "<res protocolInfo=\"sonos.com-http:*:audio/mp4:*\">%4</res></item>"_s.arg(i + 1)
                             .arg(escape(f.title), f.upnpClass, escape(f.uri));
        }
    } else if (object == u"Q:0"_s) {
        const Speaker &c = coordinatorOf(speaker);
        total = int(c.queue.size());
        updateID = c.updateID;
        for (int i = start; i < total && wanted(i); ++i)
            items << didlItem(c.queue[i], u"Q:0/%1"_s.arg(i + 1), u"Q:0"_s);
    } else {
        return fault(transitionNotAvailable); // no such object
    }
    return envelope(u"Browse"_s, contentService,
                    u"<Result>%1</Result><NumberReturned>%2</NumberReturned><TotalMatches>%3</TotalMatches><UpdateID>%4</UpdateID>"_s
                        .arg(escape(didlDocument(items.join(QString()))))
                        .arg(items.size())
                        .arg(total)
                        .arg(updateID));
}

Response FakeSpeakers::queue(Speaker &c, const QString &action, const QString &body)
{
    const auto updateID = number(body, u"UpdateID"_s);
    if (action == u"AddMultipleURIsToQueue"_s) {
        // Update id 0 means "whatever the queue holds now".
        if (!updateID || (*updateID != 0 && *updateID != c.updateID))
            return fault(queueChanged);
        const auto count = number(body, u"NumberOfURIs"_s);
        const QStringList uris = argument(body, u"EnqueuedURIs"_s).split(u' ', Qt::SkipEmptyParts);
        if (!count || *count < 1 || uris.size() != *count)
            return fault(invalidArgs);
        // An Apple Music song for an account the household does not have
        // cannot be played.
        static const QRegularExpression account(u"[?&]sid=204&.*\\bsn=(\\d+)"_s);
        for (const QString &uri : uris) {
            const auto m = account.match(uri);
            if (m.hasMatch() && m.captured(1).toInt() != appleMusicAccount)
                return fault(illegalMimeType);
        }
        // Titles from the metadata when it holds one per item.
        static const QRegularExpression title(u"<dc:title>(.*?)</dc:title>"_s, QRegularExpression::DotMatchesEverythingOption);
        QStringList titles;
        for (auto it = title.globalMatch(argument(body, u"EnqueuedURIsMetaData"_s)); it.hasNext();)
            titles << unescape(it.next().captured(1));
        int at = number(body, u"DesiredFirstTrackNumberEnqueued"_s).value_or(0);
        if (at < 1 || at > c.queue.size() + 1)
            at = int(c.queue.size()) + 1;
        const bool current = !c.queue.isEmpty() && at - 1 <= c.track;
        for (int i = 0; i < *count; ++i) {
            const QString name = titles.size() == *count ? titles[i] : u"Queued song %1"_s.arg(c.queue.size() + 1);
            c.queue.insert(at - 1 + i, Track{name, u"Apple Music"_s, {}, 200000, uris[i]});
        }
        if (current)
            c.track += *count; // the playing track keeps playing
        ++c.updateID;
        return envelope(u"AddMultipleURIsToQueue"_s, transportService,
                        u"<FirstTrackNumberEnqueued>%1</FirstTrackNumberEnqueued><NumTracksAdded>%2</NumTracksAdded>"
                        "<NewQueueLength>%3</NewQueueLength><NewUpdateID>%4</NewUpdateID>"_s.arg(at)
                            .arg(*count)
                            .arg(c.queue.size())
                            .arg(c.updateID));
    }
    if (action == u"RemoveAllTracksFromQueue"_s) {
        c.queue.clear();
        c.track = 0;
        setState(c, u"STOPPED"_s);
        c.position = 0;
        ++c.updateID;
        return envelope(action, transportService, {});
    }
    // Update id 0 means "whatever the queue holds now".
    if (!updateID || (*updateID != 0 && *updateID != c.updateID))
        return fault(queueChanged);
    const int size = int(c.queue.size());
    // Where each track was before the edit: the playing one keeps playing.
    QList<int> order(size);
    std::iota(order.begin(), order.end(), 0);
    if (action == u"ReorderTracksInQueue"_s) {
        const auto start = number(body, u"StartingIndex"_s);
        const auto count = number(body, u"NumberOfTracks"_s);
        const auto before = number(body, u"InsertBefore"_s);
        if (!start || !count || !before || *start < 1 || *count < 1 || *start - 1 + *count > size || *before < 1 || *before > size + 1)
            return fault(invalidArgs);
        const QList<int> moved = order.mid(*start - 1, *count);
        order.remove(*start - 1, *count);
        const int at = *before > *start ? *before - 1 - *count : *before - 1;
        for (int i = 0; i < *count; ++i)
            order.insert(std::clamp(at, 0, int(order.size())) + i, moved[i]);
    } else {
        int first = 0;
        int count = 1;
        if (action == u"RemoveTrackFromQueue"_s) {
            static const QRegularExpression object(u"^Q:0/(\\d+)$"_s);
            const auto m = object.match(argument(body, u"ObjectID"_s));
            first = m.hasMatch() ? m.captured(1).toInt() - 1 : -1;
        } else {
            first = number(body, u"StartingIndex"_s).value_or(0) - 1;
            count = number(body, u"NumberOfTracks"_s).value_or(-1);
        }
        if (first < 0 || count < 0 || first + count > size)
            return fault(invalidArgs);
        order.remove(first, count);
        if (c.track >= first && c.track < first + count)
            c.track = first; // the track after the removed ones plays on
    }
    QList<Track> edited;
    int track = std::min(c.track, int(order.size()) - 1);
    for (int i = 0; i < order.size(); ++i) {
        edited.append(c.queue[order[i]]);
        if (order[i] == c.track)
            track = i;
    }
    c.queue = edited;
    c.track = std::max(0, track);
    ++c.updateID;
    if (action == u"RemoveTrackRangeFromQueue"_s)
        return envelope(action, transportService, u"<NewUpdateID>%1</NewUpdateID>"_s.arg(c.updateID));
    return envelope(action, transportService, {});
}

} // namespace velotte::fake
