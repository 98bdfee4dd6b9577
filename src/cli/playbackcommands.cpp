// rooms, status, transport verbs, seek, play modes and watch.
#include "context.h"
#include "format.h"
#include "interrupt.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimer>

namespace velotte::cli {

namespace {

QJsonValue orNull(const std::optional<QString> &v) { return v ? QJsonValue(*v) : QJsonValue(QJsonValue::Null); }

QCoro::Task<int> rooms(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("rooms takes no arguments."));
    HouseSession &s = c.session();
    if (c.options().json) {
        QJsonArray out;
        for (const SonosGroup &g : s.groups()) {
            QJsonArray players;
            for (const QString &id : g.playerIds) {
                std::optional<QString> name, host;
                for (const SonosPlayer &p : s.players()) {
                    if (p.id == id) {
                        name = p.name;
                        host = s.guestHosts().contains(id) ? std::optional(s.guestHosts().value(id)) : p.localHost();
                    }
                }
                players.append(QJsonObject{{QStringLiteral("id"), id}, {QStringLiteral("name"), orNull(name)}, {QStringLiteral("host"), orNull(host)}});
            }
            out.append(QJsonObject{{QStringLiteral("id"), g.id}, {QStringLiteral("name"), g.name},
                                   {QStringLiteral("coordinator"), g.coordinatorId}, {QStringLiteral("players"), players}});
        }
        c.printJson(out);
        co_return ok;
    }
    for (const SonosGroup &g : s.groups()) {
        QStringList names;
        for (const QString &id : g.playerIds) {
            for (const SonosPlayer &p : s.players()) {
                if (p.id == id)
                    names << p.name;
            }
        }
        const bool active = s.activeGroupID() == g.id;
        c.out() << (active ? "* " : "  ") << g.name;
        if (names.size() > 1)
            c.out() << "  (" << names.join(QStringLiteral(", ")) << ")";
        if (g.playbackState == QLatin1String("PLAYBACK_STATE_PLAYING"))
            c.out() << "  playing";
        c.out() << Qt::endl;
    }
    co_return ok;
}

void printStatus(Context &c)
{
    HouseSession &s = c.session();
    const QString what = s.playback()->title().isEmpty() ? QStringLiteral("Nothing playing")
                                             : s.playback()->artist().isEmpty() ? s.playback()->title() : s.playback()->title() + QStringLiteral(" — ") + s.playback()->artist();
    c.out() << s.activeGroupName() << ": " << (s.playback()->isPlaying() ? "playing " : "paused ") << what << Qt::endl;
    c.out() << "  " << clockText(s.playback()->positionMillis());
    if (s.playback()->durationMillis() > 0)
        c.out() << " / " << clockText(s.playback()->durationMillis());
    c.out() << "  volume " << qRound(s.sound()->volume()) << (s.sound()->muted() ? " (muted)" : "");
    if (s.playback()->shuffle())
        c.out() << "  shuffle";
    if (s.playback()->repeats())
        c.out() << "  repeat";
    c.out() << Qt::endl;
    if (!s.noteText().isEmpty())
        c.out() << "  " << s.noteText() << Qt::endl;
}

QCoro::Task<int> status(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("status takes no arguments."));
    HouseSession &s = c.session();
    if (c.options().json) {
        c.printJson(QJsonObject{{QStringLiteral("room"), s.activeGroupName()},
                                {QStringLiteral("title"), s.playback()->title()},
                                {QStringLiteral("artist"), s.playback()->artist()},
                                {QStringLiteral("playing"), s.playback()->isPlaying()},
                                {QStringLiteral("positionMillis"), s.playback()->positionMillis()},
                                {QStringLiteral("durationMillis"), s.playback()->durationMillis()},
                                {QStringLiteral("volume"), qRound(s.sound()->volume())},
                                {QStringLiteral("muted"), s.sound()->muted()},
                                {QStringLiteral("shuffle"), s.playback()->shuffle()},
                                {QStringLiteral("repeat"), s.playback()->repeats()}});
    } else {
        printStatus(c);
    }
    co_return s.noteText().isEmpty() ? ok : failed;
}

// Runs one transport command and reports its sentence when it fails.
QCoro::Task<int> settled(Context &c)
{
    co_await c.session().settle();
    co_return c.session().noteText().isEmpty() ? ok : c.fail();
}

QCoro::Task<int> playOrPause(Context &c, QStringList args, std::optional<bool> want)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("This command takes no arguments."));
    HouseSession &s = c.session();
    if (!want || *want != s.playback()->isPlaying())
        s.playback()->toggle();
    co_return co_await settled(c);
}

QCoro::Task<int> skip(Context &c, QStringList args, bool forward)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("This command takes no arguments."));
    // A room whose playback could not be read says why, not that it cannot skip.
    if (!c.session().noteText().isEmpty())
        co_return c.fail();
    c.session().playback()->skip(forward);
    co_return co_await settled(c);
}

