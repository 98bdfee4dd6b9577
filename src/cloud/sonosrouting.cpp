#include "sonosrouting.h"

namespace velotte::SonosRouting {

QString encode(const QString &id)
{
    static const char hex[] = "0123456789ABCDEF";
    const QByteArray utf8 = id.toUtf8();
    QString out;
    out.reserve(utf8.size() * 3);
    for (const char c : utf8) {
        const auto b = static_cast<unsigned char>(c);
        if ((b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || (b >= '0' && b <= '9') || b == '-' || b == '.' || b == '_' || b == '~') {
            out.append(QLatin1Char(c));
        } else {
            out.append(QLatin1Char('%'));
            out.append(QLatin1Char(hex[b >> 4]));
            out.append(QLatin1Char(hex[b & 0xF]));
        }
    }
    return out;
}

QString household(const QString &id, const QString &suffix) { return QStringLiteral("households/") + encode(id) + QLatin1Char('/') + suffix; }
QString group(const QString &id, const QString &suffix) { return QStringLiteral("groups/") + encode(id) + QLatin1Char('/') + suffix; }
QString player(const QString &id, const QString &suffix) { return QStringLiteral("players/") + encode(id) + QLatin1Char('/') + suffix; }

} // namespace velotte::SonosRouting
