#include "newsschedulecontroller.h"

#include "core/logging.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"

#include <QPointer>

#include <algorithm>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString savedText = u"Saved on Sonos. News will play even with the app closed."_s;
const QString pausedText = u"Schedule saved and paused."_s;
const QString unconfirmedText = u"Saved on Sonos. Refresh to check the latest schedule list."_s;
const QString deletedText = u"Schedule deleted from Sonos."_s;

using AlarmFailure = NewsAlarmClient::Failure;

// A speaker that refuses local control says so; a silent one is not on this network.
[[noreturn]] void speakerFailed(const GuestHouse &house, const QString &host)
{
    if (house.refusesLocalControl(host))
        throw *house.fault(host);
    throw AlarmFailure(AlarmFailure::Kind::network);
}

bool stale(const QPointer<NewsScheduleController> &self, NewsSessionPort &session, const QString &scope, quint64 generation, quint64 current)
{
    return !self || session.newsHouseholdID() != scope || generation != current;
}

} // namespace

NewsScheduleController::NewsScheduleController(HttpTransport &transport, NewsSource source, Clock &clock, QObject *parent)
    : QObject(parent), m_transport(transport), m_source(std::move(source)), m_clock(clock)
{
}

NewsScheduleController::~NewsScheduleController()
{
    m_cancel.cancel();
}

void NewsScheduleController::sort(QList<NewsSchedule> &schedules)
{
    std::stable_sort(schedules.begin(), schedules.end(), [](const NewsSchedule &a, const NewsSchedule &b) {
        const QString at = a.startTime();
        const QString bt = b.startTime();
        if (at != bt)
            return at < bt;
        if (a.roomID != b.roomID)
            return a.roomID < b.roomID;
        return a.id.value_or(QString()) < b.id.value_or(QString());
    });
}

NewsAlarmClient NewsScheduleController::client(NewsSessionPort &session, const QString &scope)
{
    // Every reply is checked against the household it was asked for.
    HttpTransport &transport = m_transport;
    const CancelToken cancel = m_cancel;
    return NewsAlarmClient(
        [&transport, &session, scope, cancel](QString host, QString action, Soap::Fields fields) -> QCoro::Task<QString> {
            QString reply = co_await NewsAlarmClient::request(transport, host, action, fields, cancel);
            if (cancel.isCancelled() || session.newsHouseholdID() != scope)
                throw Cancelled();
            co_return reply;
        },
        m_source);
}

void NewsScheduleController::check(const QPointer<NewsScheduleController> &self, NewsSessionPort &session, const QString &scope,
                                   quint64 generation)
{
    if (!self || stale(self, session, scope, generation, self->m_generation))
        throw Cancelled();
}

void NewsScheduleController::enter(const QString &scope)
{
    if (m_scope != scope)
        reset(scope);
}

void NewsScheduleController::reset(const std::optional<QString> &scope)
{
    if (m_scope == scope)
        return;
    ++m_generation;
    m_cancel.cancel();
    m_cancel = CancelToken();
    const bool hadSchedules = !m_schedules.isEmpty() || m_loaded;
    m_schedules.clear();
    m_loaded = false;
    m_readNote = false;
    setMessage(std::nullopt, false);
    if (m_bulletin) {
        m_bulletin.reset();
        Q_EMIT bulletinChanged();
    }
    m_scope = scope;
    Q_EMIT scopeChanged();
    if (hadSchedules)
        Q_EMIT schedulesChanged();
}

void NewsScheduleController::setBusy(bool busy)
{
    if (m_busy == busy)
        return;
    m_busy = busy;
    Q_EMIT busyChanged();
}

void NewsScheduleController::setMessage(std::optional<QString> message, bool failed)
{
    m_readNote = false;
    if (m_message == message && m_failed == failed)
        return;
    m_message = std::move(message);
    m_failed = failed;
    Q_EMIT messageChanged();
}

void NewsScheduleController::show(const std::exception &error)
{
    qCDebug(lcNews) << "news operation failed:" << error.what();
    setMessage(sentenceOf(error), true);
}

