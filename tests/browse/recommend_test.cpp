#include "browsefixtures.h"

#include "browse/sonosbrowsemodel.h"
#include "core/wakeup.h"

#include "testkit/testkit.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

TEST(Recommend, ArtistRequestsAreRecognised)
{
    auto artist = [](const char *text) { return SonosBrowseModel::requestedArtist(QString::fromUtf8(text)); };
    EXPECT_EQ(artist("please recommend music by Miles Davis"), QStringLiteral("Miles Davis"));
    EXPECT_EQ(artist("Recommend songs by Nina Simone, please!"), QStringLiteral("Nina Simone"));
    EXPECT_EQ(artist("recommend music by  Björk."), QString::fromUtf8("Björk"));
    EXPECT_EQ(artist("Could you suggest some tracks from 周杰倫?"), QString::fromUtf8("周杰倫"));
    EXPECT_EQ(artist("recommend music by"), std::nullopt);
    EXPECT_EQ(artist("something calm for a rainy evening"), std::nullopt);
    EXPECT_EQ(artist("music by the sea"), std::nullopt);
}

namespace {

QByteArray modelList() { return R"({"object":"list","data":[{"id":"local-model","object":"model"}]})"; }

QByteArray completion(const QJsonObject &mix)
{
    const QJsonObject message{{QStringLiteral("role"), QStringLiteral("assistant")},
                              {QStringLiteral("content"), QString::fromUtf8(QJsonDocument(mix).toJson(QJsonDocument::Compact))}};
    return QJsonDocument(QJsonObject{{QStringLiteral("choices"), QJsonArray{QJsonObject{{QStringLiteral("message"), message}}}}}).toJson();
}

QJsonObject mixOf(QJsonArray indices)
{
    return {{QStringLiteral("title"), QStringLiteral("Blue Hour")}, {QStringLiteral("reason"), QStringLiteral("Cool jazz, then the radio.")},
            {QStringLiteral("indices"), indices}};
}

struct Recommending : ::testing::Test {
    MemoryStore defaults;
    RecordingTransport transport;
    MusicMixComposer composer{QUrl(QStringLiteral("http://127.0.0.1:9")), transport};
    SonosBrowseModel model{defaults, &composer};
    QList<SonosFavorite> favorites = householdFavorites();

    void answer(bool available, const QByteArray &chat)
    {
        transport.setHandler([available, chat](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
            if (r.url.path().endsWith(QLatin1String("/models")))
                co_return available ? reply(200, modelList()) : reply(503, "{}");
            co_return reply(200, chat);
        });
    }
    QString lastPrompt() const
    {
        return QJsonDocument::fromJson(transport.requests.back().body)[QStringLiteral("messages")][1][QStringLiteral("content")].toString();
    }
};

} // namespace

TEST_F(Recommending, TheModelArrangesTheMatchingFavorites)
{
    answer(true, completion(mixOf({1, 0, 1, 40})));
    await(model.recommend(QStringLiteral("please recommend music by Miles Davis"), favorites));
    // The candidates: the station named after him, then the album that mentions him.
    const QString prompt = lastPrompt();
    EXPECT_TRUE(prompt.startsWith(QStringLiteral("Mood: please recommend music by Miles Davis\nCandidates:\n0: Miles Davis Radio | Station | Radio\n"
                                                 "1: Kind of Blue | Album by Miles Davis | ")))
        << prompt.toStdString();
    EXPECT_EQ(idsOf(model.recommendations()), (QStringList{QStringLiteral("f6"), QStringLiteral("f8")}));
    EXPECT_TRUE(model.usesIntelligence() && model.hasRecommended() && !model.recommending());
    EXPECT_EQ(model.recommendedArtist(), QStringLiteral("Miles Davis"));
    EXPECT_EQ(model.recommendationDetail(), QString::fromUtf8("Blue Hour — Cool jazz, then the radio."));
    // The model saw the composer and kind of classical favorites, never a podcast.
    await(model.recommend(QStringLiteral("something grand"), favorites));
    EXPECT_TRUE(lastPrompt().contains(QStringLiteral(": Beethoven: Symphony No. 5 in C minor, Op. 67 | Beethoven | Classical, Symphonies")));
    EXPECT_FALSE(lastPrompt().contains(QStringLiteral("The Daily")));
    EXPECT_EQ(model.recommendedArtist(), std::nullopt);
}

