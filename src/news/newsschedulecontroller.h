#pragma once

#include "newsalarmclient.h"
#include "newsbulletin.h"
#include "newsschedulemodel.h"
#include "newssessionport.h"

#include "core/clock.h"
#include "core/http.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <optional>

namespace velotte {

// The news pane's model: the household's news schedules, one speaker
// operation at a time, and one status line for every outcome.
class NewsScheduleController : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(bool loaded READ loaded NOTIFY schedulesChanged)
    Q_PROPERTY(QString message READ messageText NOTIFY messageChanged)
    Q_PROPERTY(bool failed READ failed NOTIFY messageChanged)
    Q_PROPERTY(QString scope READ scopeText NOTIFY scopeChanged)
    Q_PROPERTY(QString bulletinTitle READ bulletinTitle NOTIFY bulletinChanged)
    Q_PROPERTY(QString programme READ programme CONSTANT)
    Q_PROPERTY(QString credit READ credit CONSTANT)
    Q_PROPERTY(QAbstractListModel *scheduleModel READ scheduleModel CONSTANT)

public:
    // The demo household plays from no speaker, so it keeps no alarms.
    static QString demoText() { return QStringLiteral("News alarms live on the speakers; the demo household has none."); }

    NewsScheduleController(HttpTransport &transport, NewsSource source, Clock &clock, QObject *parent = nullptr);
    ~NewsScheduleController() override;

    const QList<NewsSchedule> &schedules() const { return m_schedules; }
    NewsScheduleModel *scheduleModel() { return &m_model; }
    bool busy() const { return m_busy; }
    bool loaded() const { return m_loaded; }
    std::optional<QString> message() const { return m_message; }
    QString messageText() const { return m_message.value_or(QString()); }
    bool failed() const { return m_failed; }
    std::optional<NewsBulletin> bulletin() const { return m_bulletin; }
    QString bulletinTitle() const { return m_bulletin ? m_bulletin->title : QString(); }
    std::optional<QString> scope() const { return m_scope; }
    QString scopeText() const { return m_scope.value_or(QString()); }
    const NewsSource &source() const { return m_source; }
    static QString programme() { return QStringLiteral("Dawnlet"); }
    static QString credit() { return QStringLiteral("Tamsel · Calyx"); }

    // The alarm client of one operation, with its `send` to the speakers.
    NewsAlarmClient client(NewsSessionPort &session, const QString &scope);

    QCoro::Task<void> read(NewsSessionPort &session, QString scope, QString host);
    // The alarm id, or none after a failure (shown in the status line).
    QCoro::Task<std::optional<QString>> save(NewsSchedule schedule, NewsSessionPort &session);
    QCoro::Task<bool> deleteSchedule(NewsSchedule schedule, NewsSessionPort &session);
    // Play now: today's bulletin in the schedule's room, at its volume.
    QCoro::Task<bool> play(NewsSchedule schedule, NewsSessionPort &session);
    QCoro::Task<std::pair<NewsBulletin, QUrl>> prepare(NewsSchedule schedule);
    // A different household: nothing of the old one stays.
    void reset(const std::optional<QString> &scope);

    static void sort(QList<NewsSchedule> &schedules);

Q_SIGNALS:
    void busyChanged();
    void schedulesChanged();
    void messageChanged();
    void scopeChanged();
    void bulletinChanged();

private:
    // Returns the success sentence; throws a Failure or Cancelled.
    using Operation = std::function<QCoro::Task<QString>(QString host, QString scope)>;
    QCoro::Task<bool> run(NewsSessionPort &session, QString playerID, Operation operation);
    // Lists and keeps the result; throws.
    QCoro::Task<void> load(NewsSessionPort &session, QString scope, QString host);
    // Throws Cancelled when the household moved on, or this object is gone.
    static void check(const QPointer<NewsScheduleController> &self, NewsSessionPort &session, const QString &scope, quint64 generation);
    void enter(const QString &scope);
    void setBusy(bool busy);
    void setMessage(std::optional<QString> message, bool failed);
    void show(const std::exception &error);

    HttpTransport &m_transport;
    NewsSource m_source;
    Clock &m_clock;
    QList<NewsSchedule> m_schedules;
    bool m_busy = false;
    bool m_loaded = false;
    std::optional<QString> m_message;
    bool m_failed = false;
    bool m_readNote = false; // the status line is a failed read's
    std::optional<NewsBulletin> m_bulletin;
    std::optional<QString> m_scope;
    quint64 m_generation = 0;
    CancelToken m_cancel;
    NewsScheduleModel m_model{*this};
};

} // namespace velotte
