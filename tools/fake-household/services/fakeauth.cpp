#include "fakeauth.h"

#include "kit/registry.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <memory>

namespace velotte::fake {

std::optional<Response> FakeSignIn::handle(const Request &request)
{
    const QString path = request.path();
    if (request.method == "GET" && path == QLatin1String("/login/v3/oauth")) {
        if (!showPage)
            return redirect(request);
        // What a person would see: one link that grants access.
        const QByteArray allow = (QStringLiteral("/login/v3/oauth/allow?") + request.url.query(QUrl::FullyEncoded)).toHtmlEscaped().toUtf8();
        return Response::text("<!DOCTYPE html><html><head><title>Sonos sign-in</title></head><body>"
                              "<h1>Allow Velotte to control your speakers?</h1><a id=\"allow\" href=\"" + allow + "\">Allow</a>"
                              "</body></html>",
                              "text/html; charset=utf-8");
    }
    if (request.method == "GET" && path == QLatin1String("/login/v3/oauth/allow"))
        return redirect(request);
    if (request.method == "POST" && path == QLatin1String("/login/v3/oauth/access"))
        return token(request);
    return std::nullopt;
}

Response FakeSignIn::redirect(const Request &request)
{
    const QUrlQuery query(request.url);
    const QString target = query.queryItemValue(QStringLiteral("redirect_uri"), QUrl::FullyDecoded);
    if (query.queryItemValue(QStringLiteral("client_id"), QUrl::FullyDecoded) != clientID || target.isEmpty()
        || query.queryItemValue(QStringLiteral("response_type")) != QLatin1String("code"))
        return Response::text("<html><body>Unknown client</body></html>", "text/html", 400);
    QUrl back(target);
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
    if (malformed)
        return Response::text("<html><body>Service Unavailable</body></html>", "text/html");
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

namespace {
// On its own port, for trying the sign-in without the rest of the household.
const Registration registration({
    "auth",
    [](QCommandLineParser &parser) {
        parser.addOption(QCommandLineOption(QStringLiteral("auth-port"), QStringLiteral("Port of the fake sign-in service (default: any free port)."),
                                            QStringLiteral("port"), QStringLiteral("0")));
        parser.addOption(QCommandLineOption(QStringLiteral("auth-lifetime"), QStringLiteral("Seconds an issued access token holds (default 86399)."),
                                            QStringLiteral("seconds"), QStringLiteral("86399")));
        parser.addOption(QCommandLineOption(QStringLiteral("auth-page"), QStringLiteral("Show an Allow page before sending the browser back.")));
    },
    [](const QCommandLineParser &parser, QObject *parent) -> QStringList {
        auto signIn = std::make_shared<FakeSignIn>();
        signIn->lifetime = parser.value(QStringLiteral("auth-lifetime")).toLongLong();
        signIn->showPage = parser.isSet(QStringLiteral("auth-page"));
        auto *server = new HttpServer(
            [signIn](const Request &request) { return signIn->handle(request).value_or(Response::json(R"({"error":"not_found"})", 404)); }, parent);
        if (!server->listen(QHostAddress::LocalHost, quint16(parser.value(QStringLiteral("auth-port")).toUInt())))
            return {QStringLiteral("error: cannot listen on the sign-in port")};
        const QString base = server->baseUrl().toString();
        return {QStringLiteral("sign-in at %1/login/v3/oauth").arg(base),
                QStringLiteral("SonosSecrets.plist: ClientID %1, ClientSecret %2, AuthorizeURL %3/login/v3/oauth, TokenURL %3/login/v3/oauth/access")
                    .arg(signIn->clientID, signIn->clientSecret, base)};
    },
});
} // namespace

} // namespace velotte::fake
