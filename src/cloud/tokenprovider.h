#pragma once

#include <QCoroTask>
#include <QString>

namespace velotte {

// What the cloud client needs of the sign-in: a usable access token, and a
// fresh one after the server refused the current one. Both throw SonosError.
class TokenProvider {
public:
    virtual ~TokenProvider() = default;
    virtual QCoro::Task<QString> validToken() = 0;
    virtual QCoro::Task<QString> forceRefresh() = 0;
};

} // namespace velotte
