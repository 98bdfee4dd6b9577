// Queueing Apple Music items on a speaker: the entries, the run of actions
// and what the speaker's replies may break.
#include "local/applemusicdirect.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {

struct Call {
    QString action;
    Soap::Fields fields;
    QString value(const QString &name) const
    {
        const auto it = std::find_if(fields.begin(), fields.end(), [&](const auto &f) { return f.first == name; });
        return it == fields.end() ? u"<missing>"_s : it->second;
    }
};

// A speaker that answers from a queue of `length` tracks, as the real one
// counts positions, and records every action.
struct ScriptedSpeaker {
    std::vector<Call> calls;
    int length = 3;
    int track = 2;
    int updateID = 7;
    std::function<QString(const Call &)> override; // a null answer falls through to the speaker's own

    AppleMusicDirect::Send send()
    {
        return [this](QString, QString action, Soap::Fields fields, CancelToken) -> QCoro::Task<QString> {
            calls.push_back({action, fields});
            const Call &call = calls.back();
            if (override) {
                const QString r = override(call);
                if (!r.isNull())
                    co_return r;
            }
            if (action == u"GetPositionInfo"_s)
                co_return u"<Track>%1</Track>"_s.arg(track);
            if (action == u"AddMultipleURIsToQueue"_s) {
                const int n = call.value(u"NumberOfURIs"_s).toInt();
                int at = call.value(u"DesiredFirstTrackNumberEnqueued"_s).toInt();
                if (at < 1 || at > length + 1)
                    at = length + 1;
                length += n;
                ++updateID;
                co_return u"<FirstTrackNumberEnqueued>%1</FirstTrackNumberEnqueued><NumTracksAdded>%2</NumTracksAdded>"
                          "<NewQueueLength>%3</NewQueueLength><NewUpdateID>%4</NewUpdateID>"_s.arg(at).arg(n).arg(length).arg(updateID);
            }
            if (action == u"RemoveTrackRangeFromQueue"_s) {
                length -= call.value(u"NumberOfTracks"_s).toInt();
                ++updateID;
                co_return u"<NewUpdateID>%1</NewUpdateID>"_s.arg(updateID);
            }
            co_return QString();
        };
    }
    QStringList actions() const
    {
        QStringList out;
        for (const Call &c : calls)
            out << c.action;
        return out;
    }
    std::vector<Call> batches() const
    {
        std::vector<Call> out;
        for (const Call &c : calls) {
            if (c.action == u"AddMultipleURIsToQueue"_s)
                out.push_back(c);
        }
        return out;
    }
};

QList<AppleMusicIdentity> songs(int n)
{
    QList<AppleMusicIdentity> out;
    for (int i = 0; i < n; ++i)
        out.append({QString::number(1000 + i), u"Song %1"_s.arg(i + 1), u"Artist"_s, u"song"_s});
    return out;
}

struct Queueing : ::testing::Test {
    ScriptedSpeaker speaker;
    FunctionTransport unused{[](HttpRequest, CancelToken) -> QCoro::Task<HttpResponse> { co_return HttpResponse{}; }};
    AppleMusicDirect direct{unused, speaker.send()};
    std::vector<int> progress;

    QCoro::Task<void> play(QList<AppleMusicIdentity> items, AppleMusicAction action = AppleMusicAction::replace, CancelToken cancel = {})
    {
        return direct.play(std::move(items), u"10.0.0.2"_s, u"RINCON_A"_s, action, [this](int n) { progress.push_back(n); }, cancel);
    }
    void run(QList<AppleMusicIdentity> items, AppleMusicAction action = AppleMusicAction::replace) { test::await(play(std::move(items), action)); }
    std::optional<AppleMusicDirect::Failure> failure(QList<AppleMusicIdentity> items) { return test::failure<AppleMusicDirect::Failure>(play(std::move(items))); }
};

} // namespace

