// volume, mute, bass, conversation, group and ungroup.
#include "context.h"
#include "format.h"

#include <QSet>

#include <cmath>

namespace velotte::cli {

namespace {

QCoro::Task<int> settled(Context &c)
{
    co_await c.session().settle();
    co_return c.session().noteText().isEmpty() ? ok : c.fail();
}

// "N", "+N" or "-N" against the present value.
std::optional<double> volumeArgument(const QString &text, double present)
{
    bool valid = false;
    const int n = text.toInt(&valid);
    if (!valid)
        return std::nullopt;
    return text.startsWith(QLatin1Char('+')) || text.startsWith(QLatin1Char('-')) ? present + n : double(n);
}

QCoro::Task<int> volume(Context &c, QStringList args)
{
    HouseSession &s = c.session();
    std::optional<QString> playerName;
    QStringList rest;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--player") && i + 1 < args.size())
            playerName = args[++i];
        else
            rest << args[i];
    }
    if (rest.size() > 1)
        co_return c.usageError(QStringLiteral("volume takes at most one value: N, +N or -N."));
    if (playerName) {
        const auto player = c.findPlayer(*playerName);
        if (!player)
            co_return c.usageError(QStringLiteral("No room is called \"%1\".").arg(*playerName));
        co_await s.sound()->refreshRoomControls();
        const double present = s.sound()->playerVolumes().value(player->id, 0);
        if (rest.isEmpty()) {
            c.out() << player->name << ": " << qRound(present) << (s.sound()->playerFixed().value(player->id) ? " (fixed)" : "") << Qt::endl;
            co_return s.noteText().isEmpty() ? ok : c.fail();
        }
        const auto value = volumeArgument(rest.first(), present);
        if (!value)
            co_return c.usageError(QStringLiteral("\"%1\" is not a volume. Use N, +N or -N.").arg(rest.first()));
        if (s.sound()->playerFixed().value(player->id))
            co_return c.fail(QStringLiteral("%1 has a fixed volume.").arg(player->name));
        s.sound()->setPlayerVolume(player->id, *value);
        co_return co_await settled(c);
    }
    if (rest.isEmpty()) {
        c.out() << s.activeGroupName() << ": " << qRound(s.sound()->volume()) << (s.sound()->muted() ? " (muted)" : "") << Qt::endl;
        co_return ok;
    }
    const auto value = volumeArgument(rest.first(), s.sound()->volume());
    if (!value)
        co_return c.usageError(QStringLiteral("\"%1\" is not a volume. Use N, +N or -N.").arg(rest.first()));
    if (s.sound()->volumeFixed())
        co_return c.fail(QStringLiteral("%1 has a fixed volume.").arg(s.activeGroupName()));
    s.sound()->beginAdjustingGroupVolume();
    s.sound()->setVolume(std::clamp(*value, 0.0, 100.0));
    s.sound()->commitGroupVolume();
    co_return co_await settled(c);
}

QCoro::Task<int> mute(Context &c, QStringList args)
{
    const QString word = args.size() == 1 ? args.first().toLower() : QString();
    const auto value = parseSwitch(word);
    if (!value && word != QLatin1String("toggle"))
        co_return c.usageError(QStringLiteral("Say on, off or toggle."));
    HouseSession &s = c.session();
    if (!value || *value != s.sound()->muted())
        s.sound()->toggleMute();
    co_return co_await settled(c);
}

QCoro::Task<int> bass(Context &c, QStringList args)
{
    if (args.size() > 1)
        co_return c.usageError(QStringLiteral("bass takes at most one level from -10 to 10."));
    HouseSession &s = c.session();
    co_await s.sound()->refreshBassControl();
    if (!s.sound()->canAdjustBass() && !s.demo()) {
        c.err() << s.sound()->bassNoteText() << Qt::endl;
        co_return failed;
    }
    if (args.isEmpty()) {
        if (!s.sound()->bassNoteText().isEmpty()) {
            c.err() << s.sound()->bassNoteText() << Qt::endl;
            co_return failed;
        }
        c.out() << s.activeGroupName() << ": bass " << qRound(s.sound()->bass() * 20 - 10) << Qt::endl;
        co_return ok;
    }
    bool valid = false;
    const int level = args.first().toInt(&valid);
    if (!valid)
        co_return c.usageError(QStringLiteral("\"%1\" is not a bass level. Use a number from -10 to 10.").arg(args.first()));
    s.sound()->setBass((std::clamp(level, -10, 10) + 10) / 20.0);
    co_await s.settle();
    if (!s.sound()->bassNoteText().isEmpty()) {
        c.err() << s.sound()->bassNoteText() << Qt::endl;
        co_return failed;
    }
    co_return ok;
}

QCoro::Task<int> conversation(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("conversation takes no arguments."));
    HouseSession &s = c.session();
    co_await s.sound()->toggleConversation();
    if (!s.noteText().isEmpty() && s.noteText() != QLatin1String("Keeping your new volume."))
        co_return c.fail();
    c.out() << s.activeGroupName() << ": volume " << qRound(s.sound()->volume()) << Qt::endl;
    co_return ok;
}

QCoro::Task<int> group(Context &c, QStringList args)
{
    if (args.isEmpty())
        co_return c.usageError(QStringLiteral("group needs the rooms the group should hold."));
    QSet<QString> selected;
    for (const QString &name : args) {
        const auto player = c.findPlayer(name);
        if (!player)
            co_return c.usageError(QStringLiteral("No room is called \"%1\".").arg(name));
        selected.insert(player->id);
    }
    HouseSession &s = c.session();
    const bool done = co_await s.rooms()->groupRooms(selected);
    co_await s.settle();
    if (!done)
        co_return c.fail();
    c.out() << s.activeGroupName() << Qt::endl;
    co_return ok;
}

QCoro::Task<int> ungroup(Context &c, QStringList args)
{
    if (args.size() != 1)
        co_return c.usageError(QStringLiteral("ungroup needs one room."));
    const auto player = c.findPlayer(args.first());
    if (!player)
        co_return c.usageError(QStringLiteral("No room is called \"%1\".").arg(args.first()));
    HouseSession &s = c.session();
    const auto home = c.findGroup(player->name);
    if (!home || home->playerIds.size() < 2) {
        c.out() << player->name << " already plays on its own." << Qt::endl;
        co_return ok;
    }
    s.choose(home->id);
    co_await s.settle();
    QSet<QString> rest(home->playerIds.begin(), home->playerIds.end());
    rest.remove(player->id);
    if (!co_await s.rooms()->groupRooms(rest))
        co_return c.fail();
    co_await s.settle();
    co_return ok;
}

const Registration registration({
    {QStringLiteral("volume"), QStringLiteral("[N|+N|-N] [--player ROOM]"), QStringLiteral("group volume, or one room's with --player"), {}, true, volume},
    {QStringLiteral("mute"), QStringLiteral("on|off|toggle"), QStringLiteral("mute or unmute the group"), {}, true, mute},
    {QStringLiteral("bass"), QStringLiteral("[LEVEL]"), QStringLiteral("the bass level from -10 to 10, over the local network"), {}, true, bass},
    {QStringLiteral("conversation"), {}, QStringLiteral("lower the room for a conversation, or bring it back"), {}, true, conversation},
    {QStringLiteral("group"), QStringLiteral("ROOM [ROOM...]"), QStringLiteral("make the room's group hold exactly these rooms"), {}, true, group},
    {QStringLiteral("ungroup"), QStringLiteral("ROOM"), QStringLiteral("let a room play on its own"), {}, true, ungroup},
});

} // namespace
} // namespace velotte::cli
