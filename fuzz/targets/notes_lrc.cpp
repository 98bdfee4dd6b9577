// LRC texts from the lyric services, and the title rules that query them.
#include "fuzz/target.h"
#include "notes/trackmatching.h"
#include "notes/tracklyrics.h"

VELOTTE_FUZZ_TARGET(notes_lrc)
{
    using namespace velotte;
    const QString text = fuzz::text(data);
    timed(text);
    untimed(text);
    const QString line = text.left(400);
    TrackMatching::normalized(line);
    TrackMatching::titleQueries(line);
    TrackMatching::lyricQueries(line, line.left(40));
    TrackMatching::sameTitle(line, line.toUpper());
}
