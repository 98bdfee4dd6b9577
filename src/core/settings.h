#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <map>
#include <memory>

class QSettings;

namespace velotte {

// Where the program keeps its files; every path honours the XDG variables so
// a test can give each run its own directories.
namespace Paths {
QString configDir(); // $XDG_CONFIG_HOME/velotte
QString dataDir();   // $XDG_DATA_HOME/velotte
QString cacheDir();  // $XDG_CACHE_HOME/velotte
QString settingsFile();
} // namespace Paths

// The user-defaults store: a small persistent key-value map with the key
// names the program documents.
class KeyValueStore {
public:
    virtual ~KeyValueStore() = default;
    virtual QVariant value(const QString &key) const = 0;
    virtual void setValue(const QString &key, const QVariant &value) = 0;
    virtual void remove(const QString &key) = 0;
};

// QSettings in INI form at Paths::settingsFile() (or a given file).
class SettingsStore final : public KeyValueStore {
public:
    explicit SettingsStore(const QString &file = Paths::settingsFile());
    ~SettingsStore() override;
    QVariant value(const QString &key) const override;
    void setValue(const QString &key, const QVariant &value) override;
    void remove(const QString &key) override;
    QSettings &settings() { return *m_settings; }

private:
    std::unique_ptr<QSettings> m_settings;
};

class MemoryStore final : public KeyValueStore {
public:
    QVariant value(const QString &key) const override;
    void setValue(const QString &key, const QVariant &value) override;
    void remove(const QString &key) override;
    int writes() const { return m_writes; }

private:
    std::map<QString, QVariant> m_values;
    int m_writes = 0;
};

// Base addresses of the outside services, from the [services] group of the
// settings file; tests and the fake household point them at loopback.
struct ServiceAddresses {
    QUrl news;
    QUrl lrclib;
    QUrl netease;
    QUrl kugou;
    QUrl itunes;
    QUrl model;
    QStringList speakers; // [local] speakers: a manual speaker list
    // [local] eventPort: where the speakers send their updates (a firewall
    // rule names it); 0 takes any free port.
    quint16 eventPort = 3490;

    static ServiceAddresses defaults();
    static ServiceAddresses load(const QString &file = Paths::settingsFile());
};

} // namespace velotte
