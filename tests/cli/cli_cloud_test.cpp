#include "terminalsignin.h"

#include "services/fakecloud.h"

#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QScopeGuard>

#include <memory>

using namespace velotte;
using namespace velotte::test;

namespace {

// Files under `dir` that hold these bytes in the clear.
QStringList filesHolding(const QString &dir, const QByteArray &bytes)
{
    QStringList found;
    QDirIterator it(dir, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile f(it.next());
        if (f.open(QIODevice::ReadOnly) && f.readAll().contains(bytes))
            found << f.fileName();
    }
    return found;
}

// The whole account path against the fake cloud: sign in from the terminal,
// keep the token in the desktop's keyring, then control the household.
struct CliCloud : ::testing::Test {
    QTemporaryDir home;
    fake::FakeCloud cloud;
    QString secrets;
    QStringList printed; // everything any command printed

    void SetUp() override
    {
        ASSERT_TRUE(cloud.listen());
        cloud.requireIssuedTokens();
        secrets = home.filePath(QStringLiteral("SonosSecrets.plist"));
        QFile f(secrets);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(cloud.secretsPlist());
    }
    CliResult ctl(const QStringList &args)
    {
        CliResult r = runCli(args, home, 30000, secrets);
        printed << r.out << r.err;
        return r;
    }
    int login(const std::function<QByteArray(QByteArray)> &edit = {})
    {
        const TerminalSignIn result = signInFromTerminal(home, secrets, cloud, edit);
        printed << result.printed;
        return result.exit;
    }
    fake::FakeCloud::Group &living() { return cloud.groups.front(); }
};

} // namespace

TEST_F(CliCloud, SignInThenControlTheHousehold)
{
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 1);
    ASSERT_EQ(login(), 0) << printed.join(QLatin1Char('\n')).toStdString();
    const auto account = ctl({QStringLiteral("account")}); // restored by a later process
    EXPECT_EQ(account.exit, 0);
    EXPECT_TRUE(account.out.startsWith(QStringLiteral("Signed in to Sonos; the access token expires at "))) << account.out.toStdString();
    EXPECT_EQ(filesHolding(home.path(), "access-"), QStringList()) << "the token is only in the keyring";
    if (qEnvironmentVariable("HOME").startsWith(QLatin1String("/tmp/"))) { // the keyring's own throw-away home
        EXPECT_EQ(filesHolding(qEnvironmentVariable("HOME"), "access-"), QStringList());
    }

    const auto status = ctl({QStringLiteral("status"), QStringLiteral("--json")});
    ASSERT_EQ(status.exit, 0) << status.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(status.out.toUtf8()).object().value(QStringLiteral("room")).toString(), QStringLiteral("Living Room + 1"));

    EXPECT_EQ(ctl({QStringLiteral("pause")}).exit, 0);
    EXPECT_EQ(living().state, QStringLiteral("PLAYBACK_STATE_PAUSED"));
    EXPECT_EQ(ctl({QStringLiteral("next")}).exit, 0);
    EXPECT_EQ(living().track, 1);
    EXPECT_EQ(ctl({QStringLiteral("seek"), QStringLiteral("1:00")}).exit, 0);
    EXPECT_EQ(living().position, 60000);
    EXPECT_EQ(ctl({QStringLiteral("repeat"), QStringLiteral("on")}).exit, 0);
    EXPECT_TRUE(living().repeat && !living().repeatOne);
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("31")}).exit, 0);
    EXPECT_EQ(living().volume, 31);
    EXPECT_EQ(ctl({QStringLiteral("mute"), QStringLiteral("on")}).exit, 0);
    EXPECT_TRUE(living().muted);
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("--player"), QStringLiteral("Kitchen"), QStringLiteral("12")}).exit, 0);
    EXPECT_EQ(cloud.players[1].volume, 12);
    EXPECT_EQ(ctl({QStringLiteral("play-favorite"), QStringLiteral("Morning Coffee")}).exit, 0);
    EXPECT_EQ(cloud.catalogue.back().name, QStringLiteral("Morning Coffee"));
    EXPECT_EQ(ctl({QStringLiteral("group"), QStringLiteral("Living Room"), QStringLiteral("Bedroom")}).exit, 0);
    EXPECT_EQ(cloud.groups.front().players, (QStringList{cloud.players[0].id, cloud.players[2].id}));
    // The room that leads the group leaves it: the bedroom plays on alone.
    const auto ungrouped = ctl({QStringLiteral("ungroup"), QStringLiteral("Living Room")});
    EXPECT_EQ(ungrouped.exit, 0) << ungrouped.err.toStdString();
    EXPECT_EQ(cloud.groups.front().players, QStringList{cloud.players[2].id});

    // Failures give the session's sentences.
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("playback/pause$")), 403, {}});
    const auto refused = ctl({QStringLiteral("pause")}); // the favorite plays: this pause goes out
    EXPECT_EQ(refused.exit, 1);
    EXPECT_TRUE(refused.err.contains(QStringLiteral("Sonos denied this command. Check the account and music-service connection in the Sonos app."))) << refused.err.toStdString();
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("^households$")), 500, {}});
    const auto broken = ctl({QStringLiteral("status")});
    EXPECT_EQ(broken.exit, 1);
    EXPECT_TRUE(broken.err.contains(QStringLiteral("Could not refresh Sonos.")) || broken.out.contains(QStringLiteral("Could not refresh Sonos.")));

    EXPECT_EQ(ctl({QStringLiteral("logout")}).exit, 0);
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 1);

    // No token and no client secret ever reaches a terminal.
    const QString all = printed.join(QLatin1Char('\n'));
    EXPECT_FALSE(all.contains(QStringLiteral("access-"))) << all.toStdString();
    EXPECT_FALSE(all.contains(QStringLiteral("refresh-")));
    EXPECT_FALSE(all.contains(cloud.signIn.clientSecret));
}

