// lyrics of the song that plays, once or following the room.
#include "context.h"
#include "interrupt.h"

#include "core/clock.h"
#include "core/networktransport.h"
#include "core/settings.h"
#include "notes/nowplayingfollower.h"
#include "notes/tracknotes.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTimer>

namespace velotte::cli {

namespace {

using namespace Qt::Literals::StringLiterals;

// "[01:02.50]", as LRC writes it; blanks for an untimed line.
QString stamp(const TrackLine &line)
{
    if (!line.time)
        return QString(10, u' ');
    const qint64 t = *line.time;
    return u"[%1:%2.%3]"_s.arg(t / 60000, 2, 10, QLatin1Char('0')).arg(t / 1000 % 60, 2, 10, QLatin1Char('0')).arg(t % 1000 / 10, 2, 10, QLatin1Char('0'));
}

QJsonObject lyricsJson(const HouseSession &s, const TrackNotes &notes)
{
    QJsonArray lines;
    for (const TrackLine &line : notes.lines())
        lines.append(QJsonObject{{u"time"_s, line.time ? QJsonValue(*line.time) : QJsonValue(QJsonValue::Null)}, {u"text"_s, line.text}});
    const auto source = notes.lyricsSource();
    return QJsonObject{{u"title"_s, s.playback()->title()},
                       {u"artist"_s, s.playback()->artist()},
                       {u"state"_s, TrackNotes::stateName(notes.lyricsState())},
                       {u"source"_s, source ? QJsonValue(source->label()) : QJsonValue(QJsonValue::Null)},
                       {u"lines"_s, lines}};
}

void printLyrics(Context &c, const TrackNotes &notes)
{
    QTextStream &out = c.out();
    out << notes.lyricTitle();
    if (!notes.lyricArtists().isEmpty())
        out << " — " << notes.lyricArtists().join(u", "_s);
    out << Qt::endl;
    if (notes.lines().isEmpty()) {
        out << TrackNotes::noLyricsText() << Qt::endl;
        return;
    }
    for (const TrackLine &line : notes.lines())
        out << stamp(line) << ' ' << line.text << Qt::endl;
    if (const auto source = notes.lyricsSource())
        out << "Lyrics from " << source->label() << " <" << source->link().toString() << '>' << Qt::endl;
}

bool settledState(TrackNotes::TrackLyricsState state) { return state != TrackNotes::loading; }

QCoro::Task<int> follow(Context &c, TrackNotes &notes, std::optional<int> seconds)
{
    HouseSession &s = c.session();
    Interrupt interrupt;
    QObject guard;
    int marked = -1;
    bool shown = false;
    auto show = [&] {
        if (!settledState(notes.lyricsState()) || shown)
            return;
        shown = true;
        marked = -1;
        if (notes.lyricsState() == TrackNotes::idle) {
            c.out() << "Nothing is playing." << Qt::endl;
            return;
        }
        if (c.options().json)
            c.printJson(lyricsJson(s, notes));
        else
            printLyrics(c, notes);
    };
    auto mark = [&] {
        if (!shown || c.options().json)
            return;
        const int now = notes.lineAt(s.playback()->positionMillis());
        if (now == marked || now < 0) {
            marked = now;
            return;
        }
        marked = now;
        c.out() << "▶ " << stamp(notes.lines()[now]) << ' ' << notes.lines()[now].text << Qt::endl;
    };
    QObject::connect(&notes, &TrackNotes::lyricsStateChanged, &guard, [&] {
        if (notes.lyricsState() == TrackNotes::loading)
            shown = false;
        show();
        mark();
    });
    QObject::connect(s.playback(), &SessionPlayback::positionMillisChanged, &guard, mark);
    QObject::connect(&s, &HouseSession::noteChanged, &guard, [&] {
        if (!s.noteText().isEmpty())
            c.err() << s.noteText() << Qt::endl;
    });

    NowPlayingFollower follower(s.playback(), &notes);
    follower.follow();
    show();
    mark();
    s.setPollingEnabled(true);
    if (seconds) {
        Wakeup stop = interrupt.wakeup();
        QTimer::singleShot(*seconds * 1000, &guard, [stop] { stop.fire(); });
    }
    co_await interrupt.wakeup();
    s.setPollingEnabled(false);
    co_return ok;
}

QCoro::Task<int> lyrics(Context &c, QStringList args)
{
    bool following = false;
    std::optional<int> seconds;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == u"--follow"_s) {
            following = true;
        } else if (args[i] == u"--seconds"_s && i + 1 < args.size()) {
            bool isNumber = false;
            seconds = args[++i].toInt(&isNumber);
            if (!isNumber || *seconds < 0)
                co_return c.usageError(u"--seconds needs a number of seconds."_s);
        } else {
            co_return c.usageError(u"lyrics takes only --follow and --seconds N."_s);
        }
    }
    TrackNotes notes(NetworkTransport::shared(), Clock::system(), ServiceAddresses::load());
    if (following)
        co_return co_await follow(c, notes, seconds);

    HouseSession &s = c.session();
    co_await notes.load(s.playback()->title(), s.playback()->artist(), s.playback()->artworkURL(), s.playback()->durationMillis());
    if (c.options().json) {
        c.printJson(lyricsJson(s, notes));
    } else if (notes.lyricsState() == TrackNotes::idle) {
        c.out() << "Nothing is playing in " << s.activeGroupName() << '.' << Qt::endl;
    } else {
        printLyrics(c, notes);
    }
    co_return notes.lyricsState() == TrackNotes::failed ? failed : ok;
}

const Registration registration({
    {u"lyrics"_s, u"[--follow [--seconds N]]"_s, u"the lyrics of the song that plays"_s,
     u"Prints the lyrics of the song that plays in the room, with their times and where they come from.\n"
     "--follow keeps following the room and marks each line as the song reaches it; --seconds N stops after N seconds.\n"
     "--json prints {\"title\", \"artist\", \"state\", \"source\", \"lines\": [{\"time\", \"text\"}]}, times in milliseconds."_s,
     true, lyrics},
});

} // namespace

} // namespace velotte::cli
