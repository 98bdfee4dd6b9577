#include "speakerqueue.h"

#include "guesthouse.h"
#include "speakeraction.h"

#include <QRegularExpression>

namespace velotte {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {
const QString contentPath = u"/MediaServer/ContentDirectory/Control"_s;
const QString contentDirectory = u"urn:schemas-upnp-org:service:ContentDirectory:1"_s;

qint64 count(const QString &reply, const QString &name)
{
    const auto value = Soap::integer(Soap::tag(name, reply).value_or(QString()));
    if (!value || *value < 0)
        throw DecodeError(u"queue reply without %1"_s.arg(name));
    return *value;
}

SpeakerFault queueChanged() { return SpeakerFault::refused(500, SpeakerFault::queueChanged); }
} // namespace

SpeakerQueue::Page SpeakerQueue::page(const QString &reply, const QString &host)
{
    static const QRegularExpression item(u"<item\\b[^>]*>(.*?)</item>"_s, QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression duration(u"<res\\b[^>]*\\bduration=\"([^\"]*)\""_s);
    if (!Soap::tag(u"Result"_s, reply) && !reply.contains(u"<Result"_s))
        throw DecodeError(u"queue reply without Result"_s);
    Page p;
    p.total = int(std::min<qint64>(count(reply, u"TotalMatches"_s), largest));
    p.updateID = count(reply, u"UpdateID"_s);
    const QString didl = Soap::unescape(Soap::tag(u"Result"_s, reply).value_or(QString()));
    for (auto it = item.globalMatch(didl); it.hasNext();) {
        const QString body = it.next().captured(1);
        Item i;
        std::tie(i.title, i.artist) = GuestHouse::trackIn(body);
        const QString art = GuestHouse::didlText(Soap::tag(u"upnp:albumArtURI"_s, body).value_or(QString()));
        // Art is mostly served by the speaker itself, under a path of its own.
        i.albumArt = art.startsWith(u'/') ? u"http://"_s + host + u":1400"_s + art : art;
        i.durationMillis = Soap::millis(duration.match(body).captured(1));
        p.items.append(i);
    }
    return p;
}

QCoro::Task<SpeakerQueue::Page> SpeakerQueue::browse(QString host, int start, int count, CancelToken cancel)
{
    const Soap::Fields fields{{u"ObjectID"_s, u"Q:0"_s},           {u"BrowseFlag"_s, u"BrowseDirectChildren"_s},
                              {u"Filter"_s, u"*"_s},               {u"StartingIndex"_s, QString::number(start)},
                              {u"RequestedCount"_s, QString::number(count)}, {u"SortCriteria"_s, QString()}};
    const QString reply = co_await speakerAction(m_transport, host, contentPath, contentDirectory, u"Browse"_s, fields, 10s, cancel);
    co_return page(reply, host);
}

QCoro::Task<SpeakerQueue::Contents> SpeakerQueue::read(QString host, CancelToken cancel)
{
    // A queue edited while its pages are read is read once more.
    for (int attempt = 0; attempt < 2; ++attempt) {
        const Page first = co_await browse(host, 0, pageSize, cancel);
        std::vector<QCoro::Task<Page>> rest;
        for (int start = pageSize; start < first.total; start += pageSize)
            rest.push_back(browse(host, start, std::min(pageSize, first.total - start), cancel));
        QList<Page> pages{first};
        for (auto &task : rest)
            pages.append(co_await task);
        Contents out{{}, first.updateID};
        bool changed = false;
        for (const Page &p : std::as_const(pages)) {
            changed = changed || p.updateID != first.updateID;
            const qsizetype asked = std::min<qsizetype>(pageSize, first.total - out.items.size());
            out.items.append(p.items);
            if (p.items.size() < asked)
                break; // a speaker that answers fewer than asked: the rest one after another
        }
        if (changed)
            continue;
        while (out.items.size() < first.total) {
            const int start = int(out.items.size());
            const Page p = co_await browse(host, start, std::min(pageSize, first.total - start), cancel);
            if (p.updateID != first.updateID || p.items.isEmpty())
                break;
            out.items.append(p.items);
        }
        out.items.resize(std::min<qsizetype>(out.items.size(), first.total));
        co_return out;
    }
    throw queueChanged();
}

QCoro::Task<QString> SpeakerQueue::transport(QString host, QString action, QList<QPair<QString, QString>> fields)
{
    fields.prepend({u"InstanceID"_s, u"0"_s});
    co_return co_await speakerAction(m_transport, host, Soap::transportPath, Soap::avTransport, action, fields, 10s);
}

QCoro::Task<void> SpeakerQueue::jump(QString host, int number, qint64 updateID)
{
    // Seek names no update id: the queue is looked at first.
    if (updateID != 0) {
        const Page there = co_await browse(host, std::max(0, number - 1), 1, {});
        if (there.updateID != updateID)
            throw queueChanged();
    }
    const Soap::Fields fields{{u"Unit"_s, u"TRACK_NR"_s}, {u"Target"_s, QString::number(number)}};
    co_await transport(host, u"Seek"_s, fields);
}

QCoro::Task<void> SpeakerQueue::remove(QString host, int number, qint64 updateID)
{
    const Soap::Fields fields{{u"ObjectID"_s, u"Q:0/%1"_s.arg(number)}, {u"UpdateID"_s, QString::number(updateID)}};
    co_await transport(host, u"RemoveTrackFromQueue"_s, fields);
}

QCoro::Task<void> SpeakerQueue::move(QString host, int from, int to, qint64 updateID)
{
    // The track goes in before the one that is at InsertBefore now.
    const int before = to > from ? to + 1 : to;
    const Soap::Fields fields{{u"StartingIndex"_s, QString::number(from)},
                              {u"NumberOfTracks"_s, u"1"_s},
                              {u"InsertBefore"_s, QString::number(before)},
                              {u"UpdateID"_s, QString::number(updateID)}};
    co_await transport(host, u"ReorderTracksInQueue"_s, fields);
}

QCoro::Task<void> SpeakerQueue::clear(QString host) { co_await transport(host, u"RemoveAllTracksFromQueue"_s, {}); }

} // namespace velotte
