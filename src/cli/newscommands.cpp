// news: the morning-news schedules kept as speaker alarms, and Play now.
#include "context.h"
#include "session/sessionnewsport.h"

#include "core/clock.h"
#include "core/networktransport.h"
#include "core/settings.h"
#include "local/guesthouse.h"
#include "news/newsschedulecontroller.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

namespace velotte::cli {

namespace {

using namespace Qt::Literals::StringLiterals;

const QStringList dayNames{u"sun"_s, u"mon"_s, u"tue"_s, u"wed"_s, u"thu"_s, u"fri"_s, u"sat"_s};

std::optional<std::set<int>> parseDays(const QString &text)
{
    const QString t = text.trimmed().toLower();
    if (t == u"daily"_s || t == u"everyday"_s)
        return std::set<int>{0, 1, 2, 3, 4, 5, 6};
    if (t == u"weekdays"_s)
        return std::set<int>{1, 2, 3, 4, 5};
    if (t == u"weekends"_s)
        return std::set<int>{0, 6};
    std::set<int> days;
    for (const QString &part : t.split(u',')) {
        const QString word = part.trimmed();
        const qsizetype i = word.size() >= 3 ? dayNames.indexOf(word.left(3)) : -1;
        if (i >= 0 && (word.size() == 3 || QStringLiteral("sunday monday tuesday wednesday thursday friday saturday").split(u' ')[i] == word))
            days.insert(int(i));
        else if (word.size() == 1 && word[0] >= u'0' && word[0] <= u'6')
            days.insert(word[0].unicode() - u'0');
        else
            return std::nullopt;
    }
    return days;
}

QString daysText(const std::set<int> &days)
{
    if (days == std::set<int>{0, 1, 2, 3, 4, 5, 6})
        return u"daily"_s;
    if (days == std::set<int>{1, 2, 3, 4, 5})
        return u"weekdays"_s;
    if (days == std::set<int>{0, 6})
        return u"weekends"_s;
    QStringList names;
    for (int d : days)
        names << dayNames.value(d, QString::number(d));
    return names.join(u',');
}

std::optional<std::pair<int, int>> parseTime(const QString &text)
{
    static const QRegularExpression form(u"^(\\d{1,2}):(\\d{2})$"_s);
    const auto m = form.match(text.trimmed());
    if (!m.hasMatch())
        return std::nullopt;
    return std::pair{m.captured(1).toInt(), m.captured(2).toInt()};
}

// What the command line may change of a schedule.
struct Changes {
    std::optional<std::pair<int, int>> time;
    std::optional<std::set<int>> days;
    std::optional<int> volume;
    std::optional<QString> language;
    std::optional<bool> enabled;
    QStringList positional;

    void apply(NewsSchedule &s) const
    {
        if (time) {
            s.hour = time->first;
            s.minute = time->second;
        }
        if (days)
            s.days = *days;
        if (volume)
            s.volume = *volume;
        if (language)
            s.language = *language;
        if (enabled)
            s.enabled = *enabled;
    }
};

// Options shared by add, edit and play; the error text on bad ones.
std::optional<QString> parseChanges(const QStringList &args, Changes &changes, bool allowEnabled)
{
    for (int i = 0; i < args.size(); ++i) {
        const QString &a = args[i];
        if (a == u"--volume"_s) {
            bool number = false;
            const int v = i + 1 < args.size() ? args[i + 1].toInt(&number) : 0;
            if (!number)
                return u"--volume needs a number from 0 to 100."_s;
            changes.volume = v;
            ++i;
        } else if (a == u"--language"_s) {
            const QString l = i + 1 < args.size() ? args[i + 1].toLower() : QString();
            if (l != u"english"_s && l != u"japanese"_s)
                return u"--language is english or japanese."_s;
            changes.language = l;
            ++i;
        } else if (a == u"--disabled"_s && allowEnabled) {
            changes.enabled = false;
        } else if (a == u"--enabled"_s && allowEnabled) {
            changes.enabled = true;
        } else if (a.startsWith(u"--"_s)) {
            return u"Unknown option %1."_s.arg(a);
        } else {
            changes.positional << a;
        }
    }
    return std::nullopt;
}

class NewsCommand {
public:
    explicit NewsCommand(Context &c)
        : m_c(c), m_port(c.session()),
          m_news(NetworkTransport::shared(), NewsSource(ServiceAddresses::load().news), Clock::system())
    {
    }

