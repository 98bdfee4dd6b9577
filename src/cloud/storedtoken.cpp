#include "storedtoken.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace velotte {

namespace {
const QDateTime referenceDate(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
}

QByteArray StoredToken::encode() const
{
    return QJsonDocument(QJsonObject{{QStringLiteral("access"), access},
                                     {QStringLiteral("refresh"), refresh},
                                     {QStringLiteral("expiry"), referenceDate.msecsTo(expiry) / 1000.0}})
        .toJson(QJsonDocument::Compact);
}

std::optional<StoredToken> StoredToken::decode(const QByteArray &json)
{
    const QJsonObject o = QJsonDocument::fromJson(json).object();
    const QJsonValue access = o.value(QStringLiteral("access"));
    const QJsonValue refresh = o.value(QStringLiteral("refresh"));
    const QJsonValue expiry = o.value(QStringLiteral("expiry"));
    if (!access.isString() || !refresh.isString() || !expiry.isDouble())
        return std::nullopt;
    return StoredToken{access.toString(), refresh.toString(), referenceDate.addMSecs(qint64(expiry.toDouble() * 1000))};
}

} // namespace velotte