TEST(AppleMusicResource, EntriesByKind)
{
    const auto song = AppleMusicDirect::resource({u"1440857781"_s, u"Fish & \"Chips\" <live>"_s, u"Band"_s, u"song"_s});
    EXPECT_EQ(song.uri, u"x-sonos-http:song%3a1440857781.mp4?sid=204&flags=8224&sn=1"_s);
    EXPECT_EQ(song.metadata,
              u"<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
              "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\"><item id=\"10032020song%3a1440857781\" parentID=\"-1\" "
              "restricted=\"true\"><dc:title>Fish &amp; &quot;Chips&quot; &lt;live&gt;</dc:title><upnp:class>object.item.audioItem.musicTrack"
              "</upnp:class><desc id=\"cdudn\" nameSpace=\"urn:schemas-rinconnetworks-com:metadata-1-0/\">SA_RINCON52231_X_#Svc52231-0-Token"
              "</desc></item></DIDL-Lite>"_s);

    const auto album = AppleMusicDirect::resource({u"1440857000"_s, u"It's an Album"_s, {}, u"album"_s});
    EXPECT_EQ(album.uri, u"x-rincon-cpcontainer:1004206calbum%3a1440857000"_s);
    EXPECT_TRUE(album.metadata.contains(u"<item id=\"1004206calbum%3a1440857000\""_s));
    EXPECT_TRUE(album.metadata.contains(u"<dc:title>It's an Album</dc:title>"_s)); // apostrophes stay

    const auto playlist = AppleMusicDirect::resource({u"pl.f4d106fed2bd41149aaacabb233eb5eb"_s, u"Today's Hits"_s, {}, u"playlist"_s});
    EXPECT_EQ(playlist.uri, u"x-rincon-cpcontainer:1006206cplaylist%3apl.f4d106fed2bd41149aaacabb233eb5eb"_s);

    for (const AppleMusicIdentity &bad : {AppleMusicIdentity{u"  "_s, u"Upload"_s, {}, u"song"_s}, AppleMusicIdentity{u"2"_s, u"x"_s, {}, u"Song"_s}})
        EXPECT_THROW(AppleMusicDirect::resource(bad), AppleMusicDirect::Failure) << bad.kind.toStdString();
    EXPECT_EQ(AppleMusicDirect::revision(u"<Other>1</Other>"_s), 0);
    EXPECT_THROW(AppleMusicDirect::revision(u"<NewUpdateID>4x</NewUpdateID>"_s), AppleMusicDirect::Failure);
}

TEST_F(Queueing, BatchesOfOneThenSixteen)
{
    for (auto [n, sizes] : std::vector<std::pair<int, QStringList>>{{33, {u"1"_s, u"16"_s, u"16"_s}}, {18, {u"1"_s, u"16"_s, u"1"_s}}, {17, {u"1"_s, u"16"_s}}}) {
        speaker = ScriptedSpeaker();
        progress.clear();
        run(songs(n));
        QStringList got;
        for (const Call &c : speaker.batches())
            got << c.value(u"NumberOfURIs"_s);
        EXPECT_EQ(got, sizes) << n;
        EXPECT_EQ(speaker.length, n);
        EXPECT_EQ(progress.back(), n);
    }
    // The last run (17 songs): each batch carries the revision of the reply
    // before it and lands right after what is already queued.
    const auto batches = speaker.batches();
    ASSERT_EQ(batches.size(), 2u);
    EXPECT_EQ(batches[1].value(u"UpdateID"_s), u"9"_s); // 7, +1 for the add, +1 for the removal
    EXPECT_EQ(batches[1].value(u"DesiredFirstTrackNumberEnqueued"_s), u"2"_s);
    EXPECT_EQ(batches[1].value(u"EnqueuedURIs"_s).count(u' '), 15);
    EXPECT_EQ(batches[1].value(u"EnqueuedURIsMetaData"_s).count(u"<DIDL-Lite "_s), 16);
    // Playback starts after the first batch, not at the end; the play mode
    // only once the group plays its queue (a radio stream takes none).
    EXPECT_EQ(speaker.actions().mid(0, 5), (QStringList{u"AddMultipleURIsToQueue"_s, u"SetAVTransportURI"_s, u"SetPlayMode"_s, u"Seek"_s, u"Play"_s}));
    EXPECT_EQ(speaker.calls[2].value(u"NewPlayMode"_s), u"NORMAL"_s);
    // Real speakers read the fields by position.
    QStringList names;
    for (const auto &[n, v] : speaker.calls[0].fields)
        names << n + u'=' + v.left(8);
    EXPECT_EQ(names, (QStringList{u"InstanceID=0"_s, u"UpdateID=0"_s, u"NumberOfURIs=1"_s, u"EnqueuedURIs=x-sonos-"_s, u"EnqueuedURIsMetaData=<DIDL-Li"_s,
                                  u"ContainerURI="_s, u"ContainerMetaData="_s, u"DesiredFirstTrackNumberEnqueued=0"_s, u"EnqueueAsNext=0"_s}));
}

