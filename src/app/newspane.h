#pragma once

#include "core/clock.h"
#include "core/http.h"
#include "news/newsschedulecontroller.h"
#include "session/sessionnewsport.h"

#include <QObject>
#include <QVariantMap>

namespace velotte {

class HouseSession;

// The session as the news controller reaches it: its household, the host
// that answers for a room, and the transport lock.

// The news view's side of the schedules: reads them through a speaker of
// the household, and saves, deletes and plays them by row.
class NewsPane : public QObject {
    Q_OBJECT
    Q_PROPERTY(QObject *controller READ controller CONSTANT)
    Q_PROPERTY(QString note READ note NOTIFY noteChanged)
public:
    NewsPane(HouseSession &session, HttpTransport &transport, Clock &clock, QObject *parent = nullptr);

    QObject *controller() { return &m_news; }
    QString note() const { return m_note; }

    Q_INVOKABLE void reload();
    Q_INVOKABLE void playNow(int row);
    Q_INVOKABLE void remove(int row);
    Q_INVOKABLE void setEnabled(int row, bool enabled);
    // `fields`: roomID, hour, minute, days (0 = Sunday), volume, language, enabled.
    // row -1 adds a schedule.
    Q_INVOKABLE void save(int row, const QVariantMap &fields);
    Q_INVOKABLE QString roomName(const QString &playerID) const;
    // "Weekdays", "Every day", "Mon, Wed"...
    Q_INVOKABLE static QString daysText(const QVariantList &days);

    static NewsSchedule edited(NewsSchedule schedule, const QVariantMap &fields);

Q_SIGNALS:
    void noteChanged();

private:
    QCoro::Task<void> runRead();
    QCoro::Task<void> runSave(NewsSchedule schedule);
    void setNote(const QString &note);
    std::optional<NewsSchedule> at(int row) const;

    HouseSession &m_session;
    SessionNewsPort m_port;
    NewsScheduleController m_news;
    QString m_note;
};

} // namespace velotte
