#include "newspane.h"

#include "core/failure.h"
#include "core/settings.h"
#include "session/housesession.h"

#include <QPointer>

namespace velotte {

NewsPane::NewsPane(HouseSession &session, HttpTransport &transport, Clock &clock, QObject *parent)
    : QObject(parent), m_session(session), m_port(session), m_news(transport, NewsSource(ServiceAddresses::load().news), clock)
{
    connect(&session, &HouseSession::householdNameChanged, this, [this] { m_news.reset(std::nullopt); });
}

void NewsPane::setNote(const QString &note)
{
    if (note == m_note)
        return;
    m_note = note;
    Q_EMIT noteChanged();
}

std::optional<NewsSchedule> NewsPane::at(int row) const
{
    if (row < 0 || row >= m_news.schedules().size())
        return std::nullopt;
    return m_news.schedules()[row];
}

void NewsPane::reload() { auto task = runRead(); }

QCoro::Task<void> NewsPane::runRead()
{
    QPointer<NewsPane> self(this);
    if (m_session.demo()) {
        setNote(QStringLiteral("News alarms live on the speakers; the demo household has none."));
        co_return;
    }
    const QList<SonosPlayer> players = m_session.players();
    if (players.isEmpty()) {
        setNote(QStringLiteral("No speaker of this household can be reached."));
        co_return;
    }
    QString host;
    try {
        host = co_await m_port.newsHost(players.first().id);
    } catch (const std::exception &error) {
        if (self)
            self->setNote(sentenceOf(error));
        co_return;
    }
    if (!self)
        co_return;
    setNote({});
    co_await m_news.read(m_port, m_port.newsHouseholdID(), host);
}

void NewsPane::playNow(int row)
{
    if (const std::optional<NewsSchedule> s = at(row))
        auto task = m_news.play(*s, m_port);
}

void NewsPane::remove(int row)
{
    if (const std::optional<NewsSchedule> s = at(row))
        auto task = m_news.deleteSchedule(*s, m_port);
}

void NewsPane::setEnabled(int row, bool enabled)
{
    if (std::optional<NewsSchedule> s = at(row)) {
        s->enabled = enabled;
        auto task = runSave(*s);
    }
}

NewsSchedule NewsPane::edited(NewsSchedule s, const QVariantMap &fields)
{
    if (fields.contains(QStringLiteral("roomID")))
        s.roomID = fields.value(QStringLiteral("roomID")).toString();
    if (fields.contains(QStringLiteral("hour")))
        s.hour = std::clamp(fields.value(QStringLiteral("hour")).toInt(), 0, 23);
    if (fields.contains(QStringLiteral("minute")))
        s.minute = std::clamp(fields.value(QStringLiteral("minute")).toInt(), 0, 59);
    if (fields.contains(QStringLiteral("volume")))
        s.volume = std::clamp(fields.value(QStringLiteral("volume")).toInt(), 0, 100);
    if (fields.contains(QStringLiteral("enabled")))
        s.enabled = fields.value(QStringLiteral("enabled")).toBool();
    if (fields.contains(QStringLiteral("language")))
        s.language = fields.value(QStringLiteral("language")).toString();
    if (fields.contains(QStringLiteral("days"))) {
        s.days.clear();
        for (const QVariant &d : fields.value(QStringLiteral("days")).toList())
            if (d.toInt() >= 0 && d.toInt() <= 6)
                s.days.insert(d.toInt());
    }
    return s;
}

void NewsPane::save(int row, const QVariantMap &fields)
{
    NewsSchedule base;
    if (row >= 0) {
        const std::optional<NewsSchedule> s = at(row);
        if (!s)
            return;
        base = *s;
    } else if (!m_session.players().isEmpty()) {
        base.roomID = m_session.players().first().id;
        base.days = {1, 2, 3, 4, 5};
    }
    auto task = runSave(edited(base, fields));
}

QCoro::Task<void> NewsPane::runSave(NewsSchedule schedule) { co_await m_news.save(std::move(schedule), m_port); }

QString NewsPane::roomName(const QString &playerID) const
{
    for (const SonosPlayer &p : m_session.players())
        if (p.id == playerID)
            return p.name;
    return playerID;
}

QString NewsPane::daysText(const QVariantList &days)
{
    static const QStringList names{QStringLiteral("Sun"), QStringLiteral("Mon"), QStringLiteral("Tue"), QStringLiteral("Wed"),
                                   QStringLiteral("Thu"), QStringLiteral("Fri"), QStringLiteral("Sat")};
    std::set<int> set;
    for (const QVariant &d : days)
        if (d.toInt() >= 0 && d.toInt() <= 6)
            set.insert(d.toInt());
    if (set.size() == 7)
        return QStringLiteral("Every day");
    if (set == std::set<int>{1, 2, 3, 4, 5})
        return QStringLiteral("Weekdays");
    if (set == std::set<int>{0, 6})
        return QStringLiteral("Weekends");
    if (set.empty())
        return QStringLiteral("Never");
    QStringList out;
    // The week starts on Monday in the list, as most calendars show it.
    for (int d : {1, 2, 3, 4, 5, 6, 0})
        if (set.count(d))
            out << names[d];
    return out.join(QStringLiteral(", "));
}

} // namespace velotte
