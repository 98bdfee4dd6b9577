#pragma once

namespace velotte {

struct SonosFavorite;

// The browse model as the session uses it when music starts.
class PlayHistory {
public:
    virtual ~PlayHistory() = default;
    virtual void recordPlayed(const SonosFavorite &favorite) = 0;
    // Stations play on their own; they are never queued or shuffled.
    virtual bool isStation(const SonosFavorite &favorite) const = 0;
};

} // namespace velotte
