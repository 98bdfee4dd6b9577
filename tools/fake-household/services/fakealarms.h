#pragma once

#include "kit/fakehttpserver.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace velotte::fake {

// The household's alarm list, as every speaker's AlarmClock service reports
// it. Alarms persist while the fake runs; they are shared by all speakers.
class FakeAlarmClock {
public:
    struct Alarm {
        QString id;
        QString startTime; // "HH:MM:SS"
        QString duration = QStringLiteral("00:12:00");
        QString recurrence = QStringLiteral("DAILY");
        bool enabled = true;
        QString roomUUID;
        QString programURI;
        QString programMetaData; // DIDL-Lite text, unescaped
        QString playMode = QStringLiteral("NORMAL");
        int volume = 20;
        bool includeLinkedZones = false;
    };

    QList<Alarm> alarms;
    int version = 1;
    QString versionPrefix = QStringLiteral("RINCON_000000000000001400");
    // When set, "CreateAlarm" answers with this UPnP error code (an alarm at
    // the same time already exists, as far as the speaker is concerned).
    int createConflict = 0;

    // A household's usual mix: music and radio alarms, a retired bilingual
    // news alarm, a news address with a third query item, and a valid
    // English news alarm, in the given rooms (player ids).
    void seed(const QStringList &rooms, const QString &newsHost);
    // https://<host>/api/public/news-shadowing/sonos/latest.mp3?language=…&category=… (+ extra query).
    static QString newsAddress(const QString &newsHost, const QString &language, const QString &category = QStringLiteral("latest"),
                               const QString &extraQuery = {});

    // The <Alarms> document of "ListAlarms", before the reply escapes it.
    QString document() const;
    const Alarm *find(const QString &id) const;
    // The reply to an AlarmClock action; none when the action is not one.
    std::optional<Response> handle(const QString &action, const QString &body);

private:
    std::optional<Response> read(Alarm &alarm, const QString &body) const;
    int m_nextID = 1;
};

} // namespace velotte::fake
