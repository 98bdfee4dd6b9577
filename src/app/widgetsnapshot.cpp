#include "widgetsnapshot.h"

#include "core/logging.h"
#include "core/settings.h"
#include "core/stillcurrent.h"
#include "session/housesession.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace velotte {

using namespace std::chrono_literals;

namespace {
// Dates travel as seconds since 2001-01-01T00:00:00Z, the reference date of
// the widget's original platform, so files stay interchangeable.
const QDateTime referenceDate(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
} // namespace

bool ControllerWidgetSnapshot::sameContent(const ControllerWidgetSnapshot &other) const
{
    return room == other.room && title == other.title && artist == other.artist && playing == other.playing && picks == other.picks;
}

QByteArray ControllerWidgetSnapshot::encode() const
{
    QJsonArray list;
    for (const Pick &p : picks)
        list.append(QJsonObject{{QStringLiteral("id"), p.id}, {QStringLiteral("name"), p.name}});
    const QJsonObject o{{QStringLiteral("room"), room},
                        {QStringLiteral("title"), title},
                        {QStringLiteral("artist"), artist},
                        {QStringLiteral("playing"), playing},
                        {QStringLiteral("updated"), referenceDate.msecsTo(updated) / 1000.0},
                        {QStringLiteral("picks"), list}};
    return QJsonDocument(o).toJson(QJsonDocument::Compact);
}

std::optional<ControllerWidgetSnapshot> ControllerWidgetSnapshot::decode(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject())
        return std::nullopt;
    const QJsonObject o = doc.object();
    const auto text = [&o](const char *key) { return o.value(QLatin1String(key)); };
    if (!text("room").isString() || !text("title").isString() || !text("artist").isString() || !text("playing").isBool()
        || !text("updated").isDouble() || !text("picks").isArray())
        return std::nullopt;
    ControllerWidgetSnapshot s;
    s.room = text("room").toString();
    s.title = text("title").toString();
    s.artist = text("artist").toString();
    s.playing = text("playing").toBool();
    s.updated = referenceDate.addMSecs(qint64(text("updated").toDouble() * 1000));
    for (const QJsonValue &v : text("picks").toArray()) {
        const QJsonObject p = v.toObject();
        if (!p.value(QStringLiteral("id")).isString() || !p.value(QStringLiteral("name")).isString())
            return std::nullopt;
        s.picks.append({p.value(QStringLiteral("id")).toString(), p.value(QStringLiteral("name")).toString()});
    }
    return s;
}

QString ControllerWidgetSnapshot::file() { return Paths::dataDir() + QStringLiteral("/controller-widget.json"); }

ControllerWidgetSnapshot ControllerWidgetSnapshot::of(const HouseSession &session)
{
    ControllerWidgetSnapshot s;
    s.room = session.activeGroupName();
    s.title = session.playback()->title().isEmpty() ? QStringLiteral("Open your controller") : session.playback()->title();
    s.artist = session.playback()->artist();
    s.playing = session.playback()->isPlaying();
    for (const SonosFavorite &f : session.library()->favorites())
        s.picks.append({f.id, f.name});
    return s;
}

WidgetSnapshotWriter::WidgetSnapshotWriter(HouseSession &session, Clock &clock, QString file, QObject *parent)
    : QObject(parent), m_session(session), m_clock(clock), m_file(std::move(file))
{
    QObject::connect(&session, &HouseSession::activeGroupIDChanged, this, &WidgetSnapshotWriter::sessionChanged);
    for (auto signal : {&SessionPlayback::titleChanged, &SessionPlayback::artistChanged, &SessionPlayback::isPlayingChanged})
        QObject::connect(session.playback(), signal, this, &WidgetSnapshotWriter::sessionChanged);
    QObject::connect(session.library(), &SessionLibrary::favoritesChanged, this, &WidgetSnapshotWriter::sessionChanged);
}

void WidgetSnapshotWriter::sessionChanged()
{
    ControllerWidgetSnapshot candidate = ControllerWidgetSnapshot::of(m_session);
    if (m_previous && m_previous->sameContent(candidate))
        return;
    candidate.updated = m_clock.now();
    m_previous = candidate;
    m_pending.cancel();
    m_pending = CancelToken();
    auto task = writeLater(candidate, m_pending);
}

QCoro::Task<void> WidgetSnapshotWriter::writeLater(ControllerWidgetSnapshot snapshot, CancelToken cancel)
{
    const StillCurrent alive(this);
    co_await m_clock.sleep(400ms, cancel); // a burst of changes writes once
    if (!alive || cancel.isCancelled())
        co_return;
    QDir().mkpath(QFileInfo(m_file).absolutePath());
    QSaveFile out(m_file); // replaces the file whole: the widget never reads half of it
    if (!out.open(QIODevice::WriteOnly) || out.write(snapshot.encode()) < 0 || !out.commit()) {
        qCWarning(lcApp) << "widget snapshot not written:" << out.errorString();
        co_return;
    }
    ++m_writes;
    Q_EMIT reloadRequested(QStringLiteral("VelotteRoom"));
}

} // namespace velotte
