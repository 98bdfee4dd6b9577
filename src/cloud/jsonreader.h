#pragma once

#include "core/failure.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QVariant>

#include <cmath>
#include <optional>

namespace velotte {

// Reading one JSON object by the decoders' common rules: required keys must
// be present with the right type; optional keys may be absent or null; a
// present optional key of the wrong type fails like the platform decoder.
class Reader {
public:
    Reader(const QJsonValue &value, const char *type) : m_type(type)
    {
        if (!value.isObject())
            fail(QStringLiteral("expected an object"));
        m_object = value.toObject();
    }

    [[noreturn]] void fail(const QString &why) const
    {
        throw DecodeError(QLatin1String(m_type) + QStringLiteral(": ") + why);
    }

    QJsonValue required(const char *key) const
    {
        const QJsonValue v = m_object.value(QLatin1String(key));
        if (v.isUndefined() || v.isNull())
            fail(QStringLiteral("missing \"%1\"").arg(QLatin1String(key)));
        return v;
    }
    QJsonValue optional(const char *key) const
    {
        const QJsonValue v = m_object.value(QLatin1String(key));
        return v.isNull() ? QJsonValue(QJsonValue::Undefined) : v;
    }

    QString string(const char *key) const { return asString(required(key), key); }
    std::optional<QString> optString(const char *key) const
    {
        const QJsonValue v = optional(key);
        if (v.isUndefined())
            return std::nullopt;
        return asString(v, key);
    }
    std::optional<bool> optBool(const char *key) const
    {
        const QJsonValue v = optional(key);
        if (v.isUndefined())
            return std::nullopt;
        if (!v.isBool())
            fail(QStringLiteral("\"%1\" is not a boolean").arg(QLatin1String(key)));
        return v.toBool();
    }
    qint64 integer(const char *key) const
    {
        const auto value = asInteger(required(key));
        if (!value)
            fail(QStringLiteral("\"%1\" is not an integer").arg(QLatin1String(key)));
        return *value;
    }
    std::optional<qint64> optInteger(const char *key) const
    {
        const QJsonValue v = optional(key);
        if (v.isUndefined())
            return std::nullopt;
        const auto value = asInteger(v);
        if (!value)
            fail(QStringLiteral("\"%1\" is not an integer").arg(QLatin1String(key)));
        return value;
    }
    QJsonArray array(const char *key) const
    {
        const QJsonValue v = required(key);
        if (!v.isArray())
            fail(QStringLiteral("\"%1\" is not an array").arg(QLatin1String(key)));
        return v.toArray();
    }
    std::optional<QJsonArray> optArray(const char *key) const
    {
        const QJsonValue v = optional(key);
        if (v.isUndefined())
            return std::nullopt;
        if (!v.isArray())
            fail(QStringLiteral("\"%1\" is not an array").arg(QLatin1String(key)));
        return v.toArray();
    }

    // An integral JSON number in the 64-bit range; Qt keeps large integers exact.
    static std::optional<qint64> asInteger(const QJsonValue &v)
    {
        if (!v.isDouble())
            return std::nullopt;
        const QVariant variant = v.toVariant();
        if (variant.typeId() == QMetaType::LongLong)
            return variant.toLongLong();
        const double d = v.toDouble();
        if (!std::isfinite(d) || d != std::trunc(d) || d < -9.2233720368547758e18 || d >= 9.2233720368547758e18)
            return std::nullopt;
        return qint64(d);
    }

    const QJsonObject &object() const { return m_object; }

private:
    QString asString(const QJsonValue &v, const char *key) const
    {
        if (!v.isString())
            fail(QStringLiteral("\"%1\" is not a string").arg(QLatin1String(key)));
        return v.toString();
    }

    const char *m_type;
    QJsonObject m_object;
};

} // namespace velotte
