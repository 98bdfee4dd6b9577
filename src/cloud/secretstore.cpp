#include "secretstore.h"

#include "core/logging.h"

#include <QCoroSignal>
#include <QPointer>

#if __has_include(<qt6keychain/keychain.h>)
#include <qt6keychain/keychain.h>
#define VELOTTE_HAVE_KEYCHAIN 1
#endif

namespace velotte {

namespace {
const QString service = QStringLiteral("com.tarn.app.sonos");
const QString account = QStringLiteral("token");
} // namespace

QString SecretStoreError::sentence() const
{
    switch (m_kind) {
    case Kind::noService:
        return QStringLiteral("No keyring (Secret Service) is available to keep your Sonos sign-in. Start your desktop’s keyring and try again.");
    case Kind::locked:
        return QStringLiteral("Your keyring is locked, so your Sonos sign-in cannot be kept. Unlock the keyring and try again.");
    case Kind::other:
        break;
    }
    return QStringLiteral("Sonos sign-in could not be saved securely. Try connecting again.");
}

QCoro::Task<void> MemorySecretStore::write(QByteArray bytes)
{
    ++writes;
    if (failWrites)
        throw SecretStoreError(SecretStoreError::Kind::other, QStringLiteral("write refused"));
    data = bytes;
    co_return;
}

QCoro::Task<void> KeychainStore::acquire()
{
    while (m_busy) {
        Wakeup turn;
        m_queue.push_back(turn);
        co_await turn;
    }
    m_busy = true;
}

void KeychainStore::release()
{
    m_busy = false;
    if (!m_queue.empty()) {
        Wakeup next = m_queue.front();
        m_queue.erase(m_queue.begin());
        next.fire();
    }
}

#ifdef VELOTTE_HAVE_KEYCHAIN
namespace {
SecretStoreError errorOf(QKeychain::Job &job)
{
    const QString detail = job.errorString();
    // Without a session bus, or with no one owning the secrets service, there
    // is nowhere to keep the sign-in.
    const bool noService = job.error() == QKeychain::NoBackendAvailable || detail.contains(QLatin1String("D-Bus"), Qt::CaseInsensitive)
        || detail.contains(QLatin1String("org.freedesktop.secrets")) || detail.contains(QLatin1String("ServiceUnknown"));
    if (noService)
        return {SecretStoreError::Kind::noService, detail};
    if (detail.contains(QLatin1String("locked"), Qt::CaseInsensitive))
        return {SecretStoreError::Kind::locked, detail};
    return {SecretStoreError::Kind::other, detail};
}
} // namespace

QCoro::Task<std::optional<QByteArray>> KeychainStore::load()
{
    co_await acquire();
    auto *job = new QKeychain::ReadPasswordJob(service);
    job->setAutoDelete(false);
    job->setInsecureFallback(false);
    job->setKey(account);
    job->start();
    co_await qCoro(job, &QKeychain::Job::finished);
    const auto error = job->error();
    const QByteArray data = job->binaryData();
    qCInfo(lcAuth, "restore Keychain status %d", int(error));
    job->deleteLater();
    release();
    if (error == QKeychain::NoError)
        co_return data;
    co_return std::nullopt;
}

QCoro::Task<void> KeychainStore::write(QByteArray data)
{
    co_await acquire();
    auto *job = new QKeychain::WritePasswordJob(service);
    job->setAutoDelete(false);
    job->setInsecureFallback(false); // never a plain file
    job->setKey(account);
    job->setBinaryData(data);
    job->start();
    co_await qCoro(job, &QKeychain::Job::finished);
    const auto status = job->error();
    const std::optional<SecretStoreError> failure = status == QKeychain::NoError ? std::nullopt : std::optional(errorOf(*job));
    job->deleteLater();
    release(); // may start the next call at once
    if (failure) {
        qCCritical(lcAuth, "keychain write status %d", int(status));
        throw *failure;
    }
}

QCoro::Task<void> KeychainStore::clear()
{
    co_await acquire();
    auto *job = new QKeychain::DeletePasswordJob(service);
    job->setAutoDelete(false);
    job->setKey(account);
    job->start();
    co_await qCoro(job, &QKeychain::Job::finished);
    job->deleteLater();
    release();
}
#else
QCoro::Task<std::optional<QByteArray>> KeychainStore::load() { co_return std::nullopt; }
QCoro::Task<void> KeychainStore::write(QByteArray)
{
    throw SecretStoreError(SecretStoreError::Kind::noService, QStringLiteral("built without QtKeychain"));
    co_return;
}
QCoro::Task<void> KeychainStore::clear() { co_return; }
#endif

} // namespace velotte
