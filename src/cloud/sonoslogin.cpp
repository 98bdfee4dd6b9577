#include "sonoslogin.h"

#include "sonoserror.h"

#include <QUrlQuery>

namespace velotte::SonosLogin {

bool isRedirect(const QUrl &url, const QString &prefix)
{
    if (prefix.isEmpty() || !url.toString().startsWith(prefix))
        return false;
    const QUrlQuery query(url);
    return query.hasQueryItem(QStringLiteral("code")) || query.hasQueryItem(QStringLiteral("error"));
}

QUrl callbackResult(const QUrl &url)
{
    if (QUrlQuery(url).hasQueryItem(QStringLiteral("error")))
        throw SonosError::authorization();
    return url;
}

std::optional<QString> authorizationCode(const QUrl &url, const QString &expectedState)
{
    const QUrlQuery query(url);
    if (!query.hasQueryItem(QStringLiteral("state")) || query.queryItemValue(QStringLiteral("state"), QUrl::FullyDecoded) != expectedState)
        return std::nullopt;
    const QString code = query.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded);
    if (code.isEmpty())
        return std::nullopt;
    return code;
}

} // namespace velotte::SonosLogin
