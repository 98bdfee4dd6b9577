#include "core/networktransport.h"
#include "testkit/testkit.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;

// No code path may accept a certificate the system does not trust: a server
// with a self-signed certificate is refused before any byte of the request.
TEST(Tls, SelfSignedServerIsRefused)
{
    ASSERT_TRUE(QSslSocket::supportsSsl()) << "this Qt has no TLS backend";
    QTemporaryDir dir;
    const QString key = dir.filePath(QStringLiteral("key.pem")), cert = dir.filePath(QStringLiteral("cert.pem"));
    QProcess openssl;
    openssl.start(QStringLiteral("openssl"), {QStringLiteral("req"), QStringLiteral("-x509"), QStringLiteral("-newkey"), QStringLiteral("rsa:2048"),
                                              QStringLiteral("-nodes"), QStringLiteral("-keyout"), key, QStringLiteral("-out"), cert,
                                              QStringLiteral("-days"), QStringLiteral("2"), QStringLiteral("-subj"), QStringLiteral("/CN=127.0.0.1")});
    ASSERT_TRUE(openssl.waitForFinished(30000) && openssl.exitCode() == 0) << "openssl could not make a test certificate";

    QFile keyFile(key), certFile(cert);
    ASSERT_TRUE(keyFile.open(QIODevice::ReadOnly) && certFile.open(QIODevice::ReadOnly));
    QSslConfiguration config = QSslConfiguration::defaultConfiguration();
    config.setPrivateKey(QSslKey(keyFile.readAll(), QSsl::Rsa));
    config.setLocalCertificate(QSslCertificate(certFile.readAll()));
    QSslServer server;
    server.setSslConfiguration(config);
    bool requestRead = false;
    QObject::connect(&server, &QSslServer::pendingConnectionAvailable, [&] {
        while (auto *socket = server.nextPendingConnection())
            QObject::connect(socket, &QIODevice::readyRead, [&requestRead] { requestRead = true; });
    });
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));

    QNetworkAccessManager manager;
    NetworkTransport transport(&manager);
    HttpRequest request;
    request.url = QUrl(QStringLiteral("https://127.0.0.1:%1/control/api/v1/households").arg(server.serverPort()));
    request.setHeader("Authorization", "Bearer must-not-leak");
    EXPECT_EQ(test::failureSentence(transport.send(request)), QStringLiteral("A secure connection to the server couldn’t be made."));
    EXPECT_FALSE(requestRead);
}
