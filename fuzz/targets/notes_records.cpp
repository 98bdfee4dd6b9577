// Reply bodies of LRCLIB, NetEase, Kugou and the iTunes catalog.
#include "fuzz/target.h"
#include "core/failure.h"
#include "notes/lyricrecords.h"
#include "session/applemusiccatalog.h"

VELOTTE_FUZZ_TARGET(notes_records)
{
    using namespace velotte;
    auto attempt = [&](auto decode) {
        try {
            decode(data);
        } catch (const DecodeError &) {
        }
    };
    attempt(decodeLyricHits);
    attempt(NetEaseSearch::decode);
    attempt(NetEaseLyric::decode);
    attempt(KugouSearch::decode);
    attempt(KugouLyric::decode);
    attempt(ItunesSearch::decode);
    ITunesCatalog::items(data);
}
