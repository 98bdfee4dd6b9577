#pragma once

#include "core/failure.h"
#include "core/wakeup.h"

#include <QByteArray>
#include <QCoroTask>

#include <optional>
#include <vector>

namespace velotte {

// A failure of the protected store, with a sentence that says what to do.
class SecretStoreError : public Failure {
public:
    enum class Kind { noService, locked, other };
    SecretStoreError(Kind kind, const QString &detail) : Failure(detail), m_kind(kind) {}
    Kind kind() const { return m_kind; }
    QString sentence() const override;

private:
    Kind m_kind;
};

// One protected secret item: service "com.tarn.app.sonos", account "token".
class SecretStore {
public:
    virtual ~SecretStore() = default;
    virtual QCoro::Task<std::optional<QByteArray>> load() = 0; // none: no item
    virtual QCoro::Task<void> write(QByteArray data) = 0;      // throws SecretStoreError
    virtual QCoro::Task<void> clear() = 0;
};

// The desktop's Secret Service (or the macOS Keychain) through QtKeychain.
// Calls run one at a time, in order, and never block the event loop; there
// is no fallback to a plain file.
class KeychainStore final : public SecretStore {
public:
    QCoro::Task<std::optional<QByteArray>> load() override;
    QCoro::Task<void> write(QByteArray data) override;
    QCoro::Task<void> clear() override;

private:
    QCoro::Task<void> acquire();
    void release();
    bool m_busy = false;
    std::vector<Wakeup> m_queue;
};

// For tests and for machines where nothing may be kept.
class MemorySecretStore final : public SecretStore {
public:
    std::optional<QByteArray> data;
    bool failWrites = false;
    int writes = 0;
    QCoro::Task<std::optional<QByteArray>> load() override { co_return std::optional<QByteArray>(data); }
    QCoro::Task<void> write(QByteArray bytes) override;
    QCoro::Task<void> clear() override
    {
        data.reset();
        co_return;
    }
};

} // namespace velotte
