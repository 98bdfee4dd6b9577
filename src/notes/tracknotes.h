#pragma once

#include "lyricproviders.h"
#include "tracklyrics.h"

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QUuid>

#include <optional>

namespace velotte {

// The now-playing details of one controller: artwork, album, catalog match
// and the lyrics with their state and credit. Told of every now-playing
// change, it loads each new track once and drops what arrives for an older one.
class TrackNotes : public QObject {
    Q_OBJECT
    Q_PROPERTY(QUrl cover READ cover NOTIFY coverChanged)
    Q_PROPERTY(QByteArray picture READ picture NOTIFY pictureChanged)
    Q_PROPERTY(QString album READ album NOTIFY albumChanged)
    Q_PROPERTY(QList<velotte::TrackLine> lines READ lines NOTIFY linesChanged)
    Q_PROPERTY(TrackLyricsState lyricsState READ lyricsState NOTIFY lyricsStateChanged)
    Q_PROPERTY(QString lyricsCredit READ lyricsCredit NOTIFY lyricsSourceChanged)
    Q_PROPERTY(QUrl lyricsLink READ lyricsLink NOTIFY lyricsSourceChanged)
    Q_PROPERTY(QString catalogSongID READ catalogSongIDText NOTIFY catalogSongIDChanged)
    Q_PROPERTY(QStringList lyricArtists READ lyricArtists NOTIFY lyricArtistsChanged)
    Q_PROPERTY(QString lyricTitle READ lyricTitle NOTIFY lyricTitleChanged)
    Q_PROPERTY(qint64 lyricDurationMillis READ lyricDurationMillis NOTIFY lyricDurationMillisChanged)

public:
    enum TrackLyricsState { idle, loading, available, unavailable, instrumental, failed, serviceBusy };
    Q_ENUM(TrackLyricsState)

    struct Catalog {
        QUrl cover;
        QString album;
        qint64 durationMillis = 0;
        qint64 trackID = 0;
    };

    static constexpr int cacheLimit = 20;

    TrackNotes(HttpTransport &network, Clock &clock, ServiceAddresses addresses, QObject *parent = nullptr);
    ~TrackNotes() override;

    // "Lyrics not available for this song."
    static QString noLyricsText();
    static QString stateName(TrackLyricsState state);

    // Called on every now-playing change; the same track again does nothing.
    QCoro::Task<void> load(QString title, QString artist, QUrl artwork, qint64 durationMillis);

    static QString lyricsKey(const QString &title, const QStringList &artists, qint64 durationMillis);
    void cacheLyrics(const QString &key, const LyricsResult &result);
    std::optional<LyricsResult> cachedLyrics(const QString &key) const;
    int cachedCount() const { return int(m_cachedLyrics.size()); }
    QCoro::Task<void> waitForLyricsService(CancelToken cancel = {});

    QCoro::Task<std::optional<Catalog>> loadMedia(QString title, QString artist, QUrl artwork, qint64 durationMillis, QUuid request,
                                                  CancelToken cancel);
    QCoro::Task<std::optional<QByteArray>> image(QUrl url, CancelToken cancel = {});
    QCoro::Task<std::optional<ItunesSong>> localizedSong(qint64 songID, qint64 durationMillis, QString script, CancelToken cancel = {});

    // The line sung at this position: the last timed line that has begun; -1 before the first.
    Q_INVOKABLE int lineAt(qint64 positionMillis) const;

    QUrl cover() const { return m_cover; }
    QByteArray picture() const { return m_picture; }
    QString album() const { return m_album; }
    QList<TrackLine> lines() const { return m_lines; }
    TrackLyricsState lyricsState() const { return m_lyricsState; }
    std::optional<TrackLyricsSource> lyricsSource() const { return m_lyricsSource; }
    QString lyricsCredit() const { return m_lyricsSource ? m_lyricsSource->label() : QString(); }
    QUrl lyricsLink() const { return m_lyricsSource ? m_lyricsSource->link() : QUrl(); }
    std::optional<QString> catalogSongID() const { return m_catalogSongID; }
    QString catalogSongIDText() const { return m_catalogSongID.value_or(QString()); }
    QStringList lyricArtists() const { return m_lyricArtists; }
    QString lyricTitle() const { return m_lyricTitle; }
    qint64 lyricDurationMillis() const { return m_lyricDurationMillis; }
    QString loaded() const { return m_loaded; }
    QUuid requestID() const { return m_requestID; }

    std::optional<QDateTime> lyricsRetryAfter() const { return m_providers.lyricsRetryAfter; }
    void setLyricsRetryAfter(std::optional<QDateTime> instant) { m_providers.lyricsRetryAfter = instant; }
    LyricProviders &providers() { return m_providers; }

Q_SIGNALS:
    void coverChanged();
    void pictureChanged();
    void albumChanged();
    void linesChanged();
    void lyricsStateChanged();
    void lyricsSourceChanged();
    void catalogSongIDChanged();
    void lyricArtistsChanged();
    void lyricTitleChanged();
    void lyricDurationMillisChanged();
    // A load (or its retry) has applied its last result.
    void settled();

private:
    struct Outcome {
        std::optional<LyricsResult> result;
        TrackLyricsState state = unavailable;
    };
    QCoro::Task<void> lyricHalf(QString title, QStringList artists, qint64 durationMillis, QUuid request, CancelToken cancel);
    QCoro::Task<Outcome> lyricChain(QString title, QStringList artists, qint64 durationMillis, CancelToken cancel);
    QCoro::Task<void> retryLater(QString title, QStringList artists, qint64 durationMillis, QUuid request, CancelToken cancel);
    QCoro::Task<std::optional<Catalog>> catalogMatch(QString title, QString artist, qint64 durationMillis, CancelToken cancel);
    void applyLyrics(const Outcome &outcome);

    // Sets a shown value and tells the views, only when it changes.
    template<typename T>
    void change(T &field, const T &value, void (TrackNotes::*changed)())
    {
        if (field == value)
            return;
        field = value;
        Q_EMIT(this->*changed)();
    }
    void setCover(const QUrl &value);
    void setPicture(const QByteArray &value);
    void setAlbum(const QString &value);
    void setLines(const QList<TrackLine> &value);
    void setLyricsState(TrackLyricsState value);
    void setLyricsSource(const std::optional<TrackLyricsSource> &value);
    void setCatalogSongID(const std::optional<QString> &value);
    void setLyricArtists(const QStringList &value);
    void setLyricTitle(const QString &value);
    void setLyricDurationMillis(qint64 value);

    LyricProviders m_providers;
    QUrl m_cover;
    QByteArray m_picture;
    QString m_album;
    QList<TrackLine> m_lines;
    TrackLyricsState m_lyricsState = idle;
    std::optional<TrackLyricsSource> m_lyricsSource;
    std::optional<QString> m_catalogSongID;
    QStringList m_lyricArtists;
    QString m_lyricTitle;
    qint64 m_lyricDurationMillis = 0;
    QString m_loaded;
    QUuid m_requestID;
    CancelToken m_cancel;
    QHash<QString, LyricsResult> m_cachedLyrics;
};

} // namespace velotte
