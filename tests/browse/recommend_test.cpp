#include "browsefixtures.h"
#include "browse/sonosbrowsemodel.h"
#include "core/wakeup.h"
#include "testkit/testkit.h"
#include "browse/mixselectionrules.h"
#include "browse/musicmixcomposer.h"

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

// A chat completion whose message says `content`.
QByteArray chat(const QString &content)
{
    return QJsonDocument(QJsonObject{{QStringLiteral("choices"),
                                      QJsonArray{QJsonObject{{QStringLiteral("message"), QJsonObject{{QStringLiteral("content"), content}}}}}}})
        .toJson();
}

QByteArray completion(const QJsonObject &mix) { return chat(QString::fromUtf8(QJsonDocument(mix).toJson(QJsonDocument::Compact))); }

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

TEST_F(Recommending, WithoutAModelOrWithAFailedAnswerTheFavoritesAreRankedWithTheHistory)
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

    // A failed or empty answer of the model falls back the same way.
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

TEST(MixSelectionRules, KeepsTheFirstTwelveDistinctIndicesInRange)
{
    EXPECT_EQ(MixSelectionRules::validIndices({3, 3, -1, 7}, 5), QList<int>{3});
    QList<int> fifteen;
    for (int i = 14; i >= 0; --i)
        fifteen << i;
    EXPECT_EQ(MixSelectionRules::validIndices(fifteen, 20), (QList<int>{14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3}));
    // Repeats and strays do not use up places.
    EXPECT_EQ(MixSelectionRules::validIndices({0, 0, 99, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, 13),
              (QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_TRUE(MixSelectionRules::validIndices({0, 1}, 0).isEmpty());
}

TEST(MusicMixComposer, CandidateLinesAndPromptAreCutByCharacters)
{
    EXPECT_EQ(MusicMixComposer::candidateLine(0, {QStringLiteral("Blue in Green"), QStringLiteral("Miles Davis"), std::nullopt,
                                                  {QStringLiteral("Jazz"), QStringLiteral("Modal")}}),
              QStringLiteral("0: Blue in Green | Miles Davis | Jazz, Modal"));
    EXPECT_EQ(MusicMixComposer::candidateLine(7, {QStringLiteral("Untitled"), QString(), std::nullopt, {}}), QStringLiteral("7: Untitled |  | "));

    const MusicHit longHit{QString(100, QLatin1Char('t')), QString(90, QLatin1Char('a')), std::nullopt,
                           {QString(50, QLatin1Char('g')), QString(50, QLatin1Char('h'))}};
    const QStringList parts = MusicMixComposer::candidateLine(12, longHit).split(QStringLiteral(" | "));
    ASSERT_EQ(parts.size(), 3);
    EXPECT_EQ(parts[0], QStringLiteral("12: ") + QString(70, QLatin1Char('t')));
    EXPECT_EQ(parts[1], QString(60, QLatin1Char('a')));
    EXPECT_EQ(parts[2], QString(50, QLatin1Char('g')) + QStringLiteral(", ") + QString(28, QLatin1Char('h')));

    // Characters outside the basic plane count once and are never split.
    QString emoji;
    for (int i = 0; i < 75; ++i)
        emoji += QString::fromUtf8("🎻");
    const QString line = MusicMixComposer::candidateLine(1, {emoji, QStringLiteral("A"), std::nullopt, {}});
    EXPECT_EQ(line, QStringLiteral("1: ") + emoji.left(140) + QStringLiteral(" | A | "));
    EXPECT_EQ(leftCharacters(QString::fromUtf8("a🎻b"), 2), QString::fromUtf8("a🎻"));
    EXPECT_EQ(leftCharacters(QStringLiteral("abc"), 0), QString());

    const QString mood = QString(300, QLatin1Char('m'));
    const QString prompt = MusicMixComposer::prompt(mood, {{QStringLiteral("One"), QStringLiteral("A"), std::nullopt, {QStringLiteral("Pop")}},
                                                           {QStringLiteral("Two"), QStringLiteral("B"), std::nullopt, {}}});
    EXPECT_EQ(prompt, QStringLiteral("Mood: ") + QString(200, QLatin1Char('m')) + QStringLiteral("\nCandidates:\n0: One | A | Pop\n1: Two | B | "));
}

TEST(MusicMixComposer, RequestCarriesInstructionsPromptAndSchema)
{
    RecordingTransport transport;
    MusicMixComposer composer(QUrl(QStringLiteral("http://127.0.0.1:9/")), transport);
    const HttpRequest r = composer.request(QStringLiteral("rainy sunday"), {{QStringLiteral("One"), QStringLiteral("A"), std::nullopt, {}}});
    EXPECT_EQ(r.url, QUrl(QStringLiteral("http://127.0.0.1:9/v1/chat/completions")));
    const QJsonObject body = QJsonDocument::fromJson(r.body).object();
    EXPECT_EQ(body[QStringLiteral("messages")].toArray(),
              (QJsonArray{QJsonObject{{QStringLiteral("role"), QStringLiteral("system")}, {QStringLiteral("content"), MusicMixComposer::instructions()}},
                          QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                      {QStringLiteral("content"), QStringLiteral("Mood: rainy sunday\nCandidates:\n0: One | A | ")}}}));
    EXPECT_EQ(body[QStringLiteral("response_format")][QStringLiteral("json_schema")][QStringLiteral("schema")].toObject(), MusicMixComposer::schema());
    // Property order reaches the wire as written: title, reason, indices.
    EXPECT_LT(r.body.indexOf("\"title\":{"), r.body.indexOf("\"reason\":{"));

    // An address that already names the API root is not doubled.
    MusicMixComposer rooted(QUrl(QStringLiteral("http://127.0.0.1:11434/v1")), transport);
    EXPECT_EQ(rooted.request(QStringLiteral("x"), {}).url, QUrl(QStringLiteral("http://127.0.0.1:11434/v1/chat/completions")));
}

TEST(MusicMixComposer, DecodesTheAnswerOrRefusesIt)
{
    GeneratedMusicMix mix = MusicMixComposer::decode(chat(QStringLiteral(R"({"title":"Slow","reason":"Quiet first.","indices":[2,0,1.0,"3",2.5,-1]})")));
    EXPECT_EQ(mix.title, QStringLiteral("Slow"));
    EXPECT_EQ(mix.reason, QStringLiteral("Quiet first."));
    EXPECT_EQ(mix.indices, (QList<int>{2, 0, 1, -1})) << "only whole numbers are indices; the rules drop the rest";
    // Some servers fence the JSON in Markdown.
    mix = MusicMixComposer::decode(chat(QStringLiteral("```json\n{\"title\":\"T\",\"reason\":\"R\",\"indices\":[4]}\n```")));
    EXPECT_EQ(mix.indices, QList<int>{4});

    for (const QByteArray &bad : {QByteArray("not json"), QByteArray("{}"), QByteArray("{\"choices\":[]}"), chat(QStringLiteral("{\"title\":\"T\"")),
                                  chat(QStringLiteral("I cannot help with that.")), chat(QStringLiteral(R"({"title":"T","reason":"R"})")),
                                  chat(QStringLiteral(R"({"title":1,"reason":"R","indices":[1]})")),
                                  chat(QStringLiteral(R"({"title":"T","reason":"R","indices":"1,2"})"))}) {
        EXPECT_THROW(MusicMixComposer::decode(bad), MixComposerError) << bad.toStdString();
    }
}

TEST(MusicMixComposer, AvailableOnlyWhenTheModelListAnswersInTime)
{
    RecordingTransport transport;
    MusicMixComposer composer(QUrl(QStringLiteral("http://127.0.0.1:9")), transport);
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        co_return reply(200, R"({"object":"list","data":[{"id":"llama-3.2-3b","object":"model"}]})");
    });
    EXPECT_TRUE(await(composer.isAvailable()));
    EXPECT_EQ(composer.model(), QStringLiteral("llama-3.2-3b"));
    EXPECT_EQ(transport.requests.back().url, QUrl(QStringLiteral("http://127.0.0.1:9/v1/models")));

    for (const HttpResponse &answer : {reply(503, R"({"error":{"message":"Loading model"}})"), reply(200, R"({"data":[]})"), reply(200, "<html>")}) {
        transport.setHandler([answer](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return answer; });
        EXPECT_FALSE(await(composer.isAvailable())) << answer.status;
    }
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> {
        throw TransportError(TransportError::Kind::Timeout, QStringLiteral("timed out"));
        co_return reply(200);
    });
    EXPECT_FALSE(await(composer.isAvailable()));

    // A refused completion is the composer's error, not a crash.
    transport.setHandler([](const HttpRequest &, CancelToken) -> QCoro::Task<HttpResponse> { co_return reply(500, "{}"); });
    EXPECT_THROW(await(composer.select(QStringLiteral("calm"), {{QStringLiteral("A"), {}, std::nullopt, {}}})), MixComposerError);
}
