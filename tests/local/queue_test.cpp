// The queue and the sleep timer against the fake speakers, with queues
// changed underneath the edits.
#include "core/networktransport.h"
#include "local/sleeptimer.h"
#include "local/speakerfault.h"
#include "local/speakerqueue.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {
struct Queue : ::testing::Test {
    fake::FakeSpeakers speakers{u"127.0.46.11"_s, 5};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    SpeakerQueue queue{transport};
    QString host = u"127.0.46.11"_s;
    fake::FakeSpeakers::Speaker &speaker = speakers.speakers[0];

    void SetUp() override { ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.46.x"; }
    QStringList titles() const
    {
        QStringList out;
        for (const auto &t : speaker.queue)
            out << t.title;
        return out;
    }
};

} // namespace

TEST_F(Queue, AThousandTracksReadInPages)
{
    speaker.queue = fake::FakeSpeakers::generatedQueue(1000);
    const int before = speaker.requests;
    const auto contents = test::await(queue.read(host));
    ASSERT_EQ(contents.items.size(), 1000);
    EXPECT_EQ(speaker.requests - before, 10);
    EXPECT_EQ(contents.updateID, speaker.updateID);
    for (int i : {0, 99, 100, 555, 999}) {
        EXPECT_EQ(contents.items[i].title, u"Track %1"_s.arg(i + 1));
        EXPECT_EQ(contents.items[i].durationMillis, speaker.queue[i].duration);
    }
    EXPECT_EQ(contents.items[0].artist, u"Artist 1"_s);
    EXPECT_TRUE(contents.items[0].albumArt.startsWith(u"http://127.0.46.11:1400/getaa?s=1&u="_s));

    // Captured tracks: their texts escaped once more than the document.
    const auto bedroom = test::await(queue.read(speakers.speakers[3].host));
    ASSERT_EQ(bedroom.items.size(), 3);
    EXPECT_EQ(bedroom.items[0].title, u"Ex's & Oh's"_s);
    EXPECT_EQ(bedroom.items[0].artist, u"Elle King"_s);
    // An empty queue is no failure.
    speaker.queue.clear();
    EXPECT_TRUE(test::await(queue.read(host)).items.isEmpty());
}

TEST_F(Queue, EditsRefusedWhenTheQueueChangedUnderneath)
{
    const QStringList start{u"Clair de lune"_s, u"Salt & Pepper"_s, u"Gymnopédie No. 1"_s};
    const struct {
        const char *what;
        std::function<QCoro::Task<void>(qint64)> edit;
        QStringList after;
        int track;
    } cases[] = {
        {"jump", [&](qint64 id) { return queue.jump(host, 3, id); }, start, 2},
        {"remove", [&](qint64 id) { return queue.remove(host, 1, id); }, {start[1], start[2]}, 0},
        {"move down", [&](qint64 id) { return queue.move(host, 1, 3, id); }, {start[1], start[2], start[0]}, 2},
        {"move up", [&](qint64 id) { return queue.move(host, 3, 1, id); }, {start[2], start[0], start[1]}, 1},
    };
    for (const auto &c : cases) {
        speaker.queue = fake::FakeSpeakers::generatedQueue(0);
        for (const QString &title : start)
            speaker.queue.append({title, {}, {}, 200000, u"x-file:%1"_s.arg(title)});
        speaker.track = 0;
        const qint64 seen = test::await(queue.read(host)).updateID;
        ++speaker.updateID; // another controller edited the queue
        const SpeakerFault stale = test::failure<SpeakerFault>(c.edit(seen)).value();
        EXPECT_TRUE(stale.is(SpeakerFault::queueChanged)) << c.what;
        EXPECT_EQ(stale.sentence(), u"The queue changed on the speaker in the meantime (1028). Look at it again and try once more."_s);
        EXPECT_EQ(titles(), start) << c.what;
        test::await(c.edit(test::await(queue.read(host)).updateID));
        EXPECT_EQ(titles(), c.after) << c.what;
        EXPECT_EQ(speaker.track, c.track) << c.what;
    }
    test::await(queue.clear(host));
    EXPECT_TRUE(speaker.queue.isEmpty());
    // A track that is not there is the speaker's to refuse.
    EXPECT_FALSE(test::failure<SpeakerFault>(queue.remove(host, 5, 0)).value().is(SpeakerFault::queueChanged));
}

TEST_F(Queue, SleepTimerSetReadAndCancelled)
{
    EXPECT_FALSE(test::await(SleepTimer::remaining(transport, host)).has_value());
    test::await(SleepTimer::set(transport, host, 30 * 60 * 1000));
    const auto left = test::await(SleepTimer::remaining(transport, host));
    ASSERT_TRUE(left.has_value());
    EXPECT_GT(*left, 29 * 60 * 1000);
    EXPECT_LE(*left, 30 * 60 * 1000);
    test::await(SleepTimer::set(transport, host, std::nullopt));
    EXPECT_FALSE(test::await(SleepTimer::remaining(transport, host)).has_value());
    // The timer is the group's: its coordinator keeps it.
    const QString partner = speakers.speakers[1].host;
    EXPECT_TRUE(test::failure<SpeakerFault>(SleepTimer::set(transport, partner, 15 * 60 * 1000)).value().is(SpeakerFault::notCoordinator));
}
