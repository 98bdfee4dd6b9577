#include "nowplayingfollower.h"

#include "tracknotes.h"

#include "core/logging.h"

#include <QMetaProperty>
#include <QUrl>

namespace velotte {

NowPlayingFollower::NowPlayingFollower(QObject *session, TrackNotes *notes, QObject *parent)
    : QObject(parent), m_session(session), m_notes(notes)
{
    m_coalesce.setSingleShot(true);
    m_coalesce.setInterval(0);
    connect(&m_coalesce, &QTimer::timeout, this, &NowPlayingFollower::follow);
    if (!session)
        return;
    const QMetaObject *meta = session->metaObject();
    const QMetaMethod slot = metaObject()->method(metaObject()->indexOfMethod("schedule()"));
    for (const char *name : {"title", "artist", "artwork", "durationMillis"}) {
        const QMetaProperty property = meta->property(meta->indexOfProperty(name));
        if (!property.isValid() || !property.hasNotifySignal()) {
            qCWarning(lcNotes) << "the session has no notifying property" << name;
            continue;
        }
        connect(session, property.notifySignal(), this, slot);
    }
}

void NowPlayingFollower::schedule() { m_coalesce.start(); }

void NowPlayingFollower::follow()
{
    if (!m_session || !m_notes)
        return;
    const QString title = m_session->property("title").toString();
    const QString artist = m_session->property("artist").toString();
    const QUrl artwork = m_session->property("artwork").toUrl();
    const qint64 duration = m_session->property("durationMillis").toLongLong();
    m_notes->load(title, artist, artwork, duration); // runs on by itself
}

} // namespace velotte