TEST_F(Queueing, AddAfterTheCurrentTrack)
{
    speaker.track = 2;
    run(songs(18), AppleMusicAction::addAfterCurrent);
    EXPECT_EQ(speaker.actions(), (QStringList{u"GetPositionInfo"_s, u"AddMultipleURIsToQueue"_s, u"SetPlayMode"_s, u"AddMultipleURIsToQueue"_s,
                                              u"AddMultipleURIsToQueue"_s}));
    QStringList at;
    for (const Call &c : speaker.batches())
        at << c.value(u"DesiredFirstTrackNumberEnqueued"_s) + c.value(u"EnqueueAsNext"_s);
    EXPECT_EQ(at, (QStringList{u"31"_s, u"41"_s, u"201"_s})); // right after the playing track
    EXPECT_EQ(speaker.length, 21); // nothing removed
}

TEST_F(Queueing, ShuffledRunsMixTheItems)
{
    direct.seed(3);
    run(songs(40), AppleMusicAction::replaceShuffled);
    EXPECT_EQ(speaker.calls[size_t(speaker.actions().indexOf(u"SetPlayMode"_s))].value(u"NewPlayMode"_s), u"SHUFFLE_NOREPEAT"_s);
    QStringList uris;
    for (const Call &c : speaker.batches())
        uris += c.value(u"EnqueuedURIs"_s).split(u' ');
    QStringList sorted = uris;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_NE(uris, sorted);
    EXPECT_EQ(QSet<QString>(uris.begin(), uris.end()).size(), 40); // each once
}

TEST_F(Queueing, ContainersAdvanceByWhatTheSpeakerAdded)
{
    // An album expands to twelve tracks on the speaker.
    speaker.override = [](const Call &c) -> QString {
        if (c.action == u"AddMultipleURIsToQueue"_s && c.value(u"EnqueuedURIs"_s).startsWith(u"x-rincon-cpcontainer"_s))
            return u"<FirstTrackNumberEnqueued>4</FirstTrackNumberEnqueued><NumTracksAdded>12</NumTracksAdded><NewQueueLength>15</NewQueueLength><NewUpdateID>8</NewUpdateID>"_s;
        return {};
    };
    QList<AppleMusicIdentity> items{{u"55"_s, u"Album"_s, {}, u"album"_s}};
    items += songs(2);
    run(items);
    const auto batches = speaker.batches();
    ASSERT_EQ(batches.size(), 2u);
    EXPECT_EQ(batches[1].value(u"DesiredFirstTrackNumberEnqueued"_s), u"13"_s); // 4 + 12, less the 3 removed
}

