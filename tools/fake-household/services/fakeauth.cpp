#include "fakeauth.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace velotte::fake {

std::optional<Response> FakeSignIn::handle(const Request &request)
{
    const QString path = request.path();
    if (request.method == "GET" && path == QLatin1String("/login/v3/oauth")) {
        const QUrlQuery query(request.url);
        const QString redirect = query.queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded);
        if (query.queryItemValue(QStringLiteral("client_id")) != clientID || redirect.isEmpty())
            return Response::text("<html><body>Unknown client</body></html>", "text/html", 400);
        QUrl back(redirect);
        QUrlQuery answer(back);
        if (denyAuthorization) {
            answer.addQueryItem(QStringLiteral("error"), QStringLiteral("access_denied"));
        } else {
            const QString code = QStringLiteral("code-%1").arg(++m_serial);
            m_codes.insert(code);
            answer.addQueryItem(QStringLiteral("code"), code);
        }
        answer.addQueryItem(QStringLiteral("state"), query.queryItemValue(QStringLiteral("state"), QUrl::FullyDecoded));
        back.setQuery(answer);
        Response r = Response::text("<html><body>Signed in.</body></html>", "text/html", 302);
        r.header("Location", back.toEncoded());
        return r;
    }
    if (request.method == "POST" && path == QLatin1String("/login/v3/oauth/access"))
        return token(request);
    return std::nullopt;
}

Response FakeSignIn::token(const Request &request)
{
    ++tokenRequests;
    if (stall) {
        Response r;
        r.noAnswer = true;
        return r;
    }
    if (refuseStatus)
        return Response::json(R"({"error":"server_error"})", refuseStatus);
    const QByteArray expected = "Basic " + (clientID + QLatin1Char(':') + clientSecret).toUtf8().toBase64();
    if (request.header("Authorization") != expected)
        return Response::json(R"({"error":"invalid_client"})", 401);
    if (!request.header("Content-Type").startsWith("application/x-www-form-urlencoded"))
        return Response::json(R"({"error":"invalid_request"})", 400);
    const QUrlQuery form(QString::fromUtf8(request.body));
    const QString grant = form.queryItemValue(QStringLiteral("grant_type"));
    if (grant == QLatin1String("authorization_code")) {
        if (!m_codes.remove(form.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded)))
            return Response::json(R"({"error":"invalid_grant"})", 400);
    } else if (grant == QLatin1String("refresh_token")) {
        if (!m_refreshTokens.contains(form.queryItemValue(QStringLiteral("refresh_token"), QUrl::FullyDecoded)))
            return Response::json(R"({"error":"invalid_grant"})", 400);
    } else {
        return Response::json(R"({"error":"unsupported_grant_type"})", 400);
    }
    const QString access = QStringLiteral("access-%1").arg(++m_serial);
    const QString refresh = QStringLiteral("refresh-%1").arg(m_serial);
    QJsonObject body{{QStringLiteral("access_token"), access}, {QStringLiteral("token_type"), QStringLiteral("Bearer")},
                     {QStringLiteral("expires_in"), lifetime}, {QStringLiteral("scope"), QStringLiteral("playback-control-all")}};
    if (!omitRefreshToken) {
        body.insert(QStringLiteral("refresh_token"), refresh);
        m_refreshTokens.insert(refresh);
    }
    if (issued)
        issued(access);
    return Response::json(QJsonDocument(body).toJson(QJsonDocument::Compact));
}

} // namespace velotte::fake
