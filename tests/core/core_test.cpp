#include "core/networktransport.h"
#include "kit/fakehttpserver.h"
#include "testkit/testkit.h"
#include "core/settings.h"
#include "core/clock.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QSettings>
#include <QSslCertificate>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace velotte;
using namespace std::chrono_literals;

namespace {
struct Transport : ::testing::Test {
    std::vector<fake::Request> seen;
    fake::Response next = fake::Response::json("{\"ok\":true}");
    fake::HttpServer server{[this](const fake::Request &r) {
        seen.push_back(r);
        return next;
    }};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};

    void SetUp() override { ASSERT_TRUE(server.listen(QHostAddress::LocalHost)); }
    HttpRequest request(const QString &path) const
    {
        HttpRequest r;
        r.url = server.baseUrl();
        r.url.setPath(path, QUrl::TolerantMode);
        return r;
    }
};
} // namespace

TEST_F(Transport, SendsAndReturnsOrFailsCleanly)
{
    next = fake::Response::json("{\"late\":1}", 429).header("Retry-After", "120");
    HttpRequest request = this->request(QStringLiteral("/control/api/v1/groups/G%3A1/playback/play"));
    request.method = "POST";
    request.setHeader("Authorization", "Bearer abc");
    request.setHeader("Content-Type", "application/json");
    request.body = "{}";
    const HttpResponse response = test::await(transport.send(request));
    EXPECT_EQ(response.status, 429);
    EXPECT_EQ(response.header("retry-after"), "120");
    EXPECT_EQ(response.body, "{\"late\":1}");
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].method + ' ' + seen[0].target + ' ' + seen[0].header("Authorization") + ' ' + seen[0].body,
              "POST /control/api/v1/groups/G%3A1/playback/play Bearer abc {}");

    // A time-out, a refused connection and a bad address fail cleanly.
    next.noAnswer = true;
    request = this->request(QStringLiteral("/slow"));
    request.timeout = 150ms;
    EXPECT_EQ(test::failureSentence(transport.send(request)), QStringLiteral("The request timed out."));
    request.url = QUrl(QStringLiteral("http://127.0.0.1:1/"));
    EXPECT_EQ(test::failureSentence(transport.send(request)), QStringLiteral("Could not connect to the server."));
    request.url = QUrl(QStringLiteral("not a url"));
    EXPECT_EQ(test::failureSentence(transport.send(request)), QStringLiteral("The address of the request is not valid."));

    // Cancelling aborts the reply in flight.
    request = this->request(QStringLiteral("/never"));
    CancelToken cancel;
    QTimer::singleShot(30, [&] { cancel.cancel(); });
    EXPECT_THROW(test::await(transport.send(request, cancel)), Cancelled);

    // An oversized reply is refused; cookies stay home when switched off.
    next = fake::Response::text(QByteArray(3 * 1024 * 1024, 'a'), "text/plain");
    request = this->request(QStringLiteral("/big"));
    request.maxBytes = 1024 * 1024;
    EXPECT_EQ(test::failureSentence(transport.send(request)), QStringLiteral("The server sent more data than expected."));
    request.maxBytes = 8 * 1024 * 1024;
    EXPECT_EQ(test::await(transport.send(request)).body.size(), 3 * 1024 * 1024);

    next = fake::Response::json("{}").header("Set-Cookie", "session=secret; Path=/");
    test::await(transport.send(request));
    test::await(transport.send(request));
    EXPECT_EQ(seen.back().header("Cookie"), "session=secret");
    request.cookies = false;
    test::await(transport.send(request));
    EXPECT_TRUE(seen.back().header("Cookie").isEmpty());
}

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

