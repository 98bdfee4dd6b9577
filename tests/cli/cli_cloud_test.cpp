// The account path against the fake cloud: sign in from the terminal, keep
// the token in the desktop's keyring, then use the household. Runs on a
// private bus with a keyring of its own (with-keyring.sh).
#include "clirunner.h"

#include "services/fakecloud.h"

#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QRegularExpression>

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

struct CliCloud : ::testing::Test {
    QTemporaryDir home;
    fake::FakeCloud cloud;
    QString secrets;
    QStringList printed; // everything any command printed

    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) << "run through with-keyring.sh";
        ASSERT_TRUE(cloud.listen());
        cloud.requireIssuedTokens();
        secrets = home.filePath(u"SonosSecrets.plist"_s);
        QFile f(secrets);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(cloud.secretsPlist());
        // Suggestions must never reach a model server outside this test.
        setSetting(home, u"services/model"_s, u"http://127.0.0.1:9"_s);
    }
    // No token, code or client secret ever reaches a terminal, the program's logs included.
    void TearDown() override
    {
        const QString all = printed.join(u'\n');
        const QByteArray basic = (cloud.signIn.clientID + u':' + cloud.signIn.clientSecret).toUtf8().toBase64();
        for (const QString &secret : {u"access-"_s, u"refresh-"_s, u"code-"_s, cloud.signIn.clientSecret, QString::fromLatin1(basic)})
            EXPECT_FALSE(all.contains(secret)) << secret.toStdString() << " in\n" << all.toStdString();
    }
    CliResult ctl(const QStringList &args)
    {
        CliResult r = runCli(args, home, 30000, secrets);
        printed << r.out << r.err;
        return r;
    }
    // "velottectl login" as a person does it: read the printed address,
    // follow it on the fake sign-in page the way a browser would, paste
    // where it was sent. `edit` changes that address before it is pasted.
    int login(const std::function<QByteArray(QByteArray)> &edit = {})
    {
        QProcess p;
        prepare(p, home, secrets);
        p.start(QStringLiteral(VELOTTECTL), {u"login"_s, u"--no-browser"_s});
        QString out;
        QUrl url;
        spinUntil(
            [&] {
                out += QString::fromUtf8(p.readAllStandardOutput());
                const auto line = QRegularExpression(u"^(http\\S+)\\n"_s, QRegularExpression::MultilineOption).match(out);
                if (line.hasMatch())
                    url = QUrl(line.captured(1));
                return url.isValid() || p.state() == QProcess::NotRunning;
            },
            20000);
        QByteArray location;
        if (url.isValid()) {
            fake::Request r;
            r.method = "GET";
            r.target = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
            r.url = QUrl(u"http://fake"_s + QString::fromUtf8(r.target));
            for (const auto &h : cloud.respond(r).headers) {
                if (h.first == "Location")
                    location = edit ? edit(h.second) : h.second;
            }
        }
        p.write(location + '\n');
        p.closeWriteChannel();
        const CliResult r = finish(p, {u"login"_s}, 20000);
        printed << out + r.out + r.err;
        return r.exit;
    }
    fake::FakeCloud::Group &living() { return cloud.groups.front(); }
};

} // namespace

TEST_F(CliCloud, SignInThenUseTheHousehold)
{
    EXPECT_EQ(ctl({u"account"_s}).exit, 1);
    ASSERT_EQ(login(), 0) << printed.join(u'\n').toStdString();
    EXPECT_TRUE(printed.last().contains(u"Signed in to Sonos."_s)) << printed.last().toStdString();
    const auto account = ctl({u"account"_s}); // restored by a later process
    EXPECT_EQ(account.exit, 0);
    EXPECT_TRUE(account.out.startsWith(u"Signed in to Sonos; the access token expires at "_s)) << account.out.toStdString();
    EXPECT_EQ(filesHolding(home.path(), "access-"), QStringList()) << "the token is only in the keyring";
    EXPECT_EQ(filesHolding(qEnvironmentVariable("HOME"), "access-"), QStringList());

    const auto status = ctl({u"status"_s, u"--json"_s});
    ASSERT_EQ(status.exit, 0) << status.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(status.out.toUtf8()).object()[u"room"_s].toString(), u"Living Room + 1"_s);

    // Failures give the session's sentences and fail the command.
    cloud.addFault({"GET", QRegularExpression(u"^households$"_s), 500, {}});
    const auto broken = ctl({u"status"_s});
    EXPECT_EQ(broken.exit, 1);
    EXPECT_TRUE((broken.out + broken.err).contains(u"Could not refresh Sonos."_s));

    const auto out = runCli({u"logout"_s}, home); // no SonosSecrets.plist needed
    EXPECT_EQ(out.exit, 0);
    EXPECT_EQ(out.out.trimmed(), u"Signed out of Sonos."_s);
    const auto signedOut = ctl({u"account"_s});
    EXPECT_EQ(signedOut.exit, 1);
    EXPECT_EQ(signedOut.out.trimmed(), u"Not signed in to Sonos. Run velottectl login."_s);
}

