#pragma once

#include <QString>

namespace velotte {

// What a speaker allows for what it plays now, read from its actions list
// ("Set, Stop, Pause, Play, X_DLNA_SeekTime, Next, X_DLNA_SeekTrackNr").
// Speakers name seeking "X_DLNA_SeekTime" (older ones "Seek"); a live stream
// offers "Set, Stop, Play"; order is not stable.
struct TransportActions {
    bool canSeek = false;
    bool canSkip = false;
    bool canSkipBack = false;
    bool canPause = false;
    bool canStop = false;

    static TransportActions parse(const QString &list);
    // The verb that pauses: Stop where the speaker offers Stop and no Pause.
    QString pauseVerb() const;
};

} // namespace velotte
