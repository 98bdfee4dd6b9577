// velottectl doctor against fake speakers and a fake model server: one
// sentence per problem, notes apart, exit status 0 only when all is well.
#include "clirunner.h"

#include "services/fakemodel.h"

using namespace velotte;
using namespace velotte::test;

namespace {
struct CliDoctor : SpeakerCli<47> {
    fake::FakeModel model;

    void SetUp() override
    {
        SpeakerCli::SetUp();
        ASSERT_TRUE(model.listen());
        setService(u"model"_s, model.baseUrl());
        setSetting(home, u"local/eventPort"_s, 0); // test programs side by side each take their own
    }
    QStringList doctor(int exit, const QStringList &extraHosts = {})
    {
        const auto r = runCli({u"--speakers"_s, (speakers.visibleHosts() + extraHosts).join(u','), u"doctor"_s}, home);
        EXPECT_EQ(r.exit, exit) << r.out.toStdString() << r.err.toStdString();
        return r.out.trimmed().split(u'\n');
    }
};
} // namespace

TEST_F(CliDoctor, AllIsWell) { EXPECT_EQ(doctor(0), QStringList{u"Everything looks fine."_s}); }

TEST_F(CliDoctor, EachProblemIsOneSentence)
{
    auto &s = speakers.speakers;
    s[2].forbidden = true;
    ASSERT_TRUE(speakers.inject(s[3].host + u"=silent"_s));
    s[4].follows = s[3].id; // the TV room plays with the bedroom, which is silent
    const QStringList got = doctor(1, {u"127.0.47.99"_s});
    const QStringList expected{
        // Local control switched off refuses the description too: the address names the speaker.
        u"✗ 127.0.47.13: This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s,
        u"✗ TV Room plays in a group whose leading speaker (%1) does not answer, so nothing can be played there. Switch that speaker on, "
        "or ungroup (velottectl ungroup TV Room) to use it alone."_s.arg(s[3].id),
        u"✗ The speaker at 127.0.47.14 does not answer on port 1400. Check that it is switched on and on the same network as this computer."_s,
        u"✗ The speaker at 127.0.47.99 does not answer on port 1400. Check that it is switched on and on the same network as this computer."_s,
    };
    for (const QString &line : expected)
        EXPECT_TRUE(got.contains(line)) << line.toStdString() << "\nin\n" << got.join(u'\n').toStdString();
    EXPECT_FALSE(got.contains(u"Everything looks fine."_s));
}

TEST_F(CliDoctor, GroupedRoomsAndAMissingModelServerAreNotes)
{
    auto &s = speakers.speakers;
    s[2].follows = s[0].id; // the kitchen plays with the living room
    // Nothing the household holds is Apple Music with an account number.
    speakers.favorites.clear();
    speakers.alarms.alarms.removeIf([](const auto &a) { return a.programURI.contains(u"sid=204"_s); });
    setService(u"model"_s, QUrl(u"http://127.0.0.1:9"_s));
    speakers.events().faults[s[0].host].refused = true;
    const QStringList got = doctor(0);
    const QStringList expected{
        u"· Kitchen plays in a group led by Living Room; commands for it go to Living Room's speaker. Ungroup it (velottectl ungroup Kitchen) to control it alone."_s,
        u"· No local model server answers at http://127.0.0.1:9, so suggestions are listed without being arranged. Start llama.cpp's server or Ollama "
        "there, or set [services] model in the settings."_s,
        u"· The Apple Music account number could not be learned from the speaker at 127.0.47.11: it holds no Apple Music favorite, "
        "queue entry or alarm. Songs are sent for account 1; if Sonos refuses them, save one Apple Music song as a Sonos favorite and try again."_s,
        u"· The speaker at 127.0.47.11 refused to send updates (HTTP 503). Until then the panel asks the speakers for changes every few seconds while it shows."_s,
    };
    for (const QString &line : expected)
        EXPECT_TRUE(got.contains(line)) << line.toStdString() << "\nin\n" << got.join(u'\n').toStdString();
    EXPECT_EQ(got.last(), u"Everything looks fine."_s);

    // Without speaker names Bonjour is asked: no daemon on a build machine,
    // or no speakers on its network; either way the sentence says what to do.
    const auto bonjour = runCli({u"doctor"_s}, home);
    EXPECT_EQ(bonjour.exit, 1);
    EXPECT_TRUE(bonjour.out.contains(u"--speakers HOST,HOST"_s)) << bonjour.out.toStdString();
}