QCoro::Task<void> NewsScheduleController::load(NewsSessionPort &session, QString scope, QString host)
{
    QPointer<NewsScheduleController> self(this);
    const quint64 generation = m_generation;
    NewsAlarmClient alarms = client(session, scope);
    QList<NewsSchedule> listed = co_await alarms.list(host);
    check(self, session, scope, generation);
    sort(listed);
    m_schedules = std::move(listed);
    m_loaded = true;
    Q_EMIT schedulesChanged();
}

QCoro::Task<void> NewsScheduleController::read(NewsSessionPort &session, QString scope, QString host)
{
    QPointer<NewsScheduleController> self(this);
    enter(scope);
    const quint64 generation = m_generation;
    std::optional<QString> failure;
    try {
        co_await load(session, scope, host);
    } catch (const Cancelled &) {
        co_return;
    } catch (const std::exception &error) {
        failure = sentenceOf(error);
    }
    if (stale(self, session, scope, generation, self ? self->m_generation : 0))
        co_return;
    if (failure) {
        setMessage(failure, true);
        m_readNote = true;
    } else if (m_readNote) {
        // Only the note an earlier read wrote goes away.
        setMessage(std::nullopt, false);
    }
}

QCoro::Task<bool> NewsScheduleController::run(NewsSessionPort &session, QString playerID, Operation operation)
{
    QPointer<NewsScheduleController> self(this);
    if (m_busy) {
        setMessage(NewsPlaybackFailure(NewsPlaybackFailure::Kind::busy).sentence(), true);
        co_return false;
    }
    const QString scope = session.newsHouseholdID();
    enter(scope);
    const quint64 generation = m_generation;
    setBusy(true);

    std::optional<QString> success;
    std::optional<QString> failure;
    try {
        const QString host = co_await session.newsHost(playerID);
        check(self, session, scope, generation);
        success = co_await operation(host, scope);
    } catch (const Cancelled &) {
    } catch (const std::exception &error) {
        qCDebug(lcNews) << "news operation failed:" << error.what();
        failure = sentenceOf(error);
    }
    if (!self)
        co_return false;
    setBusy(false);
    if (stale(self, session, scope, generation, m_generation))
        co_return false;
    if (success)
        setMessage(success, false);
    else if (failure)
        setMessage(failure, true);
    co_return success.has_value();
}

QCoro::Task<std::optional<QString>> NewsScheduleController::save(NewsSchedule schedule, NewsSessionPort &session)
{
    QPointer<NewsScheduleController> self(this);
    std::optional<QString> id;
    Operation operation = [this, self, &session, schedule, &id](QString host, QString scope) -> QCoro::Task<QString> {
        const quint64 generation = m_generation;
        NewsAlarmClient alarms = client(session, scope);
        const QString saved = co_await alarms.save(schedule, host);
        check(self, session, scope, generation);
        id = saved;
        bool reread = true;
        try {
            co_await load(session, scope, host);
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &) {
            reread = false;
        }
        if (!reread)
            co_return QString(unconfirmedText);
        co_return schedule.enabled ? savedText : pausedText;
    };
    const bool done = co_await run(session, schedule.roomID, operation);
    if (!done)
        co_return std::nullopt;
    co_return id;
}

QCoro::Task<bool> NewsScheduleController::deleteSchedule(NewsSchedule schedule, NewsSessionPort &session)
{
    QPointer<NewsScheduleController> self(this);
    Operation operation = [this, self, &session, schedule](QString host, QString scope) -> QCoro::Task<QString> {
        const quint64 generation = m_generation;
        NewsAlarmClient alarms = client(session, scope);
        // Only an alarm that is still this news schedule may go.
        const QList<NewsSchedule> listed = co_await alarms.list(host);
        check(self, session, scope, generation);
        const bool present = schedule.id && std::any_of(listed.begin(), listed.end(), [&](const NewsSchedule &s) { return s.id == schedule.id; });
        if (!present)
            throw AlarmFailure(AlarmFailure::Kind::changed);
        co_await alarms.destroy(*schedule.id, host);
        check(self, session, scope, generation);
        try {
            co_await load(session, scope, host);
        } catch (const Cancelled &) {
            throw;
        } catch (const std::exception &) {
            // The alarm is gone either way; the deleted sentence stays.
        }
        co_return QString(deletedText);
    };
    co_return co_await run(session, schedule.roomID, operation);
}

