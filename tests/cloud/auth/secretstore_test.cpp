#include "cloud/secretstore.h"
#include "testkit/testkit.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QTimer>

#include <gtest/gtest.h>

using namespace velotte;

// The desktop's Secret Service, for real: run by with-keyring.sh on a private
// session bus with a fresh keyring in a throw-away home.
namespace {

struct Keyring : ::testing::Test {
    KeychainStore store;
    void SetUp() override
    {
        ASSERT_TRUE(QDBusConnection::sessionBus().interface()
                    && QDBusConnection::sessionBus().interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")))
            << "no Secret Service on this session bus (run through with-keyring.sh)";
        test::await(store.clear());
    }
    void TearDown() override { test::await(store.clear()); }
};

} // namespace

// Keeping, replacing and forgetting the item, and that no plain file holds
// it, are the command-line sign-in's tests.
TEST_F(Keyring, CallsRunOneAtATimeInOrderWithoutBlocking)
{
    std::vector<std::optional<QByteArray>> seen(3);
    int finished = 0;
    auto sequence = [&]() -> QCoro::Task<void> {
        auto w1 = store.write("one");
        auto r1 = store.load();
        auto w2 = store.write("two");
        auto r2 = store.load();
        auto c = store.clear();
        auto r3 = store.load();
        co_await std::move(w1);
        seen[0] = co_await std::move(r1);
        co_await std::move(w2);
        seen[1] = co_await std::move(r2);
        co_await std::move(c);
        seen[2] = co_await std::move(r3);
        ++finished;
    };
    bool loopRan = false;
    QTimer::singleShot(0, [&] { loopRan = finished == 0; });
    test::await(sequence());
    EXPECT_TRUE(loopRan) << "the event loop ran while the keyring answered";
    EXPECT_EQ(seen[0], QByteArray("one"));
    EXPECT_EQ(seen[1], QByteArray("two"));
    EXPECT_EQ(seen[2], std::nullopt);
}

TEST_F(Keyring, ALockedKeyringIsExplained)
{
    QDBusInterface service(QStringLiteral("org.freedesktop.secrets"), QStringLiteral("/org/freedesktop/secrets"),
                           QStringLiteral("org.freedesktop.Secret.Service"));
    QDBusReply<QDBusObjectPath> alias = service.call(QStringLiteral("ReadAlias"), QStringLiteral("default"));
    ASSERT_TRUE(alias.isValid() && alias.value().path() != QLatin1String("/")) << "the keyring has no default collection";
    const QDBusMessage locked = service.call(QStringLiteral("Lock"), QVariant::fromValue(QList<QDBusObjectPath>{alias.value()}));
    ASSERT_NE(locked.type(), QDBusMessage::ErrorMessage) << "the keyring cannot be locked here: " << locked.errorMessage().toStdString();
    try {
        test::await(store.write(R"({"access":"x","refresh":"y","expiry":1})"), 60000);
        ADD_FAILURE() << "a locked keyring took the sign-in";
    } catch (const SecretStoreError &e) {
        EXPECT_EQ(e.kind(), SecretStoreError::Kind::locked) << e.what();
        EXPECT_EQ(e.sentence(), QStringLiteral("Your keyring is locked, so your Sonos sign-in cannot be kept. Unlock the keyring and try again."));
    }
}
