// Every reply body of the cloud and the token response.
#include "fuzz/target.h"
#include "cloud/records.h"
#include "cloud/sonosclient.h"
#include "cloud/storedtoken.h"

VELOTTE_FUZZ_TARGET(cloudjson)
{
    using namespace velotte;
    fuzz::each<DecodeError>(data, Decode::households, Decode::groups, Decode::favorites, Decode::playlists, Decode::playbackStatus,
                            Decode::playbackMetadata, Decode::volume, Decode::token, Decode::groupMove, Decode::favoriteArray);
    SonosClient::relocated(404, data);
    SonosClient::relocated(410, data);
    StoredToken::decode(data);
}