TEST_F(CliCloud, ForgedStateIsRefused)
{
    EXPECT_EQ(login([](QByteArray a) { return a.replace("state=", "state=X"); }), 1);
    EXPECT_EQ(cloud.signIn.tokenRequests, 0);
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 1);
}

TEST_F(CliCloud, EveryWrongAnswerEndsTheSignInWithoutAToken)
{
    // The person refused access on the sign-in page.
    cloud.signIn.denyAuthorization = true;
    EXPECT_EQ(login(), 1);
    EXPECT_TRUE(printed.last().contains(QStringLiteral("Connect to Sonos again to renew your sign-in."))) << printed.last().toStdString();
    cloud.signIn.denyAuthorization = false;
    // Something else was pasted, or nothing at all.
    EXPECT_EQ(login([](QByteArray) { return QByteArray("https://www.sonos.com/"); }), 1);
    EXPECT_TRUE(printed.last().contains(QStringLiteral("That is not the address Sonos sends you back to"))) << printed.last().toStdString();
    EXPECT_EQ(login([](QByteArray) { return QByteArray(); }), 1);
    EXPECT_TRUE(printed.last().contains(QStringLiteral("No address was given; the sign-in was not finished."))) << printed.last().toStdString();
    EXPECT_EQ(cloud.signIn.tokenRequests, 0);
    // The token endpoint refuses the code.
    cloud.signIn.refuseStatus = 500;
    EXPECT_EQ(login(), 1);
    EXPECT_TRUE(printed.last().contains(QStringLiteral("Sonos rejected the request (500). Try again."))) << printed.last().toStdString();
    cloud.signIn.refuseStatus = 0;
    cloud.signIn.malformed = true;
    EXPECT_EQ(login(), 1);
    EXPECT_TRUE(printed.last().contains(QStringLiteral("The data couldn’t be read because it isn’t in the correct format."))) << printed.last().toStdString();
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 1);
}

