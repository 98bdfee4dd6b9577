// The sign-in window with a real web engine under Xvfb, against the fake
// sign-in service: the redirect ends the flow and is never loaded.
#include "cloud/signin/signinwindow.h"
#include "cloud/sonoserror.h"
#include "core/networktransport.h"
#include "services/fakecloud.h"
#include "testkit/testkit.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QLibraryInfo>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QWebEnginePage>
#include <QWebEngineView>

#include <gtest/gtest.h>

using namespace velotte;

namespace {
struct SignIn : ::testing::Test {
    fake::FakeCloud cloud;
    // On loopback, so even a redirect that slipped through would stay on this machine.
    QString prefix = QStringLiteral("http://127.0.0.1:9/sonos/callback");
    void SetUp() override
    {
        ASSERT_TRUE(QFile::exists(QLibraryInfo::path(QLibraryInfo::LibraryExecutablesPath) + QStringLiteral("/QtWebEngineProcess")))
            << "the web engine's helper process is not installed";
        ASSERT_TRUE(cloud.listen());
    }
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

TEST_F(SignIn, APageToClickThrough)
{
    cloud.signIn.showPage = true;
    SignInWindow window(authorization(QStringLiteral("S2")), prefix);
    window.show();
    EXPECT_TRUE(window.loadingShown());
    auto *label = window.findChild<QLabel *>();
    ASSERT_NE(label, nullptr);
    EXPECT_EQ(label->text(), QStringLiteral("Loading Sonos sign-in…"));
    auto *view = window.findChild<QWebEngineView *>();
    ASSERT_NE(view, nullptr);
    bool loaded = false;
    QObject::connect(view, &QWebEngineView::loadFinished, [&](bool ok) { loaded = loaded || ok; });
    ASSERT_TRUE(test::until([&] { return loaded; }, 60000)) << "the Allow page did not load";
    EXPECT_FALSE(window.loadingShown()) << "the page is there: the label goes";
    const QUrl allowPage = view->url();

    view->page()->runJavaScript(QStringLiteral("document.getElementById('allow').click();"));
    const QUrl redirect = test::await(window.result(), 60000);
    EXPECT_EQ(SonosLogin::authorizationCode(redirect, QStringLiteral("S2")), QStringLiteral("code-1"));
    test::drain();
    EXPECT_EQ(view->url(), allowPage) << "the redirect was never loaded";
}

TEST_F(SignIn, AnErrorRedirectFails)
{
    cloud.signIn.denyAuthorization = true;
    SignInWindow window(authorization(), prefix);
    window.show();
    EXPECT_THROW(test::await(window.result(), 60000), SonosError);
}

TEST_F(SignIn, CancelCloseOrACrashedPageEndTheFlowOnce)
{
    SignInWindow window(authorization(), prefix);
    int closed = 0;
    QObject::connect(&window, &SignInWindow::didClose, [&] { ++closed; });
    window.show();
    auto *cancel = window.findChild<QPushButton *>();
    ASSERT_NE(cancel, nullptr);
    EXPECT_EQ(cancel->text(), QStringLiteral("Cancel"));
    cancel->click(); // before the page could answer
    window.close();  // a second ending changes nothing
    EXPECT_THROW(test::await(window.result()), Cancelled);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(cloud.signIn.tokenRequests, 0);

    SignInWindow crashing(QUrl(QStringLiteral("about:blank")), prefix);
    crashing.show();
    auto *view = crashing.findChild<QWebEngineView *>();
    bool terminated = false;
    QObject::connect(view->page(), &QWebEnginePage::renderProcessTerminated, [&] { terminated = true; });
    view->load(QUrl(QStringLiteral("chrome://crash")));
    ASSERT_TRUE(test::until([&] { return terminated; }, 60000)) << "this web engine did not crash its page on chrome://crash";
    EXPECT_THROW(test::await(crashing.result()), Cancelled);
}

TEST_F(SignIn, TheWholeSignInThroughTheWindowTellsTheShellWhenItCloses)
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
    int closed = 0;
    QObject::connect(&presenter, &WindowLoginPresenter::didClose, [&] { ++closed; });
    SonosAuth auth(config, store, transport, Clock::system(), &presenter);
    test::await(auth.authorize(), 60000);
    EXPECT_TRUE(auth.signedIn());
    EXPECT_TRUE(store.data.has_value());
    test::drain();
    EXPECT_EQ(closed, 1);
    EXPECT_TRUE(QApplication::topLevelWidgets().isEmpty() || !QApplication::topLevelWidgets().first()->isVisible());
}
