#include "cloud/signin/signinwindow.h"
#include "cloud/sonoserror.h"
#include "core/networktransport.h"
#include "services/fakecloud.h"
#include "testkit/testkit.h"

#include <QApplication>
#include <QNetworkAccessManager>
#include <QPushButton>

#include <gtest/gtest.h>
#include "core/shutdown.h"

using namespace velotte;

namespace {
struct SignIn : ::testing::Test {
    fake::FakeCloud cloud;
    // Loopback: nothing leaves the machine even if the catch failed.
    QString prefix = QStringLiteral("http://127.0.0.1:9/sonos/callback");
    void SetUp() override { ASSERT_TRUE(cloud.listen()); }
    QUrl authorization(const QString &state = QStringLiteral("S1")) const
    {
        QUrl url = cloud.baseUrl();
        url.setPath(QStringLiteral("/login/v3/oauth"));
        url.setQuery(QStringLiteral("client_id=%1&response_type=code&state=%2&scope=playback-control-all&redirect_uri=%3")
                         .arg(cloud.signIn.clientID, state, QString::fromLatin1(QUrl::toPercentEncoding(prefix))));
        return url;
    }
};
} // namespace

TEST_F(SignIn, TheRedirectEndsTheFlowAndIsNeverLoaded)
{
    SignInWindow window(authorization(), prefix);
    bool closed = false;
    QObject::connect(&window, &SignInWindow::didClose, [&] { closed = true; });
    window.show();
    const QUrl redirect = test::await(window.result(), 60000);
    EXPECT_TRUE(SonosLogin::isRedirect(redirect, prefix));
    EXPECT_EQ(SonosLogin::authorizationCode(redirect, QStringLiteral("S1")), QStringLiteral("code-1"));
    EXPECT_TRUE(window.loadingShown()); // no page was ever shown: the redirect was cancelled
    window.close();
    EXPECT_TRUE(closed);
}

TEST_F(SignIn, AnErrorRedirectFails)
{
    cloud.signIn.denyAuthorization = true;
    SignInWindow window(authorization(), prefix);
    window.show();
    EXPECT_THROW(test::await(window.result(), 60000), SonosError);
}

TEST_F(SignIn, CancelAndCloseEndTheFlowOnce)
{
    SignInWindow window(QUrl(QStringLiteral("about:blank")), prefix);
    window.show();
    auto *cancel = window.findChild<QPushButton *>();
    ASSERT_NE(cancel, nullptr);
    EXPECT_EQ(cancel->text(), QStringLiteral("Cancel"));
    cancel->click();
    window.close(); // a second ending changes nothing
    EXPECT_THROW(test::await(window.result()), Cancelled);
}

TEST_F(SignIn, TheWholeSignInThroughTheWindow)
{
    QNetworkAccessManager manager;
    NetworkTransport transport(&manager);
    MemorySecretStore store;
    WindowLoginPresenter presenter;
    SonosConfig config = SonosConfig::defaults();
    config.clientID = cloud.signIn.clientID;
    config.clientSecret = cloud.signIn.clientSecret;
    config.redirectURI = prefix;
    config.authorizeURL = cloud.baseUrl().resolved(QUrl(QStringLiteral("/login/v3/oauth")));
    config.tokenURL = cloud.baseUrl().resolved(QUrl(QStringLiteral("/login/v3/oauth/access")));
    SonosAuth auth(config, store, transport, Clock::system(), &presenter);
    test::await(auth.authorize(), 60000);
    EXPECT_TRUE(auth.signedIn());
    EXPECT_TRUE(store.data.has_value());
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    velotte::settleBeforeExit(); // nothing a test cancelled stays suspended
    return status;
}