TEST_F(CliCloud, WithoutABrowserTheAddressIsForTheReader)
{
    QProcess p;
    prepare(p, home, secrets);
    QProcessEnvironment env = p.processEnvironment();
    env.insert(QStringLiteral("PATH"), home.filePath(QStringLiteral("no-programs-here")));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(VELOTTECTL), {QStringLiteral("login")});
    p.closeWriteChannel();
    QElapsedTimer t;
    t.start();
    while (p.state() != QProcess::NotRunning && t.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    const QString out = QString::fromUtf8(p.readAllStandardOutput());
    EXPECT_TRUE(out.contains(QStringLiteral("No web browser could be opened; open the address yourself."))) << out.toStdString();
    EXPECT_EQ(p.exitCode(), 1);
}

TEST_F(CliCloud, LogoutForgetsEvenWithoutCredentials)
{
    ASSERT_EQ(login(), 0);
    const auto out = runCli({QStringLiteral("logout")}, home); // no SonosSecrets.plist for this run
    EXPECT_EQ(out.exit, 0);
    EXPECT_EQ(out.out.trimmed(), QStringLiteral("Signed out of Sonos."));
    const auto account = ctl({QStringLiteral("account")});
    EXPECT_EQ(account.exit, 1);
    EXPECT_EQ(account.out.trimmed(), QStringLiteral("Not signed in to Sonos. Run velottectl login."));
}

TEST_F(CliCloud, UsageAndHelp)
{
    for (const char *command : {"login", "logout", "account"}) {
        const auto help = ctl({QLatin1String(command), QStringLiteral("--help")});
        EXPECT_EQ(help.exit, 0) << command;
        EXPECT_TRUE(help.out.contains(QLatin1String(command))) << command;
    }
    EXPECT_EQ(ctl({QStringLiteral("login"), QStringLiteral("--browser=firefox")}).exit, 2);
    EXPECT_EQ(ctl({QStringLiteral("logout"), QStringLiteral("now")}).exit, 2);
    // A build without credentials says so.
    const auto unconfigured = runCli({QStringLiteral("login"), QStringLiteral("--no-browser")}, home);
    EXPECT_EQ(unconfigured.exit, 1);
    EXPECT_EQ(unconfigured.err.trimmed().split(u'\n').first(), QStringLiteral("Sonos sign-in is not configured in this build."));
    EXPECT_TRUE(unconfigured.err.contains(QStringLiteral("Put your Sonos integration’s SonosSecrets.plist in ~/.config/velotte/ (see “Sign in” in the README).")));
}

TEST_F(CliCloud, NoKeyringIsExplained)
{
    // A process without a session bus has no Secret Service to keep the sign-in in.
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    const QString display = qEnvironmentVariable("DISPLAY");
    qunsetenv("DISPLAY");
    EXPECT_EQ(login(), 1);
    EXPECT_TRUE(printed.join(QLatin1Char('\n')).contains(QStringLiteral("No keyring (Secret Service) is available to keep your Sonos sign-in.")))
        << printed.join(QLatin1Char('\n')).toStdString();
    if (!display.isEmpty())
        qputenv("DISPLAY", display.toUtf8());
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
}

