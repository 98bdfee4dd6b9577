#include "clirunner.h"

#include "services/fakecloud.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;

namespace {

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
        const QString base = cloud.baseUrl().toString();
        f.write(QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                               "<key>ClientID</key><string>%1</string><key>ClientSecret</key><string>%2</string>"
                               "<key>APIRoot</key><string>%3/control/api/v1</string>"
                               "<key>AuthorizeURL</key><string>%3/login/v3/oauth</string>"
                               "<key>TokenURL</key><string>%3/login/v3/oauth/access</string></dict></plist>\n")
                    .arg(cloud.signIn.clientID, cloud.signIn.clientSecret, base)
                    .toUtf8());
    }
    CliResult ctl(const QStringList &args)
    {
        CliResult r = runCli(args, home, 30000, secrets);
        printed << r.out << r.err;
        return r;
    }
    // Follows the sign-in page the way a browser would and pastes the address.
    int login(bool tamper = false)
    {
        QProcess p;
        prepare(p, home, secrets);
        p.start(QStringLiteral(VELOTTECTL), {QStringLiteral("login"), QStringLiteral("--no-browser")});
        QString out;
        QUrl url;
        QElapsedTimer t;
        t.start();
        while (url.isEmpty() && t.elapsed() < 20000 && p.state() != QProcess::NotRunning) {
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
            out += QString::fromUtf8(p.readAllStandardOutput());
            for (const QString &line : out.split(QLatin1Char('\n'))) {
                if (line.startsWith(QLatin1String("http")))
                    url = QUrl(line.trimmed());
            }
        }
        if (url.isEmpty())
            return -1;
        fake::Request r;
        r.method = "GET";
        r.target = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
        r.url = QUrl(QStringLiteral("http://fake") + QString::fromUtf8(r.target));
        QByteArray location;
        for (const auto &h : cloud.respond(r).headers) {
            if (h.first == "Location")
                location = h.second;
        }
        if (tamper)
            location.replace("state=", "state=X");
        p.write(location + '\n');
        p.closeWriteChannel();
        while (p.state() != QProcess::NotRunning && t.elapsed() < 20000)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        printed << out << QString::fromUtf8(p.readAllStandardOutput()) << QString::fromUtf8(p.readAllStandardError());
        return p.exitCode();
    }
    fake::FakeCloud::Group &living() { return cloud.groups.front(); }
};

} // namespace

TEST_F(CliCloud, SignInThenControlTheHousehold)
{
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 1);
    ASSERT_EQ(login(), 0) << printed.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 0); // restored by a later process

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
    EXPECT_EQ(login(true), 1);
    EXPECT_EQ(cloud.signIn.tokenRequests, 0);
    EXPECT_EQ(ctl({QStringLiteral("account")}).exit, 1);
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
