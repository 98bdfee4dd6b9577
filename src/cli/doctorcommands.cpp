// velottectl doctor: why something does not work, one plain sentence per
// finding with what to do about it.
#include "context.h"
#include "wiring.h"

#include "cloud/secretstore.h"
#include "cloud/sonosauth.h"
#include "cloud/sonosclient.h"
#include "cloud/sonosconfig.h"
#include "cloud/sonoserror.h"
#include "core/networktransport.h"
#include "core/settings.h"
#include "local/applemusicaccount.h"
#include "local/avahibrowser.h"
#include "local/eventsubscriptions.h"
#include "local/guesthouse.h"
#include "local/speakerfinder.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QMap>
#include <QSet>

namespace velotte::cli {

namespace {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

struct Findings {
    QStringList problems; // something does not work
    QStringList notes;    // works, but worth knowing
};

QCoro::Task<QStringList> speakerHosts(Context &c, Findings &f)
{
    QStringList hosts = c.options().speakers;
    if (hosts.isEmpty())
        hosts = ServiceAddresses::load().speakers;
    if (!hosts.isEmpty())
        co_return hosts;
    AvahiBrowser probe;
    if (!probe.start({})) {
        f.problems << u"No mDNS daemon (Avahi) is running, so speakers cannot be found by Bonjour. Start avahi-daemon, "
                      "or name your speakers with --speakers HOST,HOST."_s;
        co_return QStringList();
    }
    probe.stop();
    const QHash<QString, QString> found = co_await SpeakerFinder::shared().hosts();
    QStringList out = found.values();
    out.removeDuplicates();
    if (out.isEmpty())
        f.problems << u"Bonjour found no Sonos speakers on this network. If your network blocks multicast, name them with "
                      "--speakers HOST,HOST or under [local] speakers in the settings."_s;
    co_return out;
}

QCoro::Task<void> checkSpeakers(Context &c, Findings &f)
{
    QStringList hosts = co_await speakerHosts(c, f);
    std::sort(hosts.begin(), hosts.end());
    GuestHouse house(NetworkTransport::shared());
    // Every speaker at once: one slow speaker must not hold up the rest.
    std::vector<QCoro::Task<std::optional<GuestHouse::Identity>>> identities;
    std::vector<QCoro::Task<std::optional<GuestHouse::GroupAttributes>>> groups;
    std::vector<QCoro::Task<std::optional<QString>>> transports;
    for (const QString &host : hosts) {
        identities.push_back(house.identity(host));
        groups.push_back(house.zoneGroupAttributes(host));
        transports.push_back(house.transportURI(host));
    }
    struct Follower {
        GuestHouse::Identity identity;
        QString leader;
    };
    QHash<QString, QString> names; // player id -> room, of the speakers that answered
    QList<Follower> followers;
    std::optional<QString> leaderHost; // a speaker that leads its group and answers
    for (qsizetype i = 0; i < hosts.size(); ++i) {
        const QString &host = hosts[i];
        const auto identity = co_await identities[size_t(i)];
        const auto group = co_await groups[size_t(i)];
        const auto transport = co_await transports[size_t(i)];
        if (house.refusesLocalControl(host)) {
            const QString who = identity ? u"%1 (%2)"_s.arg(identity->name, host) : host;
            f.problems << u"%1: %2"_s.arg(who, house.fault(host)->sentence());
            continue;
        }
        if (!identity) {
            f.problems << u"The speaker at %1 does not answer on port 1400. Check that it is switched on and on the same network as this computer."_s.arg(host);
            continue;
        }
        names.insert(identity->id, identity->name);
        if (!group) {
            f.problems << u"%1 (%2) answers but does not say which group it is in. Restart the speaker, then try again."_s.arg(identity->name, host);
            continue;
        }
        // Who leads is what the transport follows, not the order of a list.
        const std::optional<QString> leader = transport ? GuestHouse::followedCoordinator(*transport) : std::nullopt;
        if (leader && *leader != identity->id)
            followers.append({*identity, *leader});
        else if (transport && !leaderHost)
            leaderHost = host;
    }
    QMap<QString, QStringList> orphans; // a leader that did not answer -> rooms following it
    for (const auto &[identity, leader] : std::as_const(followers)) {
        if (!names.contains(leader)) {
            if (!orphans[leader].contains(identity.name))
                orphans[leader] << identity.name;
            continue;
        }
        // The other half of a stereo pair follows its twin: the same room.
        if (names.value(leader) == identity.name)
            continue;
        f.notes << u"%1 plays in a group led by %2; commands for it go to %2's speaker. Ungroup it (velottectl ungroup %1) to control it alone."_s.arg(
            identity.name, names.value(leader));
    }
    for (auto it = orphans.begin(); it != orphans.end(); ++it) {
        f.problems << u"%1 %2 in a group whose leading speaker (%3) does not answer, so nothing can be played there. Switch that speaker on, or ungroup "
                      "(velottectl ungroup %4) to use %5 alone."_s.arg(it.value().join(u" and "_s), it.value().size() > 1 ? u"play"_s : u"plays"_s,
                                                                        it.key(), it.value().first(), it.value().size() > 1 ? u"them"_s : u"it"_s);
    }
    if (!leaderHost)
        co_return;
    // Live updates need the speakers to reach this computer. A port taken is
    // most likely the running controller's own listener: nothing to say then.
    EventSubscriptions events(NetworkTransport::shared(), Clock::system(), ServiceAddresses::load().eventPort);
    if (const auto failure = co_await events.probe(*leaderHost); failure && failure->kind() != EventFailure::Kind::portTaken)
        f.notes << failure->sentence() + u" Until then the panel asks the speakers for changes every few seconds while it shows."_s;
    // Apple Music songs need the household's account number.
    AppleMusicAccount account(NetworkTransport::shared());
    if (!co_await account.read(*leaderHost)) {
        f.notes << u"The Apple Music account number could not be learned from the speaker at %1: it holds no Apple Music favorite, queue entry or "
                   "alarm. Songs are sent for account 1; if Sonos refuses them, save one Apple Music song as a Sonos favorite and try again."_s.arg(*leaderHost);
    }
}

// The keyring answers on the session bus, or can be started there.
bool secretServiceReachable()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface())
        return false;
    const QString name = u"org.freedesktop.secrets"_s;
    return bus.interface()->isServiceRegistered(name).value() || bus.interface()->activatableServiceNames().value().contains(name);
}