// The sign-in service on its own, as `velotte-fake-household --only auth`
// starts it: the values it prints are enough to sign in.
TEST(CliStandaloneSignIn, ThePrintedValuesSignIn)
{
    QTemporaryDir home;
    QProcess fake;
    fake.start(QStringLiteral(FAKE_HOUSEHOLD), {QStringLiteral("--only"), QStringLiteral("auth"), QStringLiteral("--auth-page")});
    const auto stop = qScopeGuard([&] {
        fake.kill();
        fake.waitForFinished();
    });
    QString banner;
    QElapsedTimer t;
    t.start();
    while (!banner.contains(QStringLiteral("ready")) && t.elapsed() < 20000 && fake.state() != QProcess::NotRunning) {
        fake.waitForReadyRead(100);
        banner += QString::fromUtf8(fake.readAllStandardOutput());
    }
    const QRegularExpressionMatch m =
        QRegularExpression(QStringLiteral("ClientID (\\S+), ClientSecret (\\S+), AuthorizeURL (\\S+), TokenURL (\\S+)")).match(banner);
    ASSERT_TRUE(m.hasMatch()) << banner.toStdString();
    EXPECT_TRUE(QUrl(m.captured(3)).host().startsWith(QLatin1String("127."))) << "loopback only";
    const QString secrets = home.filePath(QStringLiteral("SonosSecrets.plist"));
    QFile f(secrets);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                           "<key>ClientID</key><string>%1</string><key>ClientSecret</key><string>%2</string>"
                           "<key>AuthorizeURL</key><string>%3</string><key>TokenURL</key><string>%4</string></dict></plist>\n")
                .arg(m.captured(1), m.captured(2), m.captured(3), m.captured(4))
                .toUtf8());
    f.close();

    QProcess ctl;
    prepare(ctl, home, secrets);
    ctl.start(QStringLiteral(VELOTTECTL), {QStringLiteral("login"), QStringLiteral("--no-browser")});
    QString out;
    QUrl page;
    while (page.isEmpty() && t.elapsed() < 30000 && ctl.state() != QProcess::NotRunning) {
        ctl.waitForReadyRead(100);
        out += QString::fromUtf8(ctl.readAllStandardOutput());
        for (const QString &line : out.split(QLatin1Char('\n')))
            if (line.startsWith(QLatin1String("http://127.")) && line.contains(QLatin1Char('?')))
                page = QUrl(line.trimmed());
    }
    ASSERT_FALSE(page.isEmpty()) << out.toStdString();

    // A browser: the Allow page, its link, then the redirect it is sent to.
    QNetworkAccessManager browser;
    auto get = [&](const QUrl &url) {
        QNetworkRequest request(url);
        request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
        std::unique_ptr<QNetworkReply> reply(browser.get(request));
        while (!reply->isFinished() && t.elapsed() < 30000)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        return std::make_pair(QString::fromUtf8(reply->readAll()), reply->header(QNetworkRequest::LocationHeader).toUrl());
    };
    const auto [html, none] = get(page);
    const QRegularExpressionMatch link = QRegularExpression(QStringLiteral("id=\"allow\" href=\"([^\"]+)\"")).match(html);
    ASSERT_TRUE(link.hasMatch()) << html.toStdString();
    const auto [body, redirect] = get(page.resolved(QUrl(link.captured(1).replace(QStringLiteral("&amp;"), QStringLiteral("&")))));
    ASSERT_TRUE(redirect.isValid());
    ctl.write(redirect.toEncoded() + '\n');
    ctl.closeWriteChannel();
    while (ctl.state() != QProcess::NotRunning && t.elapsed() < 30000)
        ctl.waitForFinished(100);
    const QString err = QString::fromUtf8(ctl.readAllStandardError());
    out += QString::fromUtf8(ctl.readAllStandardOutput());
    EXPECT_EQ(ctl.exitCode(), 0) << err.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("Signed in to Sonos.")));
    const auto account = runCli({QStringLiteral("account")}, home, 30000, secrets);
    EXPECT_EQ(account.exit, 0) << account.err.toStdString();
    EXPECT_FALSE((out + err + account.out + account.err).contains(QStringLiteral("access-")));
    EXPECT_FALSE((out + err + account.out + account.err).contains(m.captured(2)));
}

