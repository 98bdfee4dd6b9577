// What only real sockets show of the model server: one that never answers,
// one that is down, and none at all all leave the favorites' suggestions.
#include "browsefixtures.h"

#include "browse/sonosbrowsemodel.h"
#include "core/networktransport.h"
#include "services/fakemodel.h"

#include "testkit/testkit.h"

#include <QNetworkAccessManager>
#include <QTcpServer>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;

TEST(ModelServer, SilentDownOrMissingServersFallBack)
{
    fake::FakeModel server;
    ASSERT_TRUE(server.listen());
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    MemoryStore defaults;
    const QList<SonosFavorite> favorites = householdFavorites();
    // Nothing listens at all: a port that was free a moment ago.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const QUrl closed(QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort()));
    probe.close();

    const std::vector<std::pair<fake::FakeModel::Answer, QUrl>> servers{
        {fake::FakeModel::Answer::silent, server.baseUrl()},
        {fake::FakeModel::Answer::down, server.baseUrl()},
        {fake::FakeModel::Answer::valid, closed},
    };
    for (const auto &[answer, address] : servers) {
        server.answer = answer;
        MusicMixComposer composer(address, transport);
        composer.setProbeTimeout(std::chrono::milliseconds(1500));
        composer.setAnswerTimeout(std::chrono::milliseconds(1500));
        SonosBrowseModel model(defaults, &composer);
        await(model.recommend(QStringLiteral("recommend music by Brahms"), favorites), 10000);
        EXPECT_FALSE(model.usesIntelligence()) << int(answer);
        EXPECT_EQ(model.recommendationDetail(), SonosBrowseModel::unavailableSentence());
        EXPECT_EQ(idsOf(model.recommendations()), QStringList{QStringLiteral("f9")});
    }
    EXPECT_EQ(server.completions.size(), 1); // only the silent one was asked
}
