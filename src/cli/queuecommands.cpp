// queue and sleep: what comes next in the room, and its sleep timer.
#include "context.h"
#include "format.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

namespace velotte::cli {

namespace {

// A track number of the queue as the user gives it: from 1 to the length.
std::optional<int> trackArgument(const QString &text, int count)
{
    bool valid = false;
    const int n = text.toInt(&valid);
    if (!valid || n < 1 || n > count)
        return std::nullopt;
    return n;
}

QCoro::Task<int> edited(Context &c)
{
    co_await c.session().settle();
    const auto note = c.session().queue()->queueNote();
    if (!note)
        co_return ok;
    c.err() << *note << Qt::endl;
    co_return failed;
}

QCoro::Task<int> queue(Context &c, QStringList args)
{
    SessionQueue &q = *c.session().queue();
    co_await q.refresh();
    if (const auto note = q.queueNote()) {
        c.err() << *note << Qt::endl;
        co_return failed;
    }
    const QString verb = args.isEmpty() ? QString() : args.takeFirst();
    auto track = [&](int i) { return i < args.size() ? trackArgument(args[i], q.count()) : std::nullopt; };
    if (verb == u"jump" && args.size() == 1 && track(0)) {
        co_await q.jump(*track(0));
        co_return co_await edited(c);
    }
    if (verb == u"remove" && args.size() == 1 && track(0)) {
        co_await q.remove(*track(0));
        co_return co_await edited(c);
    }
    if (verb == u"move" && args.size() == 2 && track(0) && track(1)) {
        co_await q.move(*track(0), *track(1));
        co_return co_await edited(c);
    }
    if (verb == u"clear" && args.isEmpty()) {
        co_await q.clear();
        co_return co_await edited(c);
    }
    if (!verb.isEmpty())
        co_return c.usageError(QStringLiteral("queue takes jump N, remove N, move N M or clear, with N from 1 to %1.").arg(q.count()));

    if (c.options().json) {
        QJsonArray out;
        for (int i = 0; i < q.count(); ++i) {
            const SpeakerQueue::Item &item = q.items()[i];
            out.append(QJsonObject{{QStringLiteral("track"), i + 1},
                                   {QStringLiteral("title"), item.title},
                                   {QStringLiteral("artist"), item.artist},
                                   {QStringLiteral("albumArt"), item.albumArt},
                                   {QStringLiteral("durationMillis"), item.durationMillis},
                                   {QStringLiteral("current"), i + 1 == q.currentTrack()}});
        }
        c.printJson(out);
        co_return ok;
    }
    if (q.count() == 0)
        c.out() << "The queue is empty." << Qt::endl;
    for (int i = 0; i < q.count(); ++i) {
        const SpeakerQueue::Item &item = q.items()[i];
        c.out() << (i + 1 == q.currentTrack() ? "> " : "  ") << i + 1 << ". " << item.title;
        if (!item.artist.isEmpty())
            c.out() << " · " << item.artist;
        if (item.durationMillis > 0)
            c.out() << "  " << clockText(item.durationMillis);
        c.out() << Qt::endl;
    }
    co_return ok;
}

// "30m", "1h", "1h30m", "90" (minutes) or "off".
std::optional<std::optional<qint64>> sleepArgument(const QString &text)
{
    if (text == u"off")
        return std::optional<qint64>();
    static const QRegularExpression form(QStringLiteral("^(?:(\\d+)h)?(?:(\\d+)m?)?$"));
    const auto m = form.match(text);
    if (!m.hasMatch() || text.isEmpty())
        return std::nullopt;
    const qint64 minutes = m.captured(1).toLongLong() * 60 + m.captured(2).toLongLong();
    if (minutes < 1 || minutes > 24 * 60)
        return std::nullopt;
    return std::optional<qint64>(minutes * 60000);
}

QCoro::Task<int> sleep(Context &c, QStringList args)
{
    SessionSleepTimer &timer = *c.session().sleepTimer();
    if (args.size() > 1)
        co_return c.usageError(QStringLiteral("sleep takes one duration such as 30m, 1h or off."));
    if (args.size() == 1) {
        const auto duration = sleepArgument(args.first());
        if (!duration)
            co_return c.usageError(QStringLiteral("sleep takes one duration such as 30m, 1h or off."));
        c.session().setNote(std::nullopt);
        co_await timer.set(*duration);
        co_await c.session().settle();
        if (!c.session().noteText().isEmpty())
            co_return c.fail();
    } else {
        co_await timer.refresh();
    }
    const std::optional<qint64> left = timer.remainingMillis();
    if (c.options().json)
        c.printJson(QJsonObject{{QStringLiteral("remainingMillis"), left ? QJsonValue(*left) : QJsonValue(QJsonValue::Null)}});
    else if (left)
        c.out() << c.session().activeGroupName() << " pauses in " << clockText(*left) << "." << Qt::endl;
    else
        c.out() << "No sleep timer runs in " << c.session().activeGroupName() << "." << Qt::endl;
    co_return ok;
}

const Registration registration({
    {QStringLiteral("queue"), QStringLiteral("[jump N|remove N|move N M|clear]"), QStringLiteral("what comes next in the room, and changes to it"), {}, true, queue},
    {QStringLiteral("sleep"), QStringLiteral("[30m|1h|1h30m|off]"), QStringLiteral("pause the room later, with the speaker's own timer"), {}, true, sleep},
});

} // namespace
} // namespace velotte::cli
