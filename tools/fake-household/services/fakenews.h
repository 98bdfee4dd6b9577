#pragma once

#include "kit/fakehttpserver.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>

#include <memory>

namespace velotte::fake {

// The news service: today's bulletin as JSON and its MP3, which answers HEAD
// with its type and length. A fault makes every bulletin break one rule.
class FakeNews : public QObject {
    Q_OBJECT
public:
    enum class Fault {
        none,
        shortClip,     // 179 seconds
        longClip,      // 721 seconds
        stale,         // published eight days ago
        future,        // published tomorrow
        badID,         // eleven characters with a "."
        wrongType,     // contentType "audio/aac"
        badDate,       // no time zone
        missingKey,    // no clipSeconds
        notJSON,       // an HTML error page with status 200
        serverError,   // 503
        audioMissing,  // HEAD 404
        audioType,     // HEAD answers "text/html"
        audioEmpty,    // Content-Length 0
        audioHuge,     // Content-Length 20,000,001
    };
    static const QStringList faultNames; // in the order above, "none" first

    explicit FakeNews(QObject *parent = nullptr);
    ~FakeNews() override;
    bool start(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0);
    // http://address:port/api/public/news-shadowing
    QUrl base() const;
    // False for a name that is no fault.
    bool inject(const QString &name);

    Fault fault = Fault::none;
    // How old today's bulletin is.
    qint64 ageSeconds = 2 * 3600;
    int bulletinRequests = 0;
    int headRequests = 0;

    static QByteArray audio(); // a few silent MPEG frames

private:
    Response handle(const Request &request);
    QByteArray bulletin(const QString &language) const;

    std::unique_ptr<HttpServer> m_server;
};

} // namespace velotte::fake
