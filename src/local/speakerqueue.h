#pragma once

#include "core/cancel.h"
#include "core/http.h"

#include <QCoroTask>
#include <QList>
#include <QString>

#include <optional>

namespace velotte {

// The queue of a group's coordinator: read in pages, and edited with the
// queue's update id so that an edit meant for a queue that has changed in
// the meantime is refused (SpeakerFault::queueChanged) instead of hitting
// the wrong track. Every failure is a SpeakerFault; a reply that is no
// queue is a DecodeError.
class SpeakerQueue {
public:
    struct Item {
        QString title;
        QString artist;
        QString albumArt; // an address on the speaker; empty when none
        qint64 durationMillis = 0;
    };
    struct Contents {
        QList<Item> items;
        qint64 updateID = 0;
    };
    // One Browse reply.
    struct Page {
        QList<Item> items;
        int total = 0;
        qint64 updateID = 0;
    };

    static constexpr int pageSize = 100;
    // A speaker's queue holds at most this many tracks.
    static constexpr int largest = 40000;

    explicit SpeakerQueue(HttpTransport &transport) : m_transport(transport) {}

    // Every track; the first page tells how many there are, and the others
    // are asked for together.
    QCoro::Task<Contents> read(QString host, CancelToken cancel = {});
    // Plays track `number` (from 1) of the queue of `updateID`; 0 asks for no check.
    QCoro::Task<void> jump(QString host, int number, qint64 updateID);
    QCoro::Task<void> remove(QString host, int number, qint64 updateID);
    // Track `from` becomes track `to`.
    QCoro::Task<void> move(QString host, int from, int to, qint64 updateID);
    QCoro::Task<void> clear(QString host);

    // A Browse reply of the speaker at `host`; throws DecodeError.
    static Page page(const QString &reply, const QString &host);

private:
    QCoro::Task<Page> browse(QString host, int start, int count, CancelToken cancel);
    QCoro::Task<QString> transport(QString host, QString action, QList<QPair<QString, QString>> fields);

    HttpTransport &m_transport;
};

} // namespace velotte