TEST_F(Queueing, RepliesThatDoNotConfirm)
{
    const std::vector<QString> replies{
        u"<FirstTrackNumberEnqueued>1</FirstTrackNumberEnqueued><NumTracksAdded>0</NumTracksAdded><NewQueueLength>1</NewQueueLength>"_s,
        u"<FirstTrackNumberEnqueued>1</FirstTrackNumberEnqueued><NumTracksAdded>2</NumTracksAdded><NewQueueLength>1</NewQueueLength>"_s,
        u"<NumTracksAdded>1</NumTracksAdded><NewQueueLength>1</NewQueueLength>"_s,
        u"<FirstTrackNumberEnqueued>one</FirstTrackNumberEnqueued><NumTracksAdded>1</NumTracksAdded><NewQueueLength>1</NewQueueLength>"_s,
        u"<FirstTrackNumberEnqueued>1</FirstTrackNumberEnqueued><NumTracksAdded>1</NumTracksAdded><NewQueueLength>1</NewQueueLength><NewUpdateID>-3</NewUpdateID>"_s,
        u""_s,
    };
    for (const QString &reply : replies) {
        speaker = ScriptedSpeaker();
        speaker.override = [reply](const Call &c) -> QString { return c.action == u"AddMultipleURIsToQueue"_s ? reply : QString(); };
        const auto f = failure(songs(3));
        ASSERT_TRUE(f.has_value()) << reply.toStdString();
        EXPECT_EQ(f->kind(), AppleMusicDirect::Failure::Kind::invalidResponse);
        EXPECT_EQ(f->sentence(), u"Sonos didn’t confirm the queue update. Refresh the room before trying again."_s);
        EXPECT_FALSE(speaker.actions().contains(u"Play"_s));
    }
}

TEST_F(Queueing, UnsupportedItemsStopTheRunBeforeAnyRequest)
{
    QList<AppleMusicIdentity> items = songs(5);
    items.append({u"9"_s, u"Live radio"_s, {}, u"station"_s});
    const auto f = failure(items);
    ASSERT_TRUE(f.has_value());
    EXPECT_EQ(f->sentence(), u"This item has no playable Apple Music catalog link. Uploaded files and some private collections aren’t available to Sonos."_s);
    EXPECT_TRUE(speaker.calls.empty());
}

TEST_F(Queueing, FaultsAndCancellation)
{
    // The queue changed under the second batch: what was queued stays.
    int adds = 0;
    speaker.override = [&adds](const Call &c) -> QString {
        if (c.action == u"AddMultipleURIsToQueue"_s && ++adds == 2)
            throw AppleMusicDirect::Failure::rejected(u"1028"_s);
        return {};
    };
    auto f = failure(songs(20));
    ASSERT_TRUE(f.has_value());
    EXPECT_EQ(f->sentence(), u"The Sonos queue changed while songs were being added. Queued music will keep playing; try the selection again to replace it."_s);
    EXPECT_EQ(progress, (std::vector<int>{1}));

    // Cancelling between two actions sends nothing more.
    speaker = ScriptedSpeaker();
    CancelToken cancel;
    speaker.override = [&cancel](const Call &) {
        cancel.cancel();
        return QString();
    };
    EXPECT_THROW(test::await(play(songs(20), AppleMusicAction::replace, cancel)), Cancelled);
    EXPECT_EQ(speaker.actions(), (QStringList{u"AddMultipleURIsToQueue"_s}));
}

TEST(AppleMusicCoordinator, DeviceDescriptionNamesThePlayer)
{
    const QByteArray named = "<root><device><friendlyName>192.168.1.20 - Sonos One - RINCON_A</friendlyName>#DEACTIVATION_x#<UDN>uuid:RINCON_A</UDN></device></root>";
    const struct {
        int status;
        QByteArray body;
        QString player, host;
        bool coordinator;
    } cases[] = {
        {200, named, u"RINCON_A"_s, u"10.0.0.2"_s, true},
        {200, named, u"RINCON_B"_s, u"10.0.0.2"_s, false},
        {404, named, u"RINCON_A"_s, u"10.0.0.2"_s, false},
        {200, named, u"RINCON_A"_s, QString(), false},
    };
    for (const auto &c : cases) {
        test::RecordingTransport transport{[&c](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return test::reply(c.status, c.body); }};
        EXPECT_EQ(test::await(AppleMusicDirect(transport).isCoordinator(c.player, c.host)), c.coordinator) << c.status << c.player.toStdString();
        if (c.coordinator) {
            EXPECT_EQ(transport.requests[0].url.toString(), u"http://10.0.0.2:1400/xml/device_description.xml"_s);
            EXPECT_EQ(transport.requests[0].timeout, std::chrono::milliseconds(3000));
        }
    }
}
