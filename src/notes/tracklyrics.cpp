#include "tracklyrics.h"

#include <algorithm>
#include <limits>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

QString TrackLyricsSource::label() const
{
    switch (m_kind) {
    case Kind::NetEase: return u"NetEase Cloud Music"_s;
    case Kind::Kugou: return u"KuGou Music"_s;
    case Kind::LRCLIB: break;
    }
    return u"LRCLIB"_s;
}

QUrl TrackLyricsSource::link() const
{
    switch (m_kind) {
    case Kind::NetEase: return QUrl(u"https://music.163.com/song?id="_s + QString::number(m_songID));
    case Kind::Kugou: return QUrl(u"https://www.kugou.com"_s);
    case Kind::LRCLIB: break;
    }
    return QUrl(u"https://lrclib.net"_s);
}

QString TrackLyricsSource::name() const
{
    switch (m_kind) {
    case Kind::NetEase: return u"netease"_s;
    case Kind::Kugou: return u"kugou"_s;
    case Kind::LRCLIB: break;
    }
    return u"lrclib"_s;
}

namespace {

bool isDigit(QChar c) { return c.unicode() >= u'0' && c.unicode() <= u'9'; }

QStringView trimBlanks(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (text[begin] == u' ' || text[begin] == u'\t'))
        ++begin;
    while (end > begin && (text[end - 1] == u' ' || text[end - 1] == u'\t'))
        --end;
    return text.sliced(begin, end - begin);
}

struct Tag {
    qsizetype length = 0; // 0: no tag here
    std::optional<qint64> millis; // none: a tag that is out of range
};

constexpr qint64 maxMillis = std::numeric_limits<qint64>::max();

// "[minutes:seconds(.fraction)]" at `at`, read digit by digit so the
// fraction is exact and huge numbers cannot overflow.
Tag tagAt(QStringView line, qsizetype at)
{
    qsizetype i = at + 1;
    const qsizetype n = line.size();
    qint64 minutes = 0;
    bool minutesOverflow = false;
    const qsizetype minutesStart = i;
    for (; i < n && isDigit(line[i]); ++i) {
        const int d = line[i].unicode() - u'0';
        if (minutes > (maxMillis - d) / 10)
            minutesOverflow = true;
        else
            minutes = minutes * 10 + d;
    }
    if (i == minutesStart || i >= n || line[i] != u':')
        return {};
    ++i;
    qint64 seconds = 0;
    const qsizetype secondsStart = i;
    for (; i < n && isDigit(line[i]); ++i)
        seconds = std::min<qint64>(seconds * 10 + (line[i].unicode() - u'0'), 60);
    if (i == secondsStart || i >= n)
        return {};
    qint64 fraction = 0; // milliseconds, truncated
    if (line[i] == u'.') {
        const qsizetype fractionStart = ++i;
        for (; i < n && isDigit(line[i]); ++i) {
            if (i - fractionStart < 3)
                fraction = fraction * 10 + (line[i].unicode() - u'0');
        }
        if (i == fractionStart || i >= n)
            return {};
        for (qsizetype k = i - fractionStart; k < 3; ++k)
            fraction *= 10;
    }
    if (line[i] != u']')
        return {};
    Tag tag{i + 1 - at, std::nullopt};
    if (seconds >= 60 || minutesOverflow || minutes > (maxMillis - 59999) / 60000)
        return tag;
    tag.millis = minutes * 60000 + seconds * 1000 + fraction;
    return tag;
}

// "<mm:ss.xx>" at `at`: a word timing of enhanced LRC; its length, or 0.
qsizetype wordTimeAt(QStringView line, qsizetype at)
{
    qsizetype i = at + 1;
    const qsizetype n = line.size();
    auto digits = [&](qsizetype most) {
        const qsizetype start = i;
        while (i < n && i - start < most && isDigit(line[i]))
            ++i;
        return i - start;
    };
    if (!digits(3) || i >= n || line[i] != u':')
        return 0;
    ++i;
    if (digits(2) != 2 || i >= n)
        return 0;
    if (line[i] == u'.' || line[i] == u':') {
        ++i;
        if (!digits(3) || i >= n)
            return 0;
    }
    return line[i] == u'>' ? i + 1 - at : 0;
}

// The words of a line without the word timings between them; where a timing
// stood between two blanks, one blank stays.
QString withoutWordTimes(QStringView words)
{
    if (!words.contains(u'<'))
        return words.toString();
    QString out;
    out.reserve(words.size());
    for (qsizetype i = 0; i < words.size();) {
        const qsizetype length = words[i] == u'<' ? wordTimeAt(words, i) : 0;
        if (!length) {
            out += words[i++];
            continue;
        }
        i += length;
        const bool blankBefore = out.isEmpty() || out.back() == u' ' || out.back() == u'\t';
        if (blankBefore && i < words.size() && (words[i] == u' ' || words[i] == u'\t'))
            ++i;
    }
    return trimBlanks(out).toString();
}

} // namespace

QList<TrackLine> timed(QStringView text)
{
    QList<TrackLine> lines;
    QList<qint64> times;
    QString rest;
    for (QStringView line : text.tokenize(u'\n')) {
        if (line.endsWith(u'\r'))
            line.chop(1);
        times.clear();
        rest.clear();
        qsizetype copied = 0;
        for (qsizetype at = line.indexOf(u'['); at >= 0 && at < line.size(); at = line.indexOf(u'[', at)) {
            const Tag tag = tagAt(line, at);
            if (!tag.length) {
                ++at;
                continue;
            }
            if (tag.millis)
                times.append(*tag.millis);
            rest += line.sliced(copied, at - copied);
            at += tag.length;
            copied = at;
        }
        if (copied == 0 || times.isEmpty())
            continue;
        rest += line.sliced(copied);
        const QString shared = withoutWordTimes(trimBlanks(rest));
        if (shared.isEmpty())
            continue;
        for (qint64 time : std::as_const(times))
            lines.append(TrackLine{time, shared});
    }
    std::stable_sort(lines.begin(), lines.end(), [](const TrackLine &a, const TrackLine &b) { return *a.time < *b.time; });
    return lines;
}

QList<TrackLine> untimed(QStringView text)
{
    QList<TrackLine> lines;
    for (QStringView piece : text.tokenize(u'\n', Qt::SkipEmptyParts)) {
        if (piece.endsWith(u'\r'))
            piece.chop(1);
        lines.append(TrackLine{std::nullopt, trimBlanks(piece).toString()});
    }
    return lines;
}

} // namespace velotte