    // Reads the list through any speaker of the household.
    QCoro::Task<bool> read()
    {
        if (m_c.session().demo()) {
            m_c.err() << NewsScheduleController::demoText() << Qt::endl;
            co_return false;
        }
        const QList<SonosPlayer> &players = m_c.session().players();
        if (players.isEmpty()) {
            m_c.err() << "No speaker of this household can be reached." << Qt::endl;
            co_return false;
        }
        QString host;
        try {
            host = co_await m_port.newsHost(players.first().id);
        } catch (const std::exception &error) {
            m_c.err() << sentenceOf(error) << Qt::endl;
            co_return false;
        }
        co_await m_news.read(m_port, m_port.newsHouseholdID(), host);
        if (m_news.failed()) {
            m_c.err() << m_news.messageText() << Qt::endl;
            co_return false;
        }
        co_return true;
    }

    std::optional<NewsSchedule> listed(const QString &id) const
    {
        for (const NewsSchedule &s : m_news.schedules()) {
            if (s.id == id)
                return s;
        }
        return std::nullopt;
    }

    // A schedule id that is not (or no longer) news.
    int unknown()
    {
        m_c.err() << NewsAlarmClient::Failure(NewsAlarmClient::Failure::Kind::changed).sentence() << Qt::endl;
        return failed;
    }

    // The controller's sentence, on the stream its outcome calls for.
    int outcome()
    {
        if (m_news.failed()) {
            m_c.err() << m_news.messageText() << Qt::endl;
            return failed;
        }
        m_c.out() << m_news.messageText() << Qt::endl;
        return ok;
    }

    QString roomName(const QString &id) const
    {
        for (const SonosPlayer &p : m_c.session().players()) {
            if (p.id == id)
                return p.name;
        }
        return id;
    }

    QCoro::Task<int> list(QStringList args)
    {
        if (!args.isEmpty())
            co_return m_c.usageError(u"news list takes no arguments."_s);
        if (!co_await read())
            co_return failed;
        if (m_c.options().json) {
            QJsonArray out;
            for (const NewsSchedule &s : m_news.schedules()) {
                QJsonArray days;
                for (int d : s.days)
                    days.append(d);
                out.append(QJsonObject{{u"id"_s, s.id.value_or(QString())}, {u"roomID"_s, s.roomID}, {u"hour"_s, s.hour},
                                       {u"minute"_s, s.minute}, {u"days"_s, days}, {u"volume"_s, s.volume}, {u"enabled"_s, s.enabled},
                                       {u"language"_s, s.language}, {u"category"_s, s.category}});
            }
            m_c.printJson(out);
            co_return ok;
        }
        if (m_news.schedules().isEmpty())
            m_c.out() << "No news schedules." << Qt::endl;
        for (const NewsSchedule &s : m_news.schedules()) {
            m_c.out() << QString::asprintf("%-4s %02d:%02d  ", qPrintable(s.id.value_or(QString())), s.hour, s.minute) << roomName(s.roomID) << "  "
                      << daysText(s.days) << "  volume " << s.volume << "  " << s.language << (s.enabled ? "" : "  (paused)") << Qt::endl;
        }
        co_return ok;
    }

    QCoro::Task<int> add(QStringList args)
    {
        Changes changes;
        if (const auto error = parseChanges(args, changes, true))
            co_return m_c.usageError(*error);
        if (changes.positional.size() != 3)
            co_return m_c.usageError(u"Usage: news add ROOM HH:MM DAYS [--volume N] [--language english|japanese] [--disabled]"_s);
        const auto player = m_c.findPlayer(changes.positional[0]);
        if (!player)
            co_return m_c.usageError(u"No room is called \"%1\"."_s.arg(changes.positional[0]));
        changes.time = parseTime(changes.positional[1]);
        if (!changes.time)
            co_return m_c.usageError(u"\"%1\" is not a time. Use HH:MM, such as 06:45."_s.arg(changes.positional[1]));
        changes.days = parseDays(changes.positional[2]);
        if (!changes.days)
            co_return m_c.usageError(u"\"%1\" are not days. Use daily, weekdays, weekends, or names such as sun,tue,thu."_s.arg(changes.positional[2]));
        NewsSchedule schedule;
        schedule.roomID = player->id;
        changes.apply(schedule);
        const auto id = co_await m_news.save(schedule, m_port);
        const int status = outcome();
        if (id && status == ok)
            m_c.out() << "id " << *id << Qt::endl;
        co_return status;
    }