QCoro::Task<int> seek(Context &c, QStringList args)
{
    if (args.size() != 1)
        co_return c.usageError(QStringLiteral("seek needs one position: M:SS, H:MM:SS or a percentage such as 40%."));
    HouseSession &s = c.session();
    const auto target = parsePosition(args.first(), s.playback()->durationMillis());
    if (!target)
        co_return c.usageError(QStringLiteral("\"%1\" is not a position. Use M:SS, H:MM:SS or a percentage such as 40%.").arg(args.first()));
    if (s.playback()->durationMillis() <= 0)
        co_return c.fail(QStringLiteral("This source has no length to seek in."));
    s.playback()->seek(double(*target) / double(s.playback()->durationMillis()));
    co_return co_await settled(c);
}

QCoro::Task<int> mode(Context &c, QStringList args, bool shuffle)
{
    const auto value = args.size() == 1 ? parseSwitch(args.first()) : std::nullopt;
    if (!value)
        co_return c.usageError(QStringLiteral("Say on or off."));
    HouseSession &s = c.session();
    if ((shuffle ? s.playback()->shuffle() : s.playback()->repeats()) != *value) {
        if (shuffle)
            s.playback()->toggleShuffle();
        else
            s.playback()->toggleRepeat();
    }
    co_return co_await settled(c);
}

QCoro::Task<int> watch(Context &c, QStringList args)
{
    std::optional<int> seconds;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--seconds") && i + 1 < args.size())
            seconds = args[++i].toInt();
        else
            co_return c.usageError(QStringLiteral("watch takes only --seconds N."));
    }
    HouseSession &s = c.session();
    Interrupt interrupt;
    QString last;
    auto print = [&] {
        const QString line = QStringLiteral("%1 %2 %3 — %4  %5 / %6")
                                 .arg(s.activeGroupName(), s.playback()->isPlaying() ? QStringLiteral("▶") : QStringLiteral("⏸"), s.playback()->title(), s.playback()->artist(),
                                      clockText(s.playback()->positionMillis()), clockText(s.playback()->durationMillis()));
        if (line != last) {
            last = line;
            c.out() << line << Qt::endl;
        }
    };
    QObject guard;
    for (auto signal : {&SessionPlayback::positionMillisChanged, &SessionPlayback::titleChanged, &SessionPlayback::isPlayingChanged, &SessionPlayback::artistChanged})
        QObject::connect(s.playback(), signal, &guard, print);
    QObject::connect(&s, &HouseSession::noteChanged, &guard, [&] {
        if (!s.noteText().isEmpty())
            c.err() << s.noteText() << Qt::endl;
    });
    print();
    s.setPollingEnabled(true);
    if (seconds) {
        Wakeup stop = interrupt.wakeup();
        QTimer::singleShot(*seconds * 1000, &guard, [stop] { stop.fire(); });
    }
    co_await interrupt.wakeup();
    s.setPollingEnabled(false);
    co_return ok;
}

const Registration registration({
    {QStringLiteral("rooms"), {}, QStringLiteral("list the rooms and groups"), {}, true, rooms},
    {QStringLiteral("status"), {}, QStringLiteral("what plays in the room"), {}, true, status},
    {QStringLiteral("play"), {}, QStringLiteral("start playing"), {}, true, [](Context &c, QStringList a) { return playOrPause(c, a, true); }},
    {QStringLiteral("pause"), {}, QStringLiteral("pause"), {}, true, [](Context &c, QStringList a) { return playOrPause(c, a, false); }},
    {QStringLiteral("toggle"), {}, QStringLiteral("play when paused, pause when playing"), {}, true, [](Context &c, QStringList a) { return playOrPause(c, a, std::nullopt); }},
    {QStringLiteral("next"), {}, QStringLiteral("next track"), {}, true, [](Context &c, QStringList a) { return skip(c, a, true); }},
    {QStringLiteral("previous"), {}, QStringLiteral("previous track, or the start of this one after 3 seconds"), {}, true, [](Context &c, QStringList a) { return skip(c, a, false); }},
    {QStringLiteral("seek"), QStringLiteral("POSITION"), QStringLiteral("jump to M:SS, H:MM:SS or a percentage like 40%"), {}, true, seek},
    {QStringLiteral("shuffle"), QStringLiteral("on|off"), QStringLiteral("shuffle the queue"), {}, true, [](Context &c, QStringList a) { return mode(c, a, true); }},
    {QStringLiteral("repeat"), QStringLiteral("on|off"), QStringLiteral("repeat the queue"), {}, true, [](Context &c, QStringList a) { return mode(c, a, false); }},
    {QStringLiteral("watch"), QStringLiteral("[--seconds N]"), QStringLiteral("follow the room until interrupted"), {}, true, watch},
});

} // namespace
} // namespace velotte::cli
