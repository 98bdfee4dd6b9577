#pragma once

#include "cloud/sonoserror.h"
#include "cloud/tokenprovider.h"

#include <QCoroTask>

namespace velotte::test {

// A token provider that counts what the client asks of it.
class CountingTokens final : public TokenProvider {
public:
    QString token = QStringLiteral("token-1");
    int refreshes = 0;
    bool failValid = false;

    QCoro::Task<QString> validToken() override
    {
        if (failValid)
            throw SonosError::authorization();
        co_return QString(token); // a copy: GCC 12 moves from members named in co_return
    }
    QCoro::Task<QString> forceRefresh() override
    {
        ++refreshes;
        token = QStringLiteral("token-%1").arg(refreshes + 1);
        co_return QString(token);
    }
};

// A signed-in client's tokens, with nothing to refresh.
class StaticTokens final : public TokenProvider {
public:
    QCoro::Task<QString> validToken() override { co_return QStringLiteral("token"); }
    QCoro::Task<QString> forceRefresh() override { co_return QStringLiteral("token"); }
};

} // namespace velotte::test
