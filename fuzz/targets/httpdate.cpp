// Retry-After values and HTTP dates.
#include "fuzz/target.h"
#include "cloud/httpdate.h"
#include "cloud/sonosclient.h"

VELOTTE_FUZZ_TARGET(httpdate)
{
    using namespace velotte;
    HttpDate::parse(fuzz::text(data));
    SonosClient::retryDelay(data, QDateTime(QDate(2026, 11, 22), QTime(8, 0), Qt::UTC));
}
