#include "app/widgetsnapshot.h"
#include "session/housesession.h"
#include "testkit/testkit.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {
struct Widget : ::testing::Test {
    QTemporaryDir dir;
    VirtualClock clock;
    std::unique_ptr<HouseSession> session;
    std::unique_ptr<WidgetSnapshotWriter> writer;
    int reloads = 0;
    QString path() const { return dir.filePath(QStringLiteral("data/controller-widget.json")); }

    void SetUp() override
    {
        HouseSession::Services services;
        services.clock = &clock;
        session = std::make_unique<HouseSession>(services);
        writer = std::make_unique<WidgetSnapshotWriter>(*session, clock, path());
        QObject::connect(writer.get(), &WidgetSnapshotWriter::reloadRequested, [this](const QString &kind) {
            EXPECT_EQ(kind, QStringLiteral("VelotteRoom"));
            ++reloads;
        });
    }
    ControllerWidgetSnapshot read() const
    {
        QFile f(path());
        EXPECT_TRUE(f.open(QIODevice::ReadOnly));
        return ControllerWidgetSnapshot::decode(f.readAll()).value_or(ControllerWidgetSnapshot{});
    }
};
} // namespace

TEST_F(Widget, BurstOfChangesWritesOnceWithTheLaterContent)
{
    session->loadDemo(); // room, title, artist, playing and favorites change together
    clock.advance(100ms);
    session->playback()->skip(true);
    EXPECT_EQ(writer->writes(), 0);
    clock.advance(399ms);
    EXPECT_EQ(writer->writes(), 0);
    clock.advance(1ms);
    EXPECT_EQ(writer->writes(), 1);
    EXPECT_EQ(reloads, 1);
    const auto s = read();
    EXPECT_EQ(s.room, QStringLiteral("Living Room"));
    EXPECT_EQ(s.title, QStringLiteral("Clair de lune"));
    EXPECT_TRUE(s.playing);
    EXPECT_EQ(s.picks.size(), 5);
    EXPECT_EQ(s.updated, clock.now().addMSecs(-400));
}

TEST_F(Widget, ChangeOfNothingButTimeWritesNothing)
{
    session->loadDemo();
    clock.advance(1s);
    writer->sessionChanged();
    clock.advance(1s);
    EXPECT_EQ(writer->writes(), 1);
    // New favorites alone are a change.
    session->library()->setFavorites({});
    clock.advance(400ms);
    EXPECT_EQ(writer->writes(), 2);
    EXPECT_TRUE(read().picks.isEmpty());
}

TEST(WidgetSnapshotContent, EveryFieldButTheTimeCounts)
{
    const ControllerWidgetSnapshot base{u"Kitchen"_s, u"Clair de lune"_s, u"Debussy"_s, true, QDateTime(), {{u"1"_s, u"Jazz"_s}}};
    const std::vector<std::function<void(ControllerWidgetSnapshot &)>> changes{
        [](auto &s) { s.room = u"Den"_s; },        [](auto &s) { s.title = u"Rêverie"_s; },
        [](auto &s) { s.artist = u"Ravel"_s; },    [](auto &s) { s.playing = false; },
        [](auto &s) { s.picks[0].name = u"Blues"_s; }, [](auto &s) { s.picks.clear(); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        ControllerWidgetSnapshot changed = base;
        changes[i](changed);
        EXPECT_FALSE(base.sameContent(changed)) << "change " << i;
    }
    ControllerWidgetSnapshot later = base;
    later.updated = QDateTime::currentDateTimeUtc();
    EXPECT_TRUE(base.sameContent(later));
}

TEST_F(Widget, EmptySessionSaysOpenYourController)
{
    writer->sessionChanged();
    clock.advance(1s);
    QFile f(path());
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_TRUE(f.readAll().contains("\"picks\":[]"));
    EXPECT_EQ(read().title, QStringLiteral("Open your controller"));

    ControllerWidgetSnapshot s; // dates are seconds since 2001, as the widget's platform counts them
    s.updated = QDateTime(QDate(2001, 1, 2), QTime(0, 0), Qt::UTC);
    EXPECT_TRUE(s.encode().contains("\"updated\":86400"));
    EXPECT_EQ(ControllerWidgetSnapshot::decode(s.encode()), s); // broken files are the feed's test
}
