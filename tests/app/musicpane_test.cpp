#include "app/musicpane.h"
#include "browse/quickpicksstore.h"
#include "browse/sonosbrowsemodel.h"
#include "core/settings.h"
#include "core/wakeup.h"
#include "session/applemusiccatalog.h"
#include "session/housesession.h"
#include "testkit/testkit.h"

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {
// A catalog whose answers wait until the test lets each one go.
struct HeldCatalog final : AppleMusicCatalog {
    std::vector<Wakeup> gates;
    QCoro::Task<QList<AppleMusicIdentity>> search(QString text) override
    {
        Wakeup gate;
        gates.push_back(gate);
        co_await gate;
        co_return QList<AppleMusicIdentity>{{u"1"_s, text, {}, u"song"_s}};
    }
    QCoro::Task<QList<AppleMusicIdentity>> lookup(QStringList) override { co_return {}; }
    QCoro::Task<QList<AppleMusicIdentity>> artistSongs(QString) override { co_return {}; }
};
} // namespace

TEST(MusicPane, AnOlderSearchThatAnswersLastIsDropped)
{
    HouseSession session({});
    MemoryStore store;
    SonosBrowseModel browse(store);
    QuickPicksStore picks(store);
    HeldCatalog catalog;
    MusicPane pane(session, browse, picks, catalog);
    pane.search(u"satie"_s);
    pane.search(u"debussy"_s);
    ASSERT_EQ(catalog.gates.size(), 2u);
    catalog.gates[1].fire();
    catalog.gates[0].fire(); // the older search's answer comes last
    test::drain();
    ASSERT_EQ(pane.results().size(), 1);
    EXPECT_EQ(pane.results().first().toMap().value(u"title"_s).toString(), u"debussy"_s);
    EXPECT_FALSE(pane.searching());
}