QCoro::Task<std::pair<NewsBulletin, QUrl>> NewsScheduleController::prepare(NewsSchedule schedule)
{
    return NewsBulletin::prepare(m_transport, m_source, m_clock, std::move(schedule), m_cancel);
}

QCoro::Task<bool> NewsScheduleController::play(NewsSchedule schedule, NewsSessionPort &session)
{
    QPointer<NewsScheduleController> self(this);
    if (session.musicBusy() || m_busy) {
        setMessage(NewsPlaybackFailure(NewsPlaybackFailure::Kind::busy).sentence(), true);
        co_return false;
    }
    if (!schedule.valid()) {
        setMessage(AlarmFailure(AlarmFailure::Kind::invalid).sentence(), true);
        co_return false;
    }
    const QString scope = session.newsHouseholdID();
    enter(scope);
    const quint64 generation = m_generation;
    const CancelToken cancel = m_cancel;
    session.setSendingPlaybackCommand(true);
    setBusy(true);

    std::optional<NewsBulletin> played;
    std::optional<QString> failure;
    try {
        const QString host = co_await session.newsHost(schedule.roomID);
        check(self, session, scope, generation);
        const std::pair<NewsBulletin, QUrl> prepared = co_await prepare(schedule);
        const NewsBulletin &bulletin = prepared.first;
        const QUrl &audio = prepared.second;
        check(self, session, scope, generation);

        GuestHouse house(m_transport);
        const std::optional<bool> standalone = co_await house.standaloneRoom(schedule.roomID, host, session.newsSpeakers());
        check(self, session, scope, generation);
        if (!standalone)
            speakerFailed(house, host);
        if (!*standalone)
            throw NewsPlaybackFailure(NewsPlaybackFailure::Kind::grouped);
        const bool volumeSet = co_await house.setVolume(host, schedule.volume);
        check(self, session, scope, generation);
        if (!volumeSet)
            speakerFailed(house, host);

        // The play mode once the room is on the bulletin: a live radio
        // stream still playing takes none (712).
        const QList<QPair<QString, Soap::Fields>> actions{
            {u"SetAVTransportURI"_s, {{u"InstanceID"_s, u"0"_s}, {u"CurrentURI"_s, audio.toString(QUrl::FullyEncoded)}, {u"CurrentURIMetaData"_s, QString()}}},
            {u"SetPlayMode"_s, {{u"InstanceID"_s, u"0"_s}, {u"NewPlayMode"_s, u"NORMAL"_s}}},
            {u"Play"_s, {{u"InstanceID"_s, u"0"_s}, {u"Speed"_s, u"1"_s}}},
        };
        for (const auto &[action, fields] : actions) {
            try {
                co_await AppleMusicDirect::request(m_transport, host, action, fields, cancel);
            } catch (const AppleMusicDirect::Failure &error) {
                // A speaker that answers but refuses the stream has no use for it.
                if (error.kind() == AppleMusicDirect::Failure::Kind::network)
                    throw AlarmFailure(AlarmFailure::Kind::network);
                const bool modeless = action == u"SetPlayMode"_s && error.code() == QString::number(SpeakerFault::playModeNotSupported);
                if (!modeless)
                    throw NewsPlaybackFailure(NewsPlaybackFailure::Kind::unavailable);
            }
            check(self, session, scope, generation);
        }
        played = bulletin;
    } catch (const Cancelled &) {
    } catch (const std::exception &error) {
        qCDebug(lcNews) << "Play now failed:" << error.what();
        failure = sentenceOf(error);
    }
    session.setSendingPlaybackCommand(false);
    if (!self)
        co_return false;
    setBusy(false);
    if (stale(self, session, scope, generation, m_generation))
        co_return false;
    if (failure) {
        setMessage(failure, true);
        co_return false;
    }
    if (!played)
        co_return false;
    m_bulletin = played;
    Q_EMIT bulletinChanged();
    setMessage(u"Playing "_s + played->title + u'.', false);
    co_return true;
}

} // namespace velotte
