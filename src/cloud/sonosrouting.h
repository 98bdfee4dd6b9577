#pragma once

#include <QString>

namespace velotte::SonosRouting {

// Percent-encodes an identifier keeping only ASCII letters, digits and "-._~".
QString encode(const QString &id);

QString household(const QString &id, const QString &suffix);
QString group(const QString &id, const QString &suffix);
QString player(const QString &id, const QString &suffix);

} // namespace velotte::SonosRouting
