// Every reply body of the cloud and the token response.
#include "fuzz/target.h"
#include "cloud/records.h"
#include "cloud/sonosclient.h"
#include "cloud/storedtoken.h"

VELOTTE_FUZZ_TARGET(cloudjson)
{
    using namespace velotte;
    auto attempt = [&](auto decode) {
        try {
            decode(data);
        } catch (const DecodeError &) {
        }
    };
    attempt(Decode::households);
    attempt(Decode::groups);
    attempt(Decode::favorites);
    attempt(Decode::playlists);
    attempt(Decode::playbackStatus);
    attempt(Decode::playbackMetadata);
    attempt(Decode::volume);
    attempt(Decode::token);
    attempt(Decode::groupMove);
    attempt(Decode::favoriteArray);
    SonosClient::relocated(404, data);
    SonosClient::relocated(410, data);
    StoredToken::decode(data);
}
