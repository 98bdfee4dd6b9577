#pragma once

#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>

#include <optional>

namespace velotte {

// One lyric line; untimed lines come from plain text.
struct TrackLine {
    Q_GADGET
    Q_PROPERTY(qint64 time READ timeOrMinus)
    Q_PROPERTY(bool timed READ isTimed)
    Q_PROPERTY(QString text MEMBER text)
public:
    std::optional<qint64> time; // milliseconds from the start
    QString text;

    qint64 timeOrMinus() const { return time.value_or(-1); }
    bool isTimed() const { return time.has_value(); }
    bool operator==(const TrackLine &) const = default;
};

// Where the shown lyrics came from, for the credit under them.
class TrackLyricsSource {
    Q_GADGET
public:
    enum class Kind { NetEase, Kugou, LRCLIB };

    static TrackLyricsSource netEase(qint64 songID) { return TrackLyricsSource(Kind::NetEase, songID); }
    static TrackLyricsSource kugou() { return TrackLyricsSource(Kind::Kugou, 0); }
    static TrackLyricsSource lrclib() { return TrackLyricsSource(Kind::LRCLIB, 0); }

    Kind kind() const { return m_kind; }
    qint64 songID() const { return m_songID; }
    // "NetEase Cloud Music", "KuGou Music" or "LRCLIB".
    QString label() const;
    // The public page the credit links to.
    QUrl link() const;
    // "netease", "kugou" or "lrclib", for scripts.
    QString name() const;

    bool operator==(const TrackLyricsSource &other) const
    {
        return m_kind == other.m_kind && (m_kind != Kind::NetEase || m_songID == other.m_songID);
    }

private:
    TrackLyricsSource(Kind kind, qint64 songID) : m_kind(kind), m_songID(songID) {}
    Kind m_kind;
    qint64 m_songID;
};

struct LyricsResult {
    QList<TrackLine> lines;
    TrackLyricsSource source = TrackLyricsSource::lrclib();
    bool operator==(const LyricsResult &) const = default;
};

// LRC text to timed lines, ordered by time. Several tags on a line give one
// line each; tags without text and metadata tags give none. Word timings of
// enhanced LRC ("<00:33.58>") are dropped, so a line of nothing else is none.
QList<TrackLine> timed(QStringView text);
// Plain text to untimed lines.
QList<TrackLine> untimed(QStringView text);

} // namespace velotte

Q_DECLARE_METATYPE(velotte::TrackLine)
