#include "browse/mixselectionrules.h"
#include "browse/musicmixcomposer.h"

#include "testkit/testkit.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

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

namespace {
QByteArray chat(const QString &content)
{
    return QJsonDocument(QJsonObject{{QStringLiteral("choices"),
                                      QJsonArray{QJsonObject{{QStringLiteral("message"), QJsonObject{{QStringLiteral("content"), content}}}}}}})
        .toJson();
}
} // namespace

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