TEST_F(CliCloud, FavoritesAndPlaylistsChangeWhatPlays)
{
    ASSERT_EQ(login(), 0) << printed.join(QLatin1Char('\n')).toStdString();
    const auto favorites = ctl({QStringLiteral("favorites")});
    ASSERT_EQ(favorites.exit, 0) << favorites.err.toStdString();
    EXPECT_TRUE(favorites.out.contains(QStringLiteral("Morning Coffee"))) << favorites.out.toStdString();
    const auto playlists = ctl({QStringLiteral("playlists")});
    EXPECT_TRUE(playlists.out.contains(QStringLiteral("Dinner Jazz  · 18 tracks"))) << playlists.out.toStdString();

    // Several favorites are one queue; shuffled when asked.
    EXPECT_EQ(ctl({QStringLiteral("play-favorite"), QStringLiteral("Morning Coffee"), QStringLiteral("Mozart"), QStringLiteral("--shuffle")}).exit, 0);
    EXPECT_EQ(living().queue, (QStringList{QStringLiteral("Morning Coffee"), QStringLiteral("Mozart - Piano Concerto No. 21")}));
    EXPECT_TRUE(living().shuffle);
    EXPECT_EQ(living().state, QStringLiteral("PLAYBACK_STATE_PLAYING"));

    const auto queued = ctl({QStringLiteral("queue-favorite"), QStringLiteral("Beethoven")});
    EXPECT_EQ(queued.exit, 0) << queued.err.toStdString();
    EXPECT_EQ(queued.out.trimmed(), QStringLiteral("Added to the queue in Living Room + 1"));
    EXPECT_EQ(living().queue.size(), 3);

    const auto appended = ctl({QStringLiteral("play-playlist"), QStringLiteral("Dinner Jazz"), QStringLiteral("--append")});
    EXPECT_EQ(appended.out.trimmed(), QStringLiteral("Playlist added to Living Room + 1"));
    EXPECT_EQ(living().queue.last(), QStringLiteral("Dinner Jazz"));
    EXPECT_EQ(ctl({QStringLiteral("play-playlist"), QStringLiteral("Sunday Piano")}).exit, 0);
    EXPECT_EQ(living().queue, QStringList{QStringLiteral("Sunday Piano")});

    const auto unknown = ctl({QStringLiteral("play-favorite"), QStringLiteral("Nothing Like It")});
    EXPECT_EQ(unknown.exit, 1);
    EXPECT_EQ(unknown.err.trimmed(), QStringLiteral("No favorite is called \"Nothing Like It\"."));

    // The second of three fails: the first plays and the sentence counts.
    cloud.addFault({.method = "POST", .path = QRegularExpression(QStringLiteral("/favorites$")), .status = 500, .after = 1});
    const auto partial = ctl({QStringLiteral("play-favorite"), QStringLiteral("Morning Coffee"), QStringLiteral("Mozart"), QStringLiteral("Beethoven")});
    EXPECT_EQ(partial.exit, 1);
    EXPECT_TRUE(partial.err.trimmed().endsWith(QStringLiteral("\nStarted 1 of 3 favorites. The remaining music could not be added."))) << partial.err.toStdString();
    EXPECT_EQ(living().queue, QStringList{QStringLiteral("Morning Coffee")});
}

TEST_F(CliCloud, DoctorExplainsTheAccount)
{
    ctl({QStringLiteral("logout")}); // the keyring outlives each test
    auto r = ctl({QStringLiteral("doctor")});
    EXPECT_EQ(r.exit, 1);
    EXPECT_TRUE(r.out.contains(QStringLiteral("✗ You are not signed in to Sonos. Run velottectl login, or use the speakers without an account with --guest.")))
        << r.out.toStdString();
    ASSERT_EQ(login(), 0);
    cloud.addFault({.method = "GET", .path = QRegularExpression(QStringLiteral("^households$")), .status = 429, .headers = {{"Retry-After", "600"}}});
    r = ctl({QStringLiteral("doctor")});
    EXPECT_TRUE(r.out.contains(QStringLiteral("✗ Sonos is limiting requests from this account until "))) << r.out.toStdString();
    EXPECT_FALSE(r.out.contains(QStringLiteral("not signed in")));

    // A token about to run out that Sonos will not renew.
    ctl({QStringLiteral("logout")});
    cloud.signIn.lifetime = 30;
    ASSERT_EQ(login(), 0);
    cloud.signIn.refuseStatus = 400;
    r = ctl({QStringLiteral("doctor")});
    EXPECT_TRUE(r.out.contains(QStringLiteral("✗ Your Sonos sign-in has expired. Run velottectl login again."))) << r.out.toStdString();

    // No session bus: no Secret Service to keep the sign-in in.
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    r = ctl({QStringLiteral("doctor")});
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    EXPECT_TRUE(r.out.contains(QStringLiteral("✗ No Secret Service (desktop keyring) is running, so the Sonos sign-in cannot be kept."))) << r.out.toStdString();
}
