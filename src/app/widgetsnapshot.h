#pragma once

#include "core/cancel.h"
#include "core/clock.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <optional>

namespace velotte {

class HouseSession;

// What the desktop widget shows, written to a file it reads.
struct ControllerWidgetSnapshot {
    struct Pick {
        QString id;
        QString name;
        bool operator==(const Pick &) const = default;
    };
    QString room;
    QString title;
    QString artist;
    bool playing = false;
    QDateTime updated;
    QList<Pick> picks;

    bool operator==(const ControllerWidgetSnapshot &) const = default;
    // Same content, whatever the time of writing.
    bool sameContent(const ControllerWidgetSnapshot &other) const;

    QByteArray encode() const;
    static std::optional<ControllerWidgetSnapshot> decode(const QByteArray &json);
    // "controller-widget.json" in the user's data directory.
    static QString file();
    static ControllerWidgetSnapshot of(const HouseSession &session);
};

// Keeps the snapshot file in step with the session: a change of room, title,
// artist, playing or favorites writes the file 0.4 s later (a burst of
// changes writes once), atomically, and then asks the widget to reload.
class WidgetSnapshotWriter : public QObject {
    Q_OBJECT
public:
    WidgetSnapshotWriter(HouseSession &session, Clock &clock, QString file = ControllerWidgetSnapshot::file(), QObject *parent = nullptr);
    void sessionChanged();
    int writes() const { return m_writes; }

Q_SIGNALS:
    // The widget kind whose view should reload ("VelotteRoom").
    void reloadRequested(const QString &kind);

private:
    QCoro::Task<void> writeLater(ControllerWidgetSnapshot snapshot, CancelToken cancel);

    HouseSession &m_session;
    Clock &m_clock;
    QString m_file;
    std::optional<ControllerWidgetSnapshot> m_previous;
    CancelToken m_pending;
    int m_writes = 0;
};

} // namespace velotte
