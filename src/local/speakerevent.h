#pragma once

#include "guesthouse.h"
#include "transportactions.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>

namespace velotte {

// The services whose changes the speakers send to a subscriber.
enum class EventService { transport, rendering, topology, queue };

// Where a speaker takes subscriptions to a service, on port 1400.
QString eventPath(EventService service);

// What one event of a speaker says, read into typed fields. Events carry
// only what they name: a field they leave out is none.
struct SpeakerEvent {
    QString host;
    EventService service = EventService::transport;

    // AVTransport.
    std::optional<QString> transportState;
    std::optional<QString> title; // of the current track's metadata
    std::optional<QString> artist;
    std::optional<qint64> durationMillis;
    std::optional<TransportActions> actions;
    std::optional<QString> playMode;
    std::optional<QString> transportURI;
    std::optional<int> track; // its number in the queue, from 1
    std::optional<int> numberOfTracks;
    // RenderingControl, channel "Master".
    std::optional<int> volume;
    std::optional<bool> muted;
    // ZoneGroupTopology.
    std::optional<QList<GuestHouse::Room>> rooms;
    // The queue's update id.
    std::optional<qint64> queueUpdateID;

    // As the reads count it: a speaker between tracks (TRANSITIONING) plays.
    std::optional<bool> playing() const;

    // The event in a NOTIFY body; none when the body is no property set.
    static std::optional<SpeakerEvent> read(EventService service, const QByteArray &body);
    // The values of instance 0 of a LastChange document by name (prefix
    // dropped); of values per channel only the "Master" one. Empty when the
    // document is not well formed.
    static QHash<QString, QString> lastChange(const QString &document);
};

} // namespace velotte
