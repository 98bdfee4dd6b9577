// velottectl doctor against fake speakers and a fake model server: one
// sentence per problem, notes apart, exit status 0 only when all is well.
#include "clirunner.h"

#include "services/fakemodel.h"
#include "services/fakespeakers.h"

#include <QDir>
#include <QSettings>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

struct CliDoctor : ::testing::Test {
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.47.11"_s, 5};
    fake::FakeModel model;

    void SetUp() override
    {
        if (!speakers.start())
            GTEST_SKIP() << "cannot bind port 1400 on 127.0.47.x (needs root)";
        ASSERT_TRUE(model.listen());
        configure(model.baseUrl().toString());
    }
    void configure(const QString &modelAddress)
    {
        QDir().mkpath(home.filePath(u"config/velotte"_s));
        QSettings config(home.filePath(u"config/velotte/velotte.conf"_s), QSettings::IniFormat);
        config.setValue(u"services/model"_s, modelAddress);
    }
    CliResult doctor(QStringList hosts = {})
    {
        if (hosts.isEmpty())
            hosts = speakers.visibleHosts();
        return runCli({u"--speakers"_s, hosts.join(u','), u"doctor"_s}, home);
    }
    QStringList lines(const CliResult &r) const { return r.out.trimmed().split(u'\n'); }
};

} // namespace

TEST_F(CliDoctor, AllIsWell)
{
    const auto r = doctor();
    EXPECT_EQ(r.exit, 0) << r.out.toStdString() << r.err.toStdString();
    EXPECT_EQ(lines(r), QStringList{u"Everything looks fine."_s});
}

TEST_F(CliDoctor, EachProblemIsOneSentence)
{
    auto &s = speakers.speakers;
    s[2].forbidden = true;
    ASSERT_TRUE(speakers.inject(s[3].host + u"=silent"_s));
    s[4].follows = s[3].id; // the TV room plays with the bedroom, which is silent
    const QStringList hosts = speakers.visibleHosts() + QStringList{u"127.0.47.99"_s};
    const auto r = doctor(hosts);
    EXPECT_EQ(r.exit, 1);
    const QStringList got = lines(r);
    // Local control switched off refuses the description too: the address names the speaker.
    EXPECT_TRUE(got.contains(u"✗ 127.0.47.13: This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s))
        << r.out.toStdString();
    EXPECT_TRUE(got.contains(u"✗ TV Room plays in a group whose leading speaker (%1) does not answer, so nothing can be played there. Switch that speaker on, "
                             "or ungroup (velottectl ungroup TV Room) to use it alone."_s.arg(s[3].id)));
    EXPECT_TRUE(got.contains(u"✗ The speaker at 127.0.47.14 does not answer on port 1400. Check that it is switched on and on the same network as this computer."_s));
    EXPECT_TRUE(got.contains(u"✗ The speaker at 127.0.47.99 does not answer on port 1400. Check that it is switched on and on the same network as this computer."_s));
    EXPECT_FALSE(r.out.contains(u"Everything looks fine."_s));
}

TEST_F(CliDoctor, GroupedRoomsAndAMissingModelServerAreNotes)
{
    auto &s = speakers.speakers;
    s[2].follows = s[0].id; // the kitchen plays with the living room
    // Nothing the household holds is Apple Music with an account number.
    speakers.favorites.clear();
    speakers.alarms.alarms.removeIf([](const auto &a) { return a.programURI.contains(u"sid=204"_s); });
    configure(u"http://127.0.0.1:9"_s);
    const auto r = doctor();
    EXPECT_EQ(r.exit, 0) << r.out.toStdString();
    const QStringList got = lines(r);
    EXPECT_TRUE(got.contains(u"· Kitchen plays in a group led by Living Room; commands for it go to Living Room's speaker. Ungroup it (velottectl ungroup Kitchen) to control it alone."_s))
        << r.out.toStdString();
    EXPECT_TRUE(got.contains(u"· No local model server answers at http://127.0.0.1:9, so suggestions are listed without being arranged. Start llama.cpp's server or Ollama "
                             "there, or set [services] model in the settings."_s));
    EXPECT_TRUE(got.contains(u"· The Apple Music account number could not be learned from the speaker at 127.0.47.11: it holds no Apple Music favorite, "
                             "queue entry or alarm. Songs are sent for account 1; if Sonos refuses them, save one Apple Music song as a Sonos favorite and "
                             "try again."_s))
        << r.out.toStdString();
    EXPECT_EQ(got.last(), u"Everything looks fine."_s);
}

TEST_F(CliDoctor, WithoutSpeakerNamesBonjourIsAsked)
{
    // No daemon on a build machine, or no speakers on its network: either
    // way the sentence says what to do.
    const auto r = runCli({u"doctor"_s}, home, 30000);
    EXPECT_EQ(r.exit, 1);
    EXPECT_TRUE(r.out.contains(u"--speakers HOST,HOST"_s)) << r.out.toStdString();
}
