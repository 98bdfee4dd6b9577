// A day of polling on the virtual clock, in the cloud and on the local
// network, with faults drawn from a fixed seed: nothing crashes, memory stays
// flat, and every status line shown is one of the program's sentences.
#include "sessionfixture.h"

#include <QFile>
#include <QRegularExpression>

#include <random>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

const QStringList sonosSentences{
    u"Sonos is temporarily limiting cloud requests. Your connection is saved; updates will resume automatically."_s,
    u"Sonos is temporarily limiting cloud requests. Your connection is saved; try again later."_s,
    u"Connect to Sonos again to renew your sign-in."_s,
    u"Sonos denied this command. Check the account and music-service connection in the Sonos app."_s,
    u"This room or saved item is no longer available. Refresh Sonos and select it again."_s,
    u"The speaker cannot reach the music service. Check its connection in the Sonos app."_s,
    u"The request timed out."_s,
    u"Could not connect to the server."_s,
    u"The speaker did not answer. Check that it is on the same Wi-Fi network."_s,
    u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s,
};

bool knownSentence(const QString &note)
{
    static const QStringList exact{
        u"Could not reach this room."_s,
        u"Could not reach this room. Check that your speakers are on the same Wi-Fi network."_s,
        u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s,
        u"Could not refresh Sonos."_s,
    };
    if (exact.contains(note) || sonosSentences.contains(note))
        return true;
    static const QRegularExpression rejected(u"^Sonos rejected the request \\(\\d{3}\\)\\. Try again\\.$"_s);
    if (rejected.match(note).hasMatch())
        return true;
    // A command that failed names itself and the room, then says why.
    static const QRegularExpression command(u"^Could not (play|pause|play the next song|play the previous song|restart the song|seek|change the volume|mute|unmute)"
                                            " in [^.]+\\. (.*)$"_s);
    if (const auto m = command.match(note); m.hasMatch())
        return sonosSentences.contains(m.captured(2)) || rejected.match(m.captured(2)).hasMatch();
    for (const QString &s : sonosSentences) {
        if (note == u"Could not load your Sonos favorites. "_s + s)
            return true;
    }
    return false;
}

qint64 residentKiB()
{
    QFile f(u"/proc/self/statm"_s);
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = f.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toLongLong() * 4 : 0;
}

struct Soak : SessionTest {
    std::mt19937 random{20261122};
    QSet<QString> notes;
    QStringList strangers;
    int faults = 0;

    bool draw(double chance) { return std::uniform_real_distribution<double>(0, 1)(random) < chance; }

    // Every request of the cloud meets a fault now and then.
    fake::Response faulty(const fake::Request &r)
    {
        if (draw(0.08)) {
            ++faults;
            switch (std::uniform_int_distribution<int>(0, 6)(random)) {
            case 0:
                return fake::Response{.noAnswer = true}; // a time-out
            case 1:
                return fake::Response::json(R"({"errorCode":"ERROR_RATE_LIMITED"})", 429).header("Retry-After", "2");
            case 2:
                return fake::Response::json(R"({"errorCode":"ERROR_NOT_AUTHORIZED"})", 401);
            case 3:
                return fake::Response::json(R"({"errorCode":"ERROR_RESOURCE_GONE"})", 410);
            case 4:
                return fake::Response::json(R"({"errorCode":"ERROR_INTERNAL"})", 500 + std::uniform_int_distribution<int>(0, 4)(random));
            case 5:
                return fake::Response::json(R"({"errorCode":"ERROR_FORBIDDEN"})", 403);
            default:
                return fake::Response::text("<html>upstream error</html>", "text/html");
            }
        }
        return cloud.respond(r);
    }

    void watchNotes()
    {
        QObject::connect(session.get(), &HouseSession::noteChanged, [this] {
            const QString note = session->noteText();
            if (note.isEmpty())
                return;
            notes.insert(note);
            if (!knownSentence(note) && !strangers.contains(note))
                strangers << note;
        });
    }

    // One simulated day; memory is read after the first hour and at the end.
    std::pair<qint64, qint64> day(const std::function<void()> &eachMinute)
    {
        qint64 early = 0;
        for (int minute = 0; minute < 24 * 60; ++minute) {
            eachMinute();
            ticks(120);
            if (minute % 30 == 0)
                cloud.requests.clear(); // the fake's own log is not the program's memory
            if (minute == 60)
                early = residentKiB();
        }
        return {early, residentKiB()};
    }
};

} // namespace

TEST_F(Soak, ADayInTheCloud)
{
    transport = DirectTransport([this](const fake::Request &r) { return faulty(r); });
    test::await(session->bootstrap());
    ASSERT_EQ(session->phase(), HouseSession::Phase::ready);
    watchNotes();
    session->setPollingEnabled(true);
    const auto [early, late] = day([this] {
        // Someone uses the controller now and then.
        if (draw(0.05))
            session->playback()->toggle();
        if (draw(0.02))
            session->playback()->skip(true);
        test::drain(2);
    });
    EXPECT_GT(faults, 100);
    EXPECT_GT(cloudReads(), 0);
    EXPECT_TRUE(strangers.isEmpty()) << strangers.join(u'\n').toStdString();
    EXPECT_LT(late - early, 8 * 1024) << "resident memory grew from " << early << " KiB to " << late << " KiB";
    EXPECT_EQ(session->phase(), HouseSession::Phase::ready);
}

TEST_F(Soak, ADayOnTheLocalNetwork)
{
    signIn.stored = false;
    bool refused = false;
    auto ports = local.ports();
    ports->fault = [&refused](QString) -> std::optional<SpeakerFault> {
        if (!refused)
            return std::nullopt;
        return SpeakerFault::of(403, QString());
    };
    HouseSession::Services services;
    services.local = ports;
    services.clock = &clock;
    session = std::make_unique<HouseSession>(services);
    test::await(session->bootstrap());
    ASSERT_TRUE(session->guest());
    watchNotes();
    session->setPollingEnabled(true);
    const auto [early, late] = day([&] {
        local.reachable = !draw(0.1);
        refused = !local.reachable && draw(0.3);
        local.now.positionMillis = std::uniform_int_distribution<int>(0, 200000)(random);
        if (draw(0.05))
            session->playback()->toggle();
        if (draw(0.02))
            session->sound()->setPlayerVolume(u"RINCON_A"_s, 0.3);
        test::drain(2);
    });
    EXPECT_GT(local.reads, 20000);
    EXPECT_TRUE(strangers.isEmpty()) << strangers.join(u'\n').toStdString();
    EXPECT_TRUE(notes.contains(u"Could not reach this room. Check that your speakers are on the same Wi-Fi network."_s));
    EXPECT_LT(late - early, 8 * 1024) << "resident memory grew from " << early << " KiB to " << late << " KiB";
}
