#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

namespace velotte {

// Client credentials and service addresses, read from "SonosSecrets.plist"
// (else "SonosSecrets.example.plist"). No credential is compiled in.
struct SonosConfig {
    QString clientID;
    QString clientSecret;
    QString redirectURI;
    QUrl apiRoot;
    QUrl authorizeURL;
    QUrl tokenURL;

    bool hasCredentials() const { return !clientID.isEmpty() && !clientSecret.isEmpty(); }

    static SonosConfig load();
    // Reads one property-list file; none when it is not a dictionary with a
    // non-empty ClientID and ClientSecret.
    static std::optional<SonosConfig> read(const QString &file);
    static std::optional<SonosConfig> parse(const QByteArray &document);
    // Files tried in order: $VELOTTE_SECRETS alone when set, otherwise each
    // name in the user's config dir and then the data dirs.
    static QStringList candidates();

    static SonosConfig defaults();
    static QString defaultRedirectURI();
};

} // namespace velotte