TEST_F(Recommending, WithoutAModelTheFavoritesAreRankedWithTheHistory)
{
    answer(false, {});
    model.selectHousehold(QStringLiteral("H"));
    model.recordPlayed(favorites[9]); // Sunday Jazz
    model.recordPlayed(favorites[5]); // Kind of Blue, most recent
    await(model.recommend(QStringLiteral("some jazz for sunday"), favorites));
    EXPECT_FALSE(model.usesIntelligence());
    EXPECT_EQ(model.recommendationDetail(), QStringLiteral("Apple Intelligence is unavailable. Suggestions from your favorites are ready."));
    const QStringList ids = idsOf(model.recommendations());
    ASSERT_GE(ids.size(), 3);
    // Both words first, then the recently played, then the speakers' order.
    EXPECT_EQ(ids.mid(0, 3), (QStringList{QStringLiteral("f10"), QStringLiteral("f6"), QStringLiteral("f1")}));
    EXPECT_FALSE(ids.contains(QStringLiteral("f5"))) << "podcasts are not suggested";
    EXPECT_LE(ids.size(), 12);
    EXPECT_EQ(transport.requests.size(), 1u) << "no completion is asked for";

    // No composer at all reads the same; another spelling of a composer's
    // name finds the composer's works.
    SonosBrowseModel plain(defaults);
    const QList<SonosFavorite> russian = {favorite(QStringLiteral("r1"), QStringLiteral("Tschaikowsky: Klavierkonzert Nr. 1")),
                                          favorite(QStringLiteral("r2"), QStringLiteral("Rachmaninoff: Vespers")),
                                          favorite(QStringLiteral("r3"), QStringLiteral("Tchaikovsky Radio"), QStringLiteral("Station"))};
    await(plain.recommend(QStringLiteral("recommend music by Tchaikovsky"), russian));
    EXPECT_EQ(idsOf(plain.recommendations()), (QStringList{QStringLiteral("r3"), QStringLiteral("r1")}));
}

TEST_F(Recommending, AFailedOrEmptyModelAnswerFallsBack)
{
    for (const QByteArray &chat : {completion(mixOf({-1, 99, 99})), QByteArray("{\"choices\":[{\"message\":{\"content\":\"{\\\"title\\\"\"}}]}"),
                                   completion(mixOf({}))}) {
        answer(true, chat);
        await(model.recommend(QStringLiteral("calm"), favorites));
        EXPECT_FALSE(model.usesIntelligence());
        EXPECT_EQ(model.recommendationDetail(), SonosBrowseModel::unavailableSentence());
        EXPECT_FALSE(model.recommendations().isEmpty());
    }
    // So does a completion that never comes.
    transport.setHandler([](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.url.path().endsWith(QLatin1String("/models")))
            co_return reply(200, modelList());
        throw TransportError(TransportError::Kind::Timeout, QStringLiteral("no answer"));
    });
    await(model.recommend(QStringLiteral("calm"), favorites));
    EXPECT_EQ(model.recommendationDetail(), SonosBrowseModel::unavailableSentence());
    // An artist nobody saved, or no favorites at all, give nothing and say
    // so without asking the model.
    const size_t asked = transport.requests.size();
    await(model.recommend(QStringLiteral("recommend music by Taylor Swift"), favorites));
    EXPECT_TRUE(model.recommendations().isEmpty());
    EXPECT_EQ(model.recommendationDetail(), QStringLiteral("No favorites match \"Taylor Swift\"."));
    await(model.recommend(QStringLiteral("calm"), {}));
    EXPECT_EQ(model.recommendationDetail(), QStringLiteral("There are no favorites to suggest from."));
    EXPECT_EQ(transport.requests.size(), asked);
}

TEST_F(Recommending, ALaterRunOrClearDropsAnEarlierResult)
{
    Wakeup gate;
    transport.setHandler([gate](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        // The request may be gone once this waits: read it first.
        const bool slow = r.body.contains("slow");
        const bool models = r.url.path().endsWith(QLatin1String("/models"));
        if (slow)
            co_await gate;
        if (models)
            co_return reply(200, modelList());
        co_return reply(200, completion(mixOf({slow ? 2 : 0})));
    });
    // The first run waits inside its completion while a second one finishes.
    auto first = model.recommend(QStringLiteral("slow jazz"), favorites);
    EXPECT_TRUE(model.recommending());
    await(model.recommend(QStringLiteral("jazz"), favorites));
    const QList<SonosFavorite> second = model.recommendations();
    gate.fire();
    await(std::move(first));
    EXPECT_EQ(model.recommendations(), second);
    EXPECT_FALSE(model.recommending());

    Wakeup gate2;
    transport.setHandler([gate2](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        co_await gate2;
        co_return reply(200, modelList());
    });
    auto cleared = model.recommend(QStringLiteral("anything"), favorites);
    model.clear();
    gate2.fire();
    await(std::move(cleared));
    EXPECT_FALSE(model.hasRecommended());
    EXPECT_TRUE(model.recommendations().isEmpty());
    EXPECT_FALSE(model.recommending());
}
