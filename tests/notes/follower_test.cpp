#include "notes/nowplayingfollower.h"
#include "notes/tracklinesmodel.h"
#include "notes/tracknotes.h"

#include "notesfixture.h"

#include "testkit/testkit.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QUrl>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

// What the session shows, with the same property names and signals.
class PlayingNow : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title MEMBER title NOTIFY titleChanged)
    Q_PROPERTY(QString artist MEMBER artist NOTIFY artistChanged)
    Q_PROPERTY(QUrl artwork MEMBER artwork NOTIFY artworkChanged)
    Q_PROPERTY(qint64 durationMillis MEMBER durationMillis NOTIFY durationMillisChanged)
    Q_PROPERTY(qint64 positionMillis MEMBER positionMillis NOTIFY positionMillisChanged)
public:
    QString title;
    QString artist;
    QUrl artwork;
    qint64 durationMillis = 0;
    qint64 positionMillis = 0;

    void show(const QString &t, const QString &a, qint64 d)
    {
        title = t;
        Q_EMIT titleChanged();
        artist = a;
        Q_EMIT artistChanged();
        durationMillis = d;
        Q_EMIT durationMillisChanged();
    }

Q_SIGNALS:
    void titleChanged();
    void artistChanged();
    void artworkChanged();
    void durationMillisChanged();
    void positionMillisChanged();
};

} // namespace

TEST(NowPlayingFollower, OneLoadPerChangeOfTrack)
{
    RecordingTransport transport([](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.url.path() == u"/api/search"_s)
            co_return reply(200, "[]");
        co_return reply(200, "{}");
    });
    VirtualClock clock;
    TrackNotes notes(transport, clock, scriptedServices());
    PlayingNow session;
    NowPlayingFollower follower(&session, &notes);

    // Title, artist and duration change in one reading: one load, with all three.
    session.show(u"Salt & Pepper"_s, u"The Condiments"_s, 201000);
    drain();
    EXPECT_EQ(notes.lyricArtists(), QStringList{u"The Condiments"_s});
    EXPECT_EQ(notes.lyricDurationMillis(), 201000);
    EXPECT_EQ(std::count_if(transport.requests.begin(), transport.requests.end(), [](const HttpRequest &r) { return r.url.port() == lrclibPort; }), 1);
    const auto asked = transport.requests.size();

    // The position moving on is no new track.
    session.positionMillis = 5000;
    Q_EMIT session.positionMillisChanged();
    session.show(u"Salt & Pepper"_s, u"The Condiments"_s, 201000);
    drain();
    EXPECT_EQ(transport.requests.size(), asked);

    // New artwork is.
    session.artwork = QUrl(u"http://127.0.0.1:7105/art.jpg"_s);
    Q_EMIT session.artworkChanged();
    drain();
    EXPECT_EQ(notes.cover(), session.artwork);

    // Nothing playing any more.
    session.show(QString(), QString(), 0);
    drain();
    EXPECT_EQ(notes.lyricsState(), TrackNotes::idle);
}

TEST(TrackLinesModel, MirrorsTheLines)
{
    RecordingTransport transport([](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.url.path() == u"/api/search"_s)
            co_return reply(200, R"([{"trackName":"Olive Oil Blues","artistName":"The Condiments","duration":234.0,"plainLyrics":"Pour it slow\nOlive oil blues","syncedLyrics":"[00:01.00]Pour it slow"}])");
        co_return reply(200, "{}");
    });
    VirtualClock clock;
    TrackNotes notes(transport, clock, scriptedServices());
    TrackLinesModel model(&notes);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Warning);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    await(notes.load(u"Olive Oil Blues"_s, u"The Condiments"_s, {}, 234000));
    ASSERT_EQ(model.rowCount(), 1);
    const QModelIndex first = model.index(0);
    EXPECT_EQ(model.data(first, TrackLinesModel::TextRole).toString(), u"Pour it slow"_s);
    EXPECT_EQ(model.data(first, TrackLinesModel::TimeRole).toLongLong(), 1000);
    EXPECT_TRUE(model.data(first, TrackLinesModel::TimedRole).toBool());
    EXPECT_FALSE(model.index(5).isValid());

    await(notes.load(QString(), QString(), {}, 0));
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_GE(resets.size(), 2);
}

#include "follower_test.moc"
