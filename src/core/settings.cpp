#include "settings.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

namespace velotte {

namespace Paths {
QString configDir()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/velotte");
}
QString dataDir()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/velotte");
}
QString cacheDir()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + QStringLiteral("/velotte");
}
QString settingsFile() { return configDir() + QStringLiteral("/velotte.conf"); }
} // namespace Paths

SettingsStore::SettingsStore(const QString &file)
{
    QDir().mkpath(QFileInfo(file).absolutePath());
    m_settings = std::make_unique<QSettings>(file, QSettings::IniFormat);
}

SettingsStore::~SettingsStore() = default;

QVariant SettingsStore::value(const QString &key) const { return m_settings->value(key); }

void SettingsStore::setValue(const QString &key, const QVariant &value)
{
    m_settings->setValue(key, value);
    m_settings->sync();
}

void SettingsStore::remove(const QString &key)
{
    m_settings->remove(key);
    m_settings->sync();
}

QVariant MemoryStore::value(const QString &key) const
{
    auto it = m_values.find(key);
    return it == m_values.end() ? QVariant() : it->second;
}

void MemoryStore::setValue(const QString &key, const QVariant &value)
{
    m_values[key] = value;
    ++m_writes;
}

void MemoryStore::remove(const QString &key)
{
    m_values.erase(key);
    ++m_writes;
}

ServiceAddresses ServiceAddresses::defaults()
{
    ServiceAddresses a;
    a.news = QUrl(QStringLiteral("https://news.velotte.app/api/public/news-shadowing"));
    a.lrclib = QUrl(QStringLiteral("https://lrclib.net"));
    a.netease = QUrl(QStringLiteral("https://music.163.com"));
    a.kugou = QUrl(QStringLiteral("https://lyrics.kugou.com"));
    a.itunes = QUrl(QStringLiteral("https://itunes.apple.com"));
    a.model = QUrl(QStringLiteral("http://127.0.0.1:8080"));
    return a;
}

ServiceAddresses ServiceAddresses::load(const QString &file)
{
    ServiceAddresses a = defaults();
    QSettings s(file, QSettings::IniFormat);
    auto url = [&s](const char *key, QUrl &target) {
        const QString text = s.value(QStringLiteral("services/") + QLatin1String(key)).toString().trimmed();
        const QUrl parsed(text);
        if (!text.isEmpty() && parsed.isValid() && !parsed.scheme().isEmpty())
            target = parsed;
    };
    url("news", a.news);
    url("lrclib", a.lrclib);
    url("netease", a.netease);
    url("kugou", a.kugou);
    url("itunes", a.itunes);
    url("model", a.model);
    const QVariant speakers = s.value(QStringLiteral("local/speakers"));
    const QStringList list = speakers.typeId() == QMetaType::QStringList
        ? speakers.toStringList()
        : speakers.toString().split(QLatin1Char(','), Qt::SkipEmptyParts);
    for (const QString &host : list) {
        if (!host.trimmed().isEmpty())
            a.speakers.append(host.trimmed());
    }
    bool isPort = false;
    const uint port = s.value(QStringLiteral("local/eventPort")).toString().toUInt(&isPort);
    if (isPort && port <= 65535)
        a.eventPort = quint16(port);
    return a;
}

} // namespace velotte
