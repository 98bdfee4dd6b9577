#pragma once

#include "newsschedule.h"

#include "core/failure.h"
#include "core/http.h"
#include "local/soap.h"

#include <QCoroTask>

#include <functional>

namespace velotte {

// The speakers' alarm clock, where news schedules live.
class NewsAlarmClient {
public:
    class Failure : public velotte::Failure {
    public:
        enum class Kind { invalid, network, rejected, response, changed };
        explicit Failure(Kind kind) : velotte::Failure(QStringLiteral("alarm failure %1").arg(int(kind))), m_kind(kind) {}
        Kind kind() const { return m_kind; }
        QString sentence() const override;

    private:
        Kind m_kind;
    };

    // One AlarmClock action to a speaker; the reply text or a Failure.
    using Send = std::function<QCoro::Task<QString>(QString host, QString action, Soap::Fields fields)>;

    NewsAlarmClient(Send send, NewsSource source);
    // Every action goes to the speaker through `transport`.
    NewsAlarmClient(HttpTransport &transport, NewsSource source, CancelToken cancel = {});

    // POSTs one AlarmClock action in the short envelope with a quoted action
    // and a 10-second time-out. A non-200 status or an errorCode in the reply
    // is `rejected`; a transport failure is `network`; a speaker with local
    // control switched off throws the SpeakerFault that says so.
    static QCoro::Task<QString> request(HttpTransport &transport, QString host, QString action, Soap::Fields fields, CancelToken cancel = {});

    // The arguments of "CreateAlarm" and "UpdateAlarm"; throws `invalid`.
    static Soap::Fields fields(const NewsSchedule &schedule, const NewsSource &source);
    // The news schedules in an alarm list document, in document order;
    // throws `response` when it does not parse.
    static QList<NewsSchedule> parse(const QString &text, const NewsSource &source);
    // One <Alarm> as a news schedule; none when it is anything else.
    static std::optional<NewsSchedule> schedule(const QHash<QString, QString> &alarm, const NewsSource &source);

    QCoro::Task<QList<NewsSchedule>> list(QString host);
    // Creates or updates; the alarm id.
    QCoro::Task<QString> save(NewsSchedule schedule, QString host);
    QCoro::Task<void> destroy(QString id, QString host);

    const NewsSource &source() const { return m_source; }

private:
    Send m_send;
    NewsSource m_source;
};

} // namespace velotte