TEST(Core, ServiceAddressesFromTheSettingsFileAndTheGeneralSentence)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("velotte.conf"));
    {
        QSettings s(file, QSettings::IniFormat);
        s.setValue(QStringLiteral("services/lrclib"), QStringLiteral("http://127.0.0.1:9001"));
        s.setValue(QStringLiteral("services/kugou"), QStringLiteral("   "));
        s.setValue(QStringLiteral("services/netease"), QStringLiteral("no scheme"));
        s.setValue(QStringLiteral("local/speakers"), QStringLiteral("127.0.0.11, 127.0.0.12,"));
    }
    const auto a = ServiceAddresses::load(file);
    const auto d = ServiceAddresses::defaults();
    EXPECT_EQ(a.lrclib, QUrl(QStringLiteral("http://127.0.0.1:9001")));
    EXPECT_EQ(a.kugou, d.kugou);
    EXPECT_EQ(a.netease, d.netease);
    EXPECT_EQ(a.speakers, (QStringList{QStringLiteral("127.0.0.11"), QStringLiteral("127.0.0.12")}));

    // A fault of a library that knows no sentence still reads as one.
    EXPECT_EQ(sentenceOf(std::runtime_error("bad_alloc somewhere")), QStringLiteral("The operation couldn’t be completed."));
    EXPECT_EQ(sentenceOf(DecodeError(QStringLiteral("missing key"))), QStringLiteral("The data couldn’t be read because it isn’t in the correct format."));
}

namespace {
QCoro::Task<void> sleeper(Clock &clock, Millis d, std::vector<int> &order, int id, CancelToken cancel = {})
{
    co_await clock.sleep(d, cancel);
    order.push_back(cancel.isCancelled() ? -id : id);
}
} // namespace

TEST(VirtualClock, WakesSleepersInDeadlineOrderAtTheirOwnTimeOrOnCancel)
{
    VirtualClock clock;
    const QDateTime start = clock.now();
    std::vector<int> order;
    qint64 seenAt = -1;
    int ticks = 0;
    auto a = sleeper(clock, 300ms, order, 1);
    auto b = sleeper(clock, 100ms, order, 2);
    auto cBody = [&]() -> QCoro::Task<void> {
        co_await clock.sleep(200ms);
        seenAt = clock.monotonicMillis();
        for (int i = 0; i < 10; ++i) { // chained sleeps within one advance all run
            co_await clock.sleep(500ms);
            ++ticks;
        }
    };
    auto c = cBody();
    clock.advance(150ms);
    EXPECT_EQ(order, (std::vector<int>{2}));
    clock.advance(2650ms);
    EXPECT_EQ(order, (std::vector<int>{2, 1}));
    EXPECT_EQ(seenAt, 200);
    EXPECT_EQ(ticks, 5);
    EXPECT_EQ(start.msecsTo(clock.now()), 2800);
    clock.advance(10s);
    EXPECT_EQ(ticks, 10);

    CancelToken cancel;
    auto d = sleeper(clock, 10s, order, 7, cancel);
    EXPECT_EQ(clock.sleepers(), 1);
    cancel.cancel();
    EXPECT_EQ(order.size(), 2u); // never resumed inside cancel()
    test::drain();
    EXPECT_EQ(order.back(), -7);
    EXPECT_EQ(clock.sleepers(), 0);
}

TEST(Cancel, TheSystemClockSleepsAndCancelsAndCallbacksRunOnce)
{
    test::await(Clock::system().sleep(30ms));
    // A minute's sleep that did not end on cancel would outlast the wait.
    CancelToken cancel;
    QTimer::singleShot(10, [&] { cancel.cancel(); });
    test::await(Clock::system().sleep(60s, cancel));

    CancelToken token;
    int runs = 0;
    const int removed = token.onCancel([&] { runs += 100; });
    token.onCancel([&] { ++runs; });
    token.removeCallback(removed);
    CancelToken copy = token;
    copy.cancel();
    token.cancel();
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(token.isCancelled());
    EXPECT_THROW(token.throwIfCancelled(), Cancelled);
    token.onCancel([&] { ++runs; }); // already cancelled: runs at once
    EXPECT_EQ(runs, 2);
}

