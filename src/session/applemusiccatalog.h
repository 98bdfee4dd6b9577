#pragma once

#include "local/applemusicidentity.h"

#include "core/failure.h"
#include "core/http.h"

#include <QCoroTask>
#include <QList>
#include <QUrl>

namespace velotte {

// Where Apple Music items are found by name. On Linux there is no music
// framework, so the public iTunes Search API stands in: its ids are catalog ids.
class AppleMusicCatalog {
public:
    virtual ~AppleMusicCatalog() = default;
    // Songs, then albums, matching the text.
    virtual QCoro::Task<QList<AppleMusicIdentity>> search(QString text) = 0;
    // The items behind catalog ids, in the order asked; "pl." ids are playlists.
    virtual QCoro::Task<QList<AppleMusicIdentity>> lookup(QStringList ids) = 0;
    // The songs of one artist, most relevant first, each once.
    virtual QCoro::Task<QList<AppleMusicIdentity>> artistSongs(QString artist) = 0;
};

class CatalogUnavailable : public Failure {
public:
    CatalogUnavailable() : Failure(QStringLiteral("catalog unavailable")) {}
    QString sentence() const override { return QStringLiteral("The Apple Music catalog could not be reached. Check your internet connection."); }
};

class ITunesCatalog final : public AppleMusicCatalog {
public:
    ITunesCatalog(HttpTransport &transport, QUrl base, QString country = QStringLiteral("US"));

    QCoro::Task<QList<AppleMusicIdentity>> search(QString text) override;
    QCoro::Task<QList<AppleMusicIdentity>> lookup(QStringList ids) override;
    QCoro::Task<QList<AppleMusicIdentity>> artistSongs(QString artist) override;

    // The items of one reply body; what is not a song or an album is left out.
    static QList<AppleMusicIdentity> items(const QByteArray &body);

private:
    QCoro::Task<QList<AppleMusicIdentity>> get(QString path, QList<QPair<QString, QString>> query);

    HttpTransport &m_transport;
    QUrl m_base;
    QString m_country;
};

} // namespace velotte
