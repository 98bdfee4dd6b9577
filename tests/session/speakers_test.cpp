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

namespace {

struct Row {
    QString situation;
    QString actions;
};

// The captured lists, as the fake speakers send them.
QList<Row> capturedActions()
{
    QFile f(QStringLiteral(VELOTTE_TEST_DATA_DIR "/local/transport-actions.tsv"));
    EXPECT_TRUE(f.open(QIODevice::ReadOnly));
    QList<Row> rows;
    for (const QString &line : QString::fromUtf8(f.readAll()).split(u'\n')) {
        const QStringList columns = line.split(u'\t');
        if (!line.startsWith(u'#') && columns.size() == 3)
            rows.append({columns[0], columns[1]});
    }
    return rows;
}

struct Allowed {
    bool seek, next, previous;
    QString pausedState; // what "pause" leaves the speaker in
};

} // namespace

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

    const QHash<QString, Allowed> expected{
        {u"single"_s, {true, false, false, u"PAUSED_PLAYBACK"_s}},
        {u"first"_s, {true, true, false, u"PAUSED_PLAYBACK"_s}},
        {u"queue"_s, {true, true, true, u"PAUSED_PLAYBACK"_s}},
        // A live stream: no seeking, no skipping, and Stop for pause.
        {u"stream"_s, {false, false, false, u"STOPPED"_s}},
        {u"member"_s, {false, false, false, u"STOPPED"_s}},
    };
    const QList<Row> rows = capturedActions();
    ASSERT_EQ(rows.size(), expected.size());
    for (const Row &row : rows) {
        SCOPED_TRACE(row.actions.toStdString());
        ASSERT_TRUE(expected.contains(row.situation));
        const Allowed allowed = expected.value(row.situation);
        living.actions = row.actions;
        living.track = 1;
        living.state = u"PAUSED_PLAYBACK"_s;
        living.position = 5000;
        test::await(session.playback()->refreshPlayback());
        EXPECT_EQ(session.playback()->canSeek(), allowed.seek);
        EXPECT_EQ(session.playback()->canSkip(), allowed.next);
        EXPECT_EQ(session.playback()->canSkipBack(), allowed.previous);

        // Past 3 s, "previous" restarts the song where the speaker seeks.
        session.playback()->skip(false);
        test::await(session.settle());
        if (allowed.seek) {
            EXPECT_EQ(living.position, 0);
            EXPECT_EQ(living.track, 1);
        } else {
            EXPECT_EQ(living.track, 1);
            EXPECT_EQ(session.noteText(), u"Sonos cannot go to a previous track for this source or queue."_s);
        }

        living.state = u"PLAYING"_s;
        test::await(session.playback()->refreshPlayback());
        session.playback()->toggle();
        test::await(session.settle());
        EXPECT_EQ(living.state, allowed.pausedState);
        EXPECT_TRUE(session.noteText().isEmpty()) << session.noteText().toStdString();
    }
}
