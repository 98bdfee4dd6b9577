#pragma once

#include <QString>

namespace velotte {

// An Apple Music item as the catalog names it.
struct AppleMusicIdentity {
    QString key; // catalog id
    QString title;
    QString subtitle;
    QString kind; // "song", "album", "playlist" or "station"
    bool operator==(const AppleMusicIdentity &) const = default;
};

// What a direct queueing run does with the items.
enum class AppleMusicAction {
    replace,          // replace the queue and play
    replaceShuffled,  // the same, in a random order with shuffle on
    addAfterCurrent,  // right after the playing track
};

} // namespace velotte
