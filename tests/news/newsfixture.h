#pragma once

#include "news/newsschedulecontroller.h"

#include "core/clock.h"
#include "services/fakespeakers.h"
#include "services/fakespeakersoap.h"
#include "testkit/testkit.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace velotte::test {

using namespace Qt::Literals::StringLiterals;

// The session as the news controller sees it.
struct FakeNewsPort final : NewsSessionPort {
    QString household = u"H1"_s;
    QHash<QString, QString> hosts; // player id -> host of its coordinator
    bool busy = false;
    bool sending = false;
    QList<bool> sendingChanges;

    QString newsHouseholdID() const override { return household; }
    QCoro::Task<QString> newsHost(QString playerID) override
    {
        if (!hosts.contains(playerID))
            throw TransportError(TransportError::Kind::Network, u"no host"_s);
        co_return hosts.value(playerID);
    }
    bool musicBusy() const override { return busy; }
    void setSendingPlaybackCommand(bool on) override
    {
        sending = on;
        sendingChanges.append(on);
    }
};

// Speakers and the news service behind one scripted transport: the fake
// household's own alarm clock and topology answer without sockets.
struct NewsRig {
    VirtualClock clock{QDateTime(QDate(2026, 3, 2), QTime(6, 0), Qt::UTC)};
    fake::FakeSpeakers speakers{u"127.0.0.11"_s, 5};
    RecordingTransport transport;
    FakeNewsPort port;
    NewsSource source; // the program's own host: the seeded alarms are news
    QJsonObject bulletin{{u"videoID"_s, u"aB3_-9xYz01"_s}, {u"title"_s, u"Morning Briefing"_s}, {u"language"_s, u"english"_s},
                         {u"category"_s, u"latest"_s}, {u"publishedAt"_s, u"2026-03-02T05:00:00Z"_s}, {u"clipSeconds"_s, 400},
                         {u"contentType"_s, u"audio/mpeg"_s}};
    int bulletinStatus = 200;
    QByteArray bulletinBody; // overrides the object when set
    HttpResponse head{200, {}, {{"Content-Type", "audio/mpeg"}, {"Content-Length", "5123456"}}};
    Millis latency{0};
    QSet<QString> failingActions; // answered by a dropped connection
    QStringList actions;          // every SOAP action, in order

    NewsRig()
    {
        for (const auto &s : speakers.speakers) {
            const fake::FakeSpeakers::Speaker &leader = *speakers.byID(s.follows);
            port.hosts.insert(s.id, leader.host);
        }
        transport.setHandler([this](const HttpRequest &r, CancelToken cancel) { return answer(r, cancel); });
    }

    QString living() const { return speakers.speakers[0].id; }
    QString kitchen() const { return speakers.speakers[2].id; }

    QCoro::Task<HttpResponse> answer(HttpRequest r, CancelToken cancel)
    {
        if (latency.count() > 0)
            co_await clock.sleep(latency, cancel);
        cancel.throwIfCancelled();
        if (r.url.path().startsWith(u"/api/public/news-shadowing/"_s))
            co_return news(r);
        const QString body = QString::fromUtf8(r.body);
        QString action = QString::fromUtf8(r.header("SOAPACTION")).remove(u'"').section(u'#', 1);
        actions << action;
        if (failingActions.contains(action))
            throw TransportError(TransportError::Kind::Network, u"dropped"_s);
        fake::FakeSpeakers::Speaker *speaker = speakers.byHost(r.url.host());
        if (!speaker)
            throw TransportError(TransportError::Kind::Network, u"no speaker"_s);
        using namespace fake::speakersoap;
        fake::Response reply;
        if (r.url.path() == u"/AlarmClock/Control"_s) {
            reply = speakers.alarms.handle(action, body).value_or(fault(401));
        } else if (action == u"GetZoneGroupState"_s) {
            reply = envelope(action, topologyService, u"<ZoneGroupState>"_s + escape(speakers.zoneGroupState()) + u"</ZoneGroupState>"_s);
        } else if (action == u"SetVolume"_s) {
            speaker->volume = argument(body, u"DesiredVolume"_s).toInt();
            reply = envelope(action, renderingService, {});
        } else if (action == u"SetAVTransportURI"_s) {
            speaker->streamURI = argument(body, u"CurrentURI"_s);
            reply = envelope(action, transportService, {});
        } else if (action == u"SetPlayMode"_s) {
            speaker->playMode = argument(body, u"NewPlayMode"_s);
            reply = envelope(action, transportService, {});
        } else if (action == u"Play"_s) {
            speaker->state = u"PLAYING"_s;
            reply = envelope(action, transportService, {});
        } else {
            reply = fault(401);
        }
        co_return HttpResponse{reply.status, reply.body, reply.headers};
    }

    HttpResponse news(const HttpRequest &r)
    {
        if (r.method == "HEAD")
            return head;
        return HttpResponse{bulletinStatus, bulletinBody.isEmpty() ? QJsonDocument(bulletin).toJson() : bulletinBody, {}};
    }

    const HttpRequest *lastRequest(const QByteArray &method) const
    {
        for (auto it = transport.requests.rbegin(); it != transport.requests.rend(); ++it) {
            if (it->method == method && it->url.path().startsWith(u"/api/"_s))
                return &*it;
        }
        return nullptr;
    }
};

} // namespace velotte::test