    QCoro::Task<int> edit(QStringList args)
    {
        Changes changes;
        if (const auto error = parseChanges(args, changes, true))
            co_return m_c.usageError(*error);
        if (changes.positional.isEmpty())
            co_return m_c.usageError(u"Usage: news edit ID [HH:MM] [DAYS] [--volume N] [--language english|japanese] [--disabled|--enabled]"_s);
        const QString id = changes.positional.takeFirst();
        for (const QString &p : changes.positional) {
            if (const auto time = parseTime(p); time && !changes.time)
                changes.time = time;
            else if (const auto days = parseDays(p); days && !changes.days)
                changes.days = days;
            else
                co_return m_c.usageError(u"\"%1\" is neither a time (HH:MM) nor days."_s.arg(p));
        }
        co_return co_await change(id, changes);
    }

    QCoro::Task<int> change(QString id, Changes changes)
    {
        if (!co_await read())
            co_return failed;
        auto schedule = listed(id);
        if (!schedule)
            co_return unknown();
        changes.apply(*schedule);
        co_await m_news.save(*schedule, m_port);
        co_return outcome();
    }

    QCoro::Task<int> remove(QStringList args)
    {
        if (args.size() != 1)
            co_return m_c.usageError(u"Usage: news delete ID"_s);
        if (!co_await read())
            co_return failed;
        const auto schedule = listed(args.first());
        if (!schedule)
            co_return unknown();
        co_await m_news.deleteSchedule(*schedule, m_port);
        co_return outcome();
    }

    QCoro::Task<int> play(QStringList args)
    {
        Changes changes;
        if (const auto error = parseChanges(args, changes, false))
            co_return m_c.usageError(*error);
        if (changes.positional.size() != 1)
            co_return m_c.usageError(u"Usage: news play ROOM|ID [--volume N] [--language english|japanese]"_s);
        const QString target = changes.positional.first();
        std::optional<NewsSchedule> schedule;
        const auto player = m_c.findPlayer(target);
        if (!player) {
            if (!co_await read())
                co_return failed;
            schedule = listed(target);
            if (!schedule)
                co_return m_c.usageError(u"No room or news schedule is called \"%1\"."_s.arg(target));
        } else {
            schedule = NewsSchedule();
            schedule->roomID = player->id;
            schedule->days = {0, 1, 2, 3, 4, 5, 6};
            // A room played on demand keeps its own volume unless told otherwise.
            if (!changes.volume) {
                try {
                    const QString host = co_await m_port.newsHost(player->id);
                    GuestHouse house(NetworkTransport::shared());
                    schedule->volume = (co_await house.volume(host)).value_or(schedule->volume);
                } catch (const std::exception &) {
                    // Play now finds the speaker again and says what is wrong.
                }
            }
        }
        changes.apply(*schedule);
        co_await m_news.play(*schedule, m_port);
        co_return outcome();
    }

private:
    Context &m_c;
    SessionNewsPort m_port;
    NewsScheduleController m_news;
};

QCoro::Task<int> newsCommand(Context &c, QStringList args)
{
    if (args.isEmpty())
        co_return c.usageError(u"news needs a subcommand: list, add, edit, enable, disable, delete or play."_s);
    const QString sub = args.takeFirst();
    NewsCommand news(c);
    if (sub == u"list"_s)
        co_return co_await news.list(args);
    if (sub == u"add"_s)
        co_return co_await news.add(args);
    if (sub == u"edit"_s)
        co_return co_await news.edit(args);
    if (sub == u"enable"_s || sub == u"disable"_s) {
        if (args.size() != 1)
            co_return c.usageError(u"Usage: news %1 ID"_s.arg(sub));
        Changes changes;
        changes.enabled = sub == u"enable"_s;
        co_return co_await news.change(args.first(), changes);
    }
    if (sub == u"delete"_s)
        co_return co_await news.remove(args);
    if (sub == u"play"_s)
        co_return co_await news.play(args);
    co_return c.usageError(u"Unknown news subcommand \"%1\". Use list, add, edit, enable, disable, delete or play."_s.arg(sub));
}

const Registration registration({
    Command{
        u"news"_s,
        u"list|add|edit|enable|disable|delete|play ..."_s,
        u"Morning news schedules on the speakers, and Play now"_s,
        u"Morning news schedules are speaker alarms that play the daily Dawnlet bulletin (Tamsel · Calyx),\n"
        "even with this program closed.\n\n"
        "  news list [--json]\n"
        "  news add ROOM HH:MM DAYS [--volume N] [--language english|japanese] [--disabled]\n"
        "  news edit ID [HH:MM] [DAYS] [--volume N] [--language english|japanese] [--disabled|--enabled]\n"
        "  news enable ID | news disable ID | news delete ID\n"
        "  news play ROOM|ID [--volume N] [--language english|japanese]\n\n"
        "DAYS is daily, weekdays, weekends, or day names such as sun,tue,thu."_s,
        true,
        newsCommand,
    },
});

} // namespace

} // namespace velotte::cli
