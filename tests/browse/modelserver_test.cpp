#include "browsefixtures.h"

#include "browse/sonosbrowsemodel.h"
#include "core/networktransport.h"
#include "services/fakemodel.h"

#include "testkit/testkit.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTcpServer>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

namespace {

// The composer and the browse model over real sockets against a model
// server on loopback.
struct ModelServer : ::testing::Test {
    fake::FakeModel server;
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    std::unique_ptr<MusicMixComposer> composer;
    MemoryStore defaults;
    std::unique_ptr<SonosBrowseModel> model;
    QList<SonosFavorite> favorites = householdFavorites();

    void SetUp() override
    {
        ASSERT_TRUE(server.listen());
        use(server.baseUrl());
    }
    void use(const QUrl &address)
    {
        composer = std::make_unique<MusicMixComposer>(address, transport);
        composer->setProbeTimeout(std::chrono::milliseconds(1500));
        composer->setAnswerTimeout(std::chrono::milliseconds(1500));
        model = std::make_unique<SonosBrowseModel>(defaults, composer.get());
    }
};

} // namespace

TEST_F(ModelServer, TheRequestOnTheWireAndAValidAnswer)
{
    server.indices = {3, 0, 3, 1};
    await(model->recommend(QStringLiteral("A quiet Sunday morning"), favorites));
    ASSERT_EQ(server.completions.size(), 1);
    const fake::Request &wire = server.completions.front();
    EXPECT_EQ(wire.header("Content-Type"), "application/json");
    const QJsonObject body = QJsonDocument::fromJson(wire.body).object();
    EXPECT_EQ(body[QStringLiteral("model")].toString(), server.modelName) << "the model the server listed";
    EXPECT_EQ(body[QStringLiteral("temperature")].toDouble(), 0.3);
    EXPECT_EQ(body[QStringLiteral("max_tokens")].toInt(), 500);
    const QJsonArray messages = body[QStringLiteral("messages")].toArray();
    ASSERT_EQ(messages.size(), 2);
    EXPECT_EQ(messages[0][QStringLiteral("content")].toString(), MusicMixComposer::instructions());
    const QString prompt = messages[1][QStringLiteral("content")].toString();
    EXPECT_TRUE(prompt.startsWith(QStringLiteral("Mood: A quiet Sunday morning\nCandidates:\n0: Sunday Jazz | Playlist | \n"))) << prompt.toStdString();
    EXPECT_EQ(prompt.count(QLatin1Char('\n')), 2 + favorites.size() - 2) << "every favorite but the podcast, one line each";
    const QJsonObject format = body[QStringLiteral("response_format")].toObject();
    EXPECT_EQ(format[QStringLiteral("type")].toString(), QStringLiteral("json_schema"));
    EXPECT_EQ(format[QStringLiteral("json_schema")][QStringLiteral("schema")].toObject(), MusicMixComposer::schema());

    // The model's order, each candidate once.
    const QStringList lines = prompt.split(QLatin1Char('\n')).mid(2);
    QStringList expected;
    for (int i : {3, 0, 1})
        expected << lines[i].section(QStringLiteral(": "), 1).section(QStringLiteral(" | "), 0, 0);
    EXPECT_EQ(namesOf(model->recommendations()), expected);
    EXPECT_TRUE(model->usesIntelligence());
    EXPECT_EQ(model->recommendationDetail(), server.title + QString::fromUtf8(" — ") + server.reason);
}

TEST_F(ModelServer, BadIndicesMalformedAnswersAndASilentServerFallBack)
{
    for (const auto answer : {fake::FakeModel::Answer::badIndices, fake::FakeModel::Answer::malformed, fake::FakeModel::Answer::silent}) {
        server.answer = answer;
        await(model->recommend(QStringLiteral("focus"), favorites), 10000);
        EXPECT_FALSE(model->usesIntelligence()) << int(answer);
        EXPECT_EQ(model->recommendationDetail(), SonosBrowseModel::unavailableSentence());
        EXPECT_FALSE(model->recommendations().isEmpty());
    }
    EXPECT_EQ(server.completions.size(), 3);
    // Straight from the composer, the failures are its own error or the transport's.
    server.answer = fake::FakeModel::Answer::malformed;
    EXPECT_THROW(await(composer->select(QStringLiteral("x"), {MusicHit{QStringLiteral("A"), {}, std::nullopt, {}}})), MixComposerError);
}

TEST_F(ModelServer, ADownOrMissingServerMeansNoModel)
{
    server.answer = fake::FakeModel::Answer::down;
    EXPECT_FALSE(await(composer->isAvailable()));
    await(model->recommend(QStringLiteral("recommend music by Brahms"), favorites));
    EXPECT_EQ(model->recommendationDetail(), QStringLiteral("Apple Intelligence is unavailable. Suggestions from your favorites are ready."));
    EXPECT_EQ(idsOf(model->recommendations()), QStringList{QStringLiteral("f9")});
    EXPECT_TRUE(server.completions.isEmpty());

    // Nothing listens at all: a port that was free a moment ago.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const QUrl closed(QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort()));
    probe.close();
    use(closed);
    EXPECT_FALSE(await(composer->isAvailable()));
    await(model->recommend(QStringLiteral("calm"), favorites));
    EXPECT_FALSE(model->usesIntelligence());
    EXPECT_EQ(model->recommendationDetail(), SonosBrowseModel::unavailableSentence());
}
