// Reply bodies of LRCLIB, NetEase, Kugou and the iTunes catalog.
#include "fuzz/target.h"
#include "core/failure.h"
#include "notes/lyricrecords.h"
#include "session/applemusiccatalog.h"

VELOTTE_FUZZ_TARGET(notes_records)
{
    using namespace velotte;
    fuzz::each<DecodeError>(data, decodeLyricHits, NetEaseSearch::decode, NetEaseLyric::decode, KugouSearch::decode, KugouLyric::decode,
                            ItunesSearch::decode);
    ITunesCatalog::items(data);
}
