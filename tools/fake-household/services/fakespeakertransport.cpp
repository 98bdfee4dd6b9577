// AVTransport of the fake speakers: playback, grouping and the sleep timer.
#include "fakespeakers.h"

#include "fakecaptures.h"
#include "fakespeakersoap.h"

#include <QRegularExpression>
#include <QTimer>
#include <QUrl>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;
using namespace speakersoap;

namespace {

QString didl(const FakeSpeakers::Track &t)
{
    // The metadata document is escaped once inside the reply, and the texts
    // inside it once more, as real speakers do.
    return escape(FakeSpeakers::didlDocument(FakeSpeakers::didlItem(t, u"-1"_s, u"-1"_s)));
}

// What a stream address plays: a TV input, or a radio station.
bool isTelevision(const QString &uri) { return uri.startsWith(u"x-sonos-htastream:"_s); }
bool isRadio(const QString &uri)
{
    return uri.startsWith(u"x-sonosapi-stream:"_s) || uri.startsWith(u"x-rincon-mp3radio:"_s) || uri.startsWith(u"aac:"_s);
}

} // namespace

qint64 FakeSpeakers::positionOf(const Speaker &s) const
{
    qint64 p = s.position;
    if (s.state == u"PLAYING"_s)
        p += m_clock.elapsed() - s.since;
    const qint64 duration = s.streamURI.isEmpty() && !s.queue.isEmpty() ? s.queue[s.track % s.queue.size()].duration : 0;
    return duration > 0 ? std::min(p, duration) : p;
}

void FakeSpeakers::settle()
{
    for (Speaker &s : speakers) {
        if (s.sleepUntil < 0 || m_clock.elapsed() < s.sleepUntil)
            continue;
        s.sleepUntil = -1;
        ++s.sleepGeneration;
        if (s.state == u"PLAYING"_s)
            setState(s, u"PAUSED_PLAYBACK"_s);
    }
}

void FakeSpeakers::setState(Speaker &s, const QString &state)
{
    s.position = positionOf(s);
    s.since = m_clock.elapsed();
    s.state = state;
}

QString FakeSpeakers::reportedState(const Speaker &c) const
{
    if (c.state == u"PLAYING"_s && m_clock.elapsed() - c.since < c.transitionMs)
        return u"TRANSITIONING"_s;
    return c.state;
}

QString FakeSpeakers::transportActions(Speaker &speaker)
{
    if (!speaker.actions.isEmpty())
        return speaker.actions;
    const Speaker &c = coordinatorOf(speaker);
    if (&c != &speaker)
        return captures::actions(u"member"_s);
    if (!c.streamURI.isEmpty())
        return captures::actions(u"stream"_s);
    if (c.queue.size() <= 1)
        return captures::actions(u"single"_s);
    return captures::actions(c.track % c.queue.size() == 0 ? u"first"_s : u"queue"_s);
}

Response FakeSpeakers::mediaInfo(Speaker &speaker)
{
    const Speaker &c = coordinatorOf(speaker);
    QString body = captures::body(u"queue-mediainfo.xml"_s);
    if (&c != &speaker) {
        // A member plays whatever its coordinator sends it.
        body = captures::withElement(body, u"CurrentURI"_s, u"x-rincon:"_s + c.id);
        return envelope(u"GetMediaInfo"_s, transportService, captures::withElement(body, u"NrTracks"_s, u"1"_s));
    }
    if (isTelevision(c.streamURI))
        return envelope(u"GetMediaInfo"_s, transportService, captures::body(u"tv-mediainfo.xml"_s));
    if (isRadio(c.streamURI))
        return envelope(u"GetMediaInfo"_s, transportService, captures::body(u"radio-mediainfo.xml"_s));
    if (!c.streamURI.isEmpty()) {
        body = captures::withElement(body, u"CurrentURI"_s, escape(c.streamURI));
        return envelope(u"GetMediaInfo"_s, transportService, captures::withElement(body, u"NrTracks"_s, u"1"_s));
    }
    body = captures::withElement(body, u"CurrentURI"_s, u"x-rincon-queue:"_s + c.id + u"#0"_s);
    return envelope(u"GetMediaInfo"_s, transportService, captures::withElement(body, u"NrTracks"_s, QString::number(c.queue.size())));
}

