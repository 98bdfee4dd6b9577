#include "sonosconfig.h"

#include "core/settings.h"

#include <QFile>
#include <QStandardPaths>
#include <QXmlStreamReader>

#include <map>

namespace velotte {

namespace {

// The string values of a property list's top-level dictionary; none when the
// file is not a property list holding a dictionary.
std::optional<std::map<QString, QString>> plistStrings(const QByteArray &document)
{
    QXmlStreamReader xml(document);
    std::map<QString, QString> values;
    int depth = 0;
    bool sawDict = false;
    QString key;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            ++depth;
            const auto name = xml.name();
            if (depth == 1 && name != QLatin1String("plist"))
                return std::nullopt;
            if (depth == 2) {
                if (name != QLatin1String("dict"))
                    return std::nullopt;
                sawDict = true;
            } else if (depth == 3) {
                if (name == QLatin1String("key")) {
                    key = xml.readElementText();
                    --depth;
                } else if (name == QLatin1String("string")) {
                    values[key] = xml.readElementText();
                    --depth;
                    key.clear();
                } else {
                    key.clear(); // other value types are not ours to read
                }
            }
        } else if (xml.isEndElement()) {
            --depth;
        }
    }
    if (xml.hasError() || !sawDict)
        return std::nullopt;
    return values;
}

QUrl urlOr(const std::map<QString, QString> &values, const QString &key, const QUrl &fallback)
{
    const auto it = values.find(key);
    if (it == values.end() || it->second.trimmed().isEmpty())
        return fallback;
    const QUrl url(it->second.trimmed());
    return url.isValid() && !url.scheme().isEmpty() ? url : fallback;
}

} // namespace

// Never loaded: the sign-in window and velottectl catch the redirect first.
QString SonosConfig::defaultRedirectURI() { return QStringLiteral("https://velotte.app/sonos/callback"); }

SonosConfig SonosConfig::defaults()
{
    SonosConfig c;
    c.redirectURI = defaultRedirectURI();
    c.apiRoot = QUrl(QStringLiteral("https://api.ws.sonos.com/control/api/v1"));
    c.authorizeURL = QUrl(QStringLiteral("https://api.sonos.com/login/v3/oauth"));
    c.tokenURL = QUrl(QStringLiteral("https://api.sonos.com/login/v3/oauth/access"));
    return c;
}

std::optional<SonosConfig> SonosConfig::read(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly) || f.size() > 1024 * 1024)
        return std::nullopt;
    return parse(f.readAll());
}

std::optional<SonosConfig> SonosConfig::parse(const QByteArray &document)
{
    const auto values = plistStrings(document);
    if (!values)
        return std::nullopt;
    auto text = [&](const char *key) {
        const auto it = values->find(QLatin1String(key));
        return it == values->end() ? QString() : it->second;
    };
    SonosConfig c = defaults();
    c.clientID = text("ClientID");
    c.clientSecret = text("ClientSecret");
    if (c.clientID.isEmpty() || c.clientSecret.isEmpty())
        return std::nullopt;
    if (const QString redirect = text("RedirectURI"); !redirect.isEmpty())
        c.redirectURI = redirect;
    c.apiRoot = urlOr(*values, QStringLiteral("APIRoot"), c.apiRoot);
    c.authorizeURL = urlOr(*values, QStringLiteral("AuthorizeURL"), c.authorizeURL);
    c.tokenURL = urlOr(*values, QStringLiteral("TokenURL"), c.tokenURL);
    return c;
}

QStringList SonosConfig::candidates()
{
    const QString override = qEnvironmentVariable("VELOTTE_SECRETS");
    if (!override.isEmpty())
        return {override};
    QStringList dirs{Paths::configDir()};
    for (const QString &dir : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation))
        dirs.append(dir + QStringLiteral("/velotte"));
    QStringList files;
    for (const char *name : {"SonosSecrets.plist", "SonosSecrets.example.plist"}) {
        for (const QString &dir : dirs)
            files.append(dir + QLatin1Char('/') + QLatin1String(name));
    }
    return files;
}

SonosConfig SonosConfig::load()
{
    for (const QString &file : candidates()) {
        if (auto config = read(file))
            return *config;
    }
    return defaults(); // empty credentials: operations fail with missingCredentials
}

} // namespace velotte
