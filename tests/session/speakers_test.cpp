// Local-only playback against fake speakers that answer as real ones do:
// each captured actions list decides seeking, skipping back and pausing.
#include "core/networktransport.h"
#include "local/guesthouse.h"
#include "local/localconnections.h"
#include "services/fakespeakers.h"
#include "session/housesession.h"
#include "session/liveports.h"
#include "testkit/testkit.h"

#include <QFile>
#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

TEST(LocalPlayback, EachCapturedActionsList)
{
    fake::FakeSpeakers speakers{u"127.0.63.11"_s, 4};
    ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.63.x";
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};
    VirtualClock clock;
    HouseSession::Services services;
    services.local = liveLocalPorts(house, manualHosts(speakers.visibleHosts()));
    services.clock = &clock;
    services.arguments = {u"-VelotteGuest"_s};
    services.followsEvents = false; // the test changes the fake behind its back: reads tell
    HouseSession session(services);
    test::await(session.bootstrap());
    ASSERT_TRUE(session.guest());
    ASSERT_EQ(session.activeGroupName(), u"Living Room"_s);
    auto &living = speakers.speakers[0];

    // What each captured list allows: seek, next, previous, and the state
    // "pause" leaves (a live stream has no pause: Stop).
    const QHash<QString, std::tuple<bool, bool, bool, QString>> expected{
        {u"single"_s, {true, false, false, u"PAUSED_PLAYBACK"_s}}, {u"first"_s, {true, true, false, u"PAUSED_PLAYBACK"_s}},
        {u"queue"_s, {true, true, true, u"PAUSED_PLAYBACK"_s}},    {u"stream"_s, {false, false, false, u"STOPPED"_s}},
        {u"member"_s, {false, false, false, u"STOPPED"_s}},
    };
    QFile f(QStringLiteral(VELOTTE_TEST_DATA_DIR "/local/transport-actions.tsv"));
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    int rows = 0;
    for (const QString &line : QString::fromUtf8(f.readAll()).split(u'\n')) {
        const QStringList columns = line.split(u'\t');
        if (line.startsWith(u'#') || columns.size() != 3)
            continue;
        ++rows;
        SCOPED_TRACE(line.toStdString());
        ASSERT_TRUE(expected.contains(columns[0]));
        const auto [seek, next, previous, pausedState] = expected.value(columns[0]);
        living.actions = columns[1];
        living.track = 1;
        living.state = u"PAUSED_PLAYBACK"_s;
        living.position = 5000;
        test::await(session.playback()->refreshPlayback());
        EXPECT_EQ(session.playback()->canSeek(), seek);
        EXPECT_EQ(session.playback()->canSkip(), next);
        EXPECT_EQ(session.playback()->canSkipBack(), previous);

        // Past 3 s, "previous" restarts the song where the speaker seeks.
        session.playback()->skip(false);
        test::await(session.settle());
        EXPECT_EQ(living.track, 1);
        if (seek)
            EXPECT_EQ(living.position, 0);
        else
            EXPECT_EQ(session.noteText(), u"Sonos cannot go to a previous track for this source or queue."_s);

        living.state = u"PLAYING"_s;
        test::await(session.playback()->refreshPlayback());
        session.playback()->toggle();
        test::await(session.settle());
        EXPECT_EQ(living.state, pausedState);
        EXPECT_TRUE(session.noteText().isEmpty()) << session.noteText().toStdString();
    }
    EXPECT_EQ(rows, expected.size());
}