const QString noSecretService = u"No Secret Service (desktop keyring) is running, so the Sonos sign-in cannot be kept. Start gnome-keyring or KWallet, "
                                "then run velottectl login."_s;

QCoro::Task<void> checkAccount(Context &c, Findings &f)
{
    const SonosConfig config = SonosConfig::load();
    SonosAuth *auth = c.wiring().auth();
    if (!config.hasCredentials() || !auth || c.options().guest || !c.options().speakers.isEmpty())
        co_return; // local-only use: no account to check
    try {
        if (!co_await auth->restore()) {
            if (!secretServiceReachable()) {
                f.problems << noSecretService;
                co_return;
            }
            f.problems << u"You are not signed in to Sonos. Run velottectl login, or use the speakers without an account with --guest."_s;
            co_return;
        }
        co_await auth->validToken();
    } catch (const SecretStoreError &e) {
        if (e.kind() == SecretStoreError::Kind::noService)
            f.problems << noSecretService;
        else
            f.problems << sentenceOf(e);
        co_return;
    } catch (const std::exception &) {
        f.problems << u"Your Sonos sign-in has expired. Run velottectl login again."_s;
        co_return;
    }
    SonosClient api(config, *auth, NetworkTransport::shared());
    try {
        co_await api.households();
    } catch (const SonosError &e) {
        if (e.kind() == SonosError::Kind::rateLimited)
            f.problems << u"Sonos is limiting requests from this account until %1. Wait until then; the controller tries again by itself."_s.arg(
                QLocale().toString(e.until().toLocalTime().time(), QLocale::ShortFormat));
        else if (e.kind() == SonosError::Kind::authorization)
            f.problems << u"Your Sonos sign-in has expired. Run velottectl login again."_s;
        else
            f.problems << sentenceOf(e);
    } catch (const std::exception &e) {
        f.problems << sentenceOf(e);
    }
}

QCoro::Task<void> checkModel(Findings &f)
{
    const QUrl base = ServiceAddresses::load().model;
    HttpRequest request;
    request.url = base.resolved(QUrl(u"v1/models"_s));
    if (!base.path().endsWith(u'/'))
        request.url.setPath(base.path() + u"/v1/models"_s);
    request.timeout = 2s;
    request.maxBytes = 1 << 20;
    bool answered = false;
    try {
        const HttpResponse r = co_await NetworkTransport::shared().send(std::move(request));
        answered = r.status == 200;
    } catch (const std::exception &) {
    }
    if (!answered)
        f.notes << u"No local model server answers at %1, so suggestions are listed without being arranged. Start llama.cpp's server or Ollama there, "
                   "or set [services] model in the settings."_s.arg(base.toString());
}

QCoro::Task<int> doctor(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(u"doctor takes no arguments besides the global options."_s);
    if (c.options().demo) {
        c.out() << "The demo household needs nothing; everything looks fine." << Qt::endl;
        co_return ok;
    }
    Findings f;
    co_await checkSpeakers(c, f);
    co_await checkAccount(c, f);
    co_await checkModel(f);
    for (const QString &p : std::as_const(f.problems))
        c.out() << "✗ " << p << Qt::endl;
    for (const QString &n : std::as_const(f.notes))
        c.out() << "· " << n << Qt::endl;
    if (f.problems.isEmpty())
        c.out() << "Everything looks fine." << Qt::endl;
    co_return f.problems.isEmpty() ? ok : failed;
}

const Registration registration({
    {u"doctor"_s, {}, u"explain, room by room, why something does not work"_s,
     u"Checks the speakers (Bonjour or --speakers, port 1400, local control, grouping, the Apple Music\n"
     "account), the Sonos sign-in (keyring, expiry, rate limit) and the local model server. Prints one\n"
     "sentence per finding with what to do; \"✗\" marks a problem, \"·\" a note. Exits 0 when nothing is wrong."_s,
     false, doctor},
});

} // namespace
} // namespace velotte::cli
