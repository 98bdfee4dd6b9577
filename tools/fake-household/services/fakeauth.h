#pragma once

#include "kit/fakehttpserver.h"

#include <QSet>
#include <QStringList>

#include <functional>
#include <optional>

namespace velotte::fake {

// The sign-in service: an authorization page that sends the browser back
// with a code, and a token endpoint that checks the client's credentials.
// handle() answers its own routes and none for any other, so the service
// can share a port with the fake cloud or run on its own.
class FakeSignIn {
public:
    QString clientID = QStringLiteral("fake-client-id");
    QString clientSecret = QStringLiteral("fake-client-secret");
    qint64 lifetime = 86399;
    bool omitRefreshToken = false;
    int refuseStatus = 0;   // answer the token endpoint with this status
    bool stall = false;     // never answer the token endpoint
    bool malformed = false; // a 200 whose body is not the token JSON
    bool denyAuthorization = false; // redirect with error=access_denied
    bool showPage = false;  // a page with an "Allow" link instead of the immediate redirect
    int tokenRequests = 0;
    std::function<void(const QString &token)> issued; // the cloud learns the tokens it must accept

    std::optional<Response> handle(const Request &request);

private:
    Response token(const Request &request);
    Response redirect(const Request &request);
    int m_serial = 0;
    QSet<QString> m_codes;
    QSet<QString> m_refreshTokens;
};

} // namespace velotte::fake