TEST_F(CliCloud, EveryWrongAnswerOrMissingPieceEndsTheSignInWithoutAToken)
{
    struct Case {
        std::function<void()> arrange;
        std::function<QByteArray(QByteArray)> edit;
        QString said;
    };
    auto &signIn = cloud.signIn;
    const std::vector<Case> cases{
        // The person refused access on the sign-in page.
        {[&] { signIn.denyAuthorization = true; }, {}, u"Connect to Sonos again to renew your sign-in."_s},
        // Something else was pasted, or nothing at all.
        {[&] { signIn.denyAuthorization = false; }, [](QByteArray) { return QByteArray("https://www.sonos.com/"); },
         u"That is not the address Sonos sends you back to"_s},
        {[] {}, [](QByteArray) { return QByteArray(); }, u"No address was given; the sign-in was not finished."_s},
    };
    for (const Case &c : cases) {
        c.arrange();
        EXPECT_EQ(login(c.edit), 1);
        EXPECT_TRUE(printed.last().contains(c.said)) << printed.last().toStdString();
    }
    EXPECT_EQ(signIn.tokenRequests, 0);
    EXPECT_EQ(ctl({u"account"_s}).exit, 1);

    // Without a browser the address is for the reader.
    QProcess p;
    prepare(p, home, secrets);
    QProcessEnvironment env = p.processEnvironment();
    env.insert(u"PATH"_s, home.filePath(u"no-programs-here"_s));
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(VELOTTECTL), {u"login"_s});
    p.closeWriteChannel();
    const CliResult bare = finish(p, {u"login"_s}, 20000);
    EXPECT_TRUE(bare.out.contains(u"No web browser could be opened; open the address yourself."_s)) << bare.out.toStdString();
    EXPECT_EQ(bare.exit, 1);

    EXPECT_EQ(ctl({u"login"_s, u"--browser=firefox"_s}).exit, 2);
    // A build without credentials says so, and where they go.
    const auto unconfigured = runCli({u"login"_s, u"--no-browser"_s}, home);
    EXPECT_EQ(unconfigured.exit, 1);
    EXPECT_EQ(unconfigured.err.trimmed().split(u'\n').first(), u"Sonos sign-in is not configured in this build."_s);
    EXPECT_TRUE(unconfigured.err.contains(u"Put your Sonos integration’s SonosSecrets.plist in ~/.config/velotte/ (see “Sign in” in the README)."_s));

    // A process without a session bus has no Secret Service to keep the sign-in in.
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS"), display = qgetenv("DISPLAY");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DISPLAY");
    EXPECT_EQ(login(), 1);
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    if (!display.isEmpty())
        qputenv("DISPLAY", display);
    EXPECT_TRUE(printed.join(u'\n').contains(u"No keyring (Secret Service) is available to keep your Sonos sign-in."_s)) << printed.join(u'\n').toStdString();
}

// What each command says; the queue it builds is the session's, tested there.
TEST_F(CliCloud, FavoritesPlaylistsAndHistory)
{
    ASSERT_EQ(login(), 0) << printed.join(u'\n').toStdString();
    EXPECT_EQ(ctl({u"history"_s}).out.trimmed(), u"No favorites played yet."_s);
    EXPECT_TRUE(ctl({u"favorites"_s}).out.contains(u"Morning Coffee"_s));
    EXPECT_TRUE(ctl({u"playlists"_s}).out.contains(u"Dinner Jazz  · 18 tracks"_s));
    EXPECT_EQ(ctl({u"play-favorite"_s, u"Morning Coffee"_s, u"--shuffle"_s}).exit, 0);
    EXPECT_TRUE(living().shuffle);
    EXPECT_TRUE(ctl({u"history"_s}).out.startsWith(u"Morning Coffee  · Spotify\n"_s));
    EXPECT_EQ(ctl({u"queue-favorite"_s, u"Beethoven"_s}).out.trimmed(), u"Added to the queue in Living Room + 1"_s);
    EXPECT_EQ(ctl({u"play-playlist"_s, u"Dinner Jazz"_s, u"--append"_s}).out.trimmed(), u"Playlist added to Living Room + 1"_s);
    EXPECT_EQ(living().queue.size(), 3);
}

TEST_F(CliCloud, DoctorExplainsTheAccount)
{
    ctl({u"logout"_s}); // the keyring outlives each test
    auto r = ctl({u"doctor"_s});
    EXPECT_EQ(r.exit, 1);
    EXPECT_TRUE(r.out.contains(u"✗ You are not signed in to Sonos. Run velottectl login, or use the speakers without an account with --guest."_s))
        << r.out.toStdString();
    ASSERT_EQ(login(), 0);
    cloud.addFault({.method = "GET", .path = QRegularExpression(u"^households$"_s), .status = 429, .headers = {{"Retry-After", "600"}}});
    r = ctl({u"doctor"_s});
    EXPECT_TRUE(r.out.contains(u"✗ Sonos is limiting requests from this account until "_s)) << r.out.toStdString();

    // A token about to run out that Sonos will not renew.
    ctl({u"logout"_s});
    cloud.signIn.lifetime = 30;
    ASSERT_EQ(login(), 0);
    cloud.signIn.refuseStatus = 400;
    r = ctl({u"doctor"_s});
    EXPECT_TRUE(r.out.contains(u"✗ Your Sonos sign-in has expired. Run velottectl login again."_s)) << r.out.toStdString();
    EXPECT_TRUE(r.err.contains(u"token status 400"_s)) << "the logs reach the terminal the fixture checks for secrets";

    // No session bus: no Secret Service to keep the sign-in in.
    const QByteArray bus = qgetenv("DBUS_SESSION_BUS_ADDRESS");
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    r = ctl({u"doctor"_s});
    qputenv("DBUS_SESSION_BUS_ADDRESS", bus);
    EXPECT_TRUE(r.out.contains(u"✗ No Secret Service (desktop keyring) is running, so the Sonos sign-in cannot be kept."_s)) << r.out.toStdString();
}
