#pragma once

#include "core/failure.h"

#include <QByteArray>
#include <QHashFunctions>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>
#include <stdexcept>

namespace velotte {


struct SonosService {
    std::optional<QString> id;
    std::optional<QString> name;
    bool operator==(const SonosService &) const = default;
    static SonosService fromJson(const QJsonValue &value);
    QJsonObject toJson() const;
};

struct SonosImage {
    QString url;
    bool operator==(const SonosImage &) const = default;
};

struct SonosGroup {
    QString id;
    QString name;
    QString coordinatorId;
    std::optional<QString> playbackState;
    QStringList playerIds;
    bool operator==(const SonosGroup &) const = default;
    static SonosGroup fromJson(const QJsonValue &value);
};

struct SonosPlayer {
    QString id;
    QString name;
    std::optional<QString> websocketUrl;
    std::optional<QString> icon;
    bool operator==(const SonosPlayer &) const = default;
    static SonosPlayer fromJson(const QJsonValue &value);

    // The player's LAN host from its secure web-socket address; IPv6 literals
    // come back in brackets.
    std::optional<QString> localHost() const;
};

struct SonosFavorite {
    QString id;
    QString name;
    std::optional<QString> detail; // "description" on the wire
    std::optional<SonosService> service;
    std::optional<QList<SonosImage>> images;
    std::optional<QString> imageUrl;
    bool operator==(const SonosFavorite &) const = default;
    static SonosFavorite fromJson(const QJsonValue &value);
    QJsonObject toJson() const;

    std::optional<QUrl> artworkURL() const;
};

struct SonosPlaylist {
    QString id;
    QString name;
    std::optional<qint64> trackCount;
    bool operator==(const SonosPlaylist &) const = default;
    static SonosPlaylist fromJson(const QJsonValue &value);
    QJsonObject toJson() const;
};

struct PlaybackActions {
    std::optional<bool> canSkip;
    std::optional<bool> canSkipBack;
    std::optional<bool> canSeek;
    std::optional<bool> canPause;
    bool operator==(const PlaybackActions &) const = default;
};

struct PlayModeState {
    std::optional<bool> shuffle;
    std::optional<bool> repeats; // "repeat" on the wire
    std::optional<bool> repeatOne;
    bool operator==(const PlayModeState &) const = default;
    QJsonObject toJson() const; // only the modes that are given
};

struct PlaybackStatus {
    std::optional<QString> playbackState;
    std::optional<qint64> positionMillis;
    std::optional<PlaybackActions> availablePlaybackActions;
    std::optional<PlayModeState> playModes;
    // Buffering counts as playing.
    bool isPlaying() const;
};

struct VolumeState {
    std::optional<int> volume;
    std::optional<bool> muted;
    std::optional<bool> fixed;
};

// A name the API sends either as a bare string or as {"name": ...}.
struct FlexName {
    std::optional<QString> name;
    bool operator==(const FlexName &) const = default;
    static FlexName fromJson(const QJsonValue &value);
};

struct PlaybackTrack {
    std::optional<QString> name;
    std::optional<QString> imageUrl;
    std::optional<qint64> durationMillis;
    std::optional<FlexName> artist;
    std::optional<FlexName> album;
    std::optional<SonosService> service;
    std::optional<QList<SonosImage>> images;
    std::optional<QUrl> artworkURL() const;
};

struct PlaybackItem {
    std::optional<PlaybackTrack> track;
};

struct PlaybackMetadata {
    std::optional<PlaybackItem> currentItem;
};

struct Household {
    QString id;
    std::optional<QString> name;
    bool operator==(const Household &) const = default;
};

struct GroupsResponse {
    QList<SonosGroup> groups;
    QList<SonosPlayer> players;
};

struct TokenResponse {
    QString accessToken;
    std::optional<QString> refreshToken;
    qint64 expiresIn = 0;
};

// Error body of a 404/410 that may say the group moved.
struct GroupMove {
    std::optional<QString> errorCode;
    std::optional<QString> groupStatus;
    std::optional<QString> groupId;
};

// What kind of source a favorite plays, from its service name.
enum class RoomSourceKind { podcast, appleMusic, other };
RoomSourceKind roomSourceKind(const SonosFavorite &favorite);

// Decoders of whole reply bodies; each throws DecodeError.
namespace Decode {
QList<Household> households(const QByteArray &body);
GroupsResponse groups(const QByteArray &body);
QList<SonosFavorite> favorites(const QByteArray &body);
QList<SonosPlaylist> playlists(const QByteArray &body);
PlaybackStatus playbackStatus(const QByteArray &body);
PlaybackMetadata playbackMetadata(const QByteArray &body);
VolumeState volume(const QByteArray &body);
TokenResponse token(const QByteArray &body);
GroupMove groupMove(const QByteArray &body);
QList<SonosFavorite> favoriteArray(const QByteArray &body); // a bare JSON array of favorites
} // namespace Decode

QByteArray encodeFavorites(const QList<SonosFavorite> &favorites);

size_t qHash(const SonosService &v, size_t seed = 0);
size_t qHash(const SonosGroup &v, size_t seed = 0);
size_t qHash(const SonosPlayer &v, size_t seed = 0);
size_t qHash(const SonosFavorite &v, size_t seed = 0);
size_t qHash(const PlayModeState &v, size_t seed = 0);
size_t qHash(const PlaybackActions &v, size_t seed = 0);

} // namespace velotte