Response FakeSpeakers::positionInfo(Speaker &c)
{
    if (isTelevision(c.streamURI))
        return envelope(u"GetPositionInfo"_s, transportService, captures::body(u"tv-positioninfo.xml"_s));
    if (isRadio(c.streamURI))
        return envelope(u"GetPositionInfo"_s, transportService, captures::body(u"radio-positioninfo.xml"_s));
    if (!c.streamURI.isEmpty()) {
        // A plain stream (a news bulletin): no metadata, no times.
        return envelope(u"GetPositionInfo"_s, transportService,
                        u"<Track>1</Track><TrackDuration>0:00:00</TrackDuration><TrackMetaData>NOT_IMPLEMENTED</TrackMetaData><TrackURI>"_s + escape(c.streamURI)
                            + u"</TrackURI><RelTime>NOT_IMPLEMENTED</RelTime><AbsTime>NOT_IMPLEMENTED</AbsTime>"_s);
    }
    if (c.queue.isEmpty()) {
        return envelope(u"GetPositionInfo"_s, transportService,
                        u"<Track>0</Track><TrackDuration></TrackDuration><TrackMetaData></TrackMetaData><TrackURI></TrackURI><RelTime>0:00:00</RelTime>"
                        "<AbsTime>NOT_IMPLEMENTED</AbsTime><RelCount>2147483647</RelCount><AbsCount>2147483647</AbsCount>"_s);
    }
    const int index = c.track % int(c.queue.size());
    const Track &t = c.queue[index];
    QString body = captures::body(u"positioninfo-spotify-jishi.xml"_s);
    body = captures::withElement(body, u"Track"_s, QString::number(index + 1));
    body = captures::withElement(body, u"TrackDuration"_s, clock(t.duration));
    body = captures::withElement(body, u"TrackMetaData"_s, t.metadata.isEmpty() ? didl(t) : t.metadata);
    body = captures::withElement(body, u"TrackURI"_s, escape(t.uri));
    return envelope(u"GetPositionInfo"_s, transportService, captures::withElement(body, u"RelTime"_s, clock(positionOf(c))));
}

Response FakeSpeakers::transport(Speaker &speaker, const QString &action, const QString &body)
{
    Speaker &c = coordinatorOf(speaker);
    if (action == u"GetTransportInfo"_s) {
        const QString info = captures::body(u"transportinfo.xml"_s);
        return envelope(action, transportService, captures::withElement(info, u"CurrentTransportState"_s, reportedState(c)));
    }
    if (action == u"GetCurrentTransportActions"_s)
        return envelope(action, transportService, u"<Actions>"_s + transportActions(speaker) + u"</Actions>"_s);
    if (action == u"GetTransportSettings"_s)
        return envelope(action, transportService, captures::withElement(captures::body(u"transportsettings.xml"_s), u"PlayMode"_s, c.playMode));
    if (action == u"GetMediaInfo"_s)
        return mediaInfo(speaker);
    if (action == u"GetPositionInfo"_s)
        return positionInfo(c);
    if (action == u"SetAVTransportURI"_s || action == u"BecomeCoordinatorOfStandaloneGroup"_s || action == u"DelegateGroupCoordinationTo"_s)
        return grouping(speaker, action, body);
    static const QStringList edits{u"AddMultipleURIsToQueue"_s, u"RemoveTrackRangeFromQueue"_s, u"RemoveAllTracksFromQueue"_s,
                                   u"RemoveTrackFromQueue"_s, u"ReorderTracksInQueue"_s};
    if (edits.contains(action)) {
        if (&c != &speaker)
            return fault(notCoordinator);
        return queue(c, action, body);
    }
    // Only the coordinator controls the group's playback.
    if (&c != &speaker)
        return fault(notCoordinator);

    if (action == u"Play"_s) {
        if (c.queue.isEmpty() && c.streamURI.isEmpty())
            return fault(transitionNotAvailable);
        setState(c, u"PLAYING"_s);
    } else if (action == u"Pause"_s) {
        setState(c, u"PAUSED_PLAYBACK"_s);
    } else if (action == u"Stop"_s) {
        setState(c, u"STOPPED"_s);
        c.position = 0;
    } else if (action == u"Next"_s || action == u"Previous"_s) {
        if (c.queue.isEmpty() || !c.streamURI.isEmpty())
            return fault(transitionNotAvailable);
        const int n = int(c.queue.size());
        c.track = (c.track + (action == u"Next"_s ? 1 : n - 1)) % n;
        c.position = 0;
        c.since = m_clock.elapsed();
    } else if (action == u"Seek"_s) {
        const QString unit = argument(body, u"Unit"_s);
        const QString target = argument(body, u"Target"_s);
        if (unit == u"REL_TIME"_s) {
            const auto at = parseClock(target);
            if (!at)
                return fault(illegalSeekTarget);
            c.position = *at;
        } else if (unit == u"TRACK_NR"_s) {
            const int nr = target.toInt();
            if (nr < 1 || nr > c.queue.size())
                return fault(illegalSeekTarget);
            c.track = nr - 1;
            c.position = 0;
        } else {
            return fault(seekModeNotSupported);
        }
        c.since = m_clock.elapsed();
    } else if (action == u"ConfigureSleepTimer"_s) {
        const QString duration = argument(body, u"NewSleepTimerDuration"_s);
        const auto after = parseClock(duration);
        if (!duration.isEmpty() && !after)
            return fault(invalidArgs);
        c.sleepUntil = after ? m_clock.elapsed() + *after : -1;
        ++c.sleepGeneration;
        if (after) // the pause reaches subscribers when it happens
            QTimer::singleShot(std::chrono::milliseconds(*after + 1), this, [this] { publish(); });
    } else if (action == u"GetRemainingSleepTimerDuration"_s) {
        const QString left = c.sleepUntil < 0 ? QString() : clock(c.sleepUntil - m_clock.elapsed());
        return envelope(action, transportService,
                        u"<RemainingSleepTimerDuration>%1</RemainingSleepTimerDuration><CurrentSleepTimerGeneration>%2</CurrentSleepTimerGeneration>"_s.arg(left).arg(
                            c.sleepGeneration));
    } else if (action == u"SetPlayMode"_s) {
        const QString mode = argument(body, u"NewPlayMode"_s);
        static const QStringList modes{u"NORMAL"_s, u"REPEAT_ALL"_s, u"REPEAT_ONE"_s, u"SHUFFLE"_s, u"SHUFFLE_NOREPEAT"_s, u"SHUFFLE_REPEAT_ONE"_s};
        // A stream has no queue to shuffle or repeat.
        if (!modes.contains(mode) || (!c.streamURI.isEmpty() && mode != u"NORMAL"_s))
            return fault(playModeNotSupported);
        c.playMode = mode;
    } else {
        return fault(invalidAction);
    }
    return envelope(action, transportService, {});
}

Response FakeSpeakers::grouping(Speaker &speaker, const QString &action, const QString &body)
{
    Speaker &c = coordinatorOf(speaker);
    const bool following = &c != &speaker;
    if (action == u"SetAVTransportURI"_s) {
        const QString uri = argument(body, u"CurrentURI"_s);
        if (uri.startsWith(u"x-rincon:"_s)) {
            Speaker *leader = byID(uri.mid(9));
            if (!leader || leader == &speaker || leader->invisible)
                return fault(notCoordinator);
            // Joining follows the leader's own coordinator; the stereo partner comes along.
            const QString target = coordinatorOf(*leader).id;
            for (Speaker &s : speakers) {
                if (s.follows == speaker.id && s.invisible)
                    s.follows = target;
            }
            // Whoever followed the joining speaker finds a coordinator of its own.
            for (Speaker &s : speakers) {
                if (s.follows == speaker.id && &s != &speaker)
                    s.follows = s.id;
            }
            speaker.follows = target;
        } else if (uri.startsWith(u"x-rincon-queue:"_s)) {
            if (following || uri.mid(15).section(u'#', 0, 0) != speaker.id)
                return fault(notCoordinator);
            speaker.streamURI.clear();
            speaker.position = 0;
            speaker.since = m_clock.elapsed();
        } else if (uri.isEmpty()) {
            return fault(invalidArgs);
        } else {
            if (following)
                return fault(notCoordinator);
            c.streamURI = uri;
            c.position = 0;
            c.since = m_clock.elapsed();
        }
    } else if (action == u"BecomeCoordinatorOfStandaloneGroup"_s) {
        if (following) {
            const QString old = c.id;
            speaker.follows = speaker.id;
            for (Speaker &s : speakers) {
                if (s.invisible && s.room == speaker.room && s.follows == old)
                    s.follows = speaker.id;
            }
        }
    } else {
        Speaker *next = byID(argument(body, u"NewCoordinator"_s));
        if (!next || following || next == &speaker || next->follows != speaker.id || next->invisible)
            return fault(notCoordinator);
        next->state = speaker.state;
        next->position = positionOf(speaker);
        next->since = m_clock.elapsed();
        next->queue = speaker.queue;
        next->track = speaker.track;
        next->playMode = speaker.playMode;
        next->streamURI = speaker.streamURI;
        for (Speaker &s : speakers) {
            if (s.follows == speaker.id)
                s.follows = next->id;
        }
        // The old coordinator stays in the group (no rejoin asked for leaves it there).
    }
    return envelope(action, transportService, {});
}

} // namespace velotte::fake
