#pragma once

#include <QObject>
#include <QStringList>

class QLocalServer;

namespace velotte {

// One running controller per user: a second start hands its arguments to
// the first one over a local socket and ends.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QString name = defaultName(), QObject *parent = nullptr);
    ~SingleInstance() override;
    // True when another instance took the arguments; this one should end.
    bool handOver(const QStringList &arguments, int timeoutMillis = 1000);
    // Starts listening; false when the name cannot be claimed.
    bool listen();
    static QString defaultName();

Q_SIGNALS:
    // Another start of the program, with its arguments.
    void reopened(const QStringList &arguments);

private:
    QString m_name;
    QLocalServer *m_server = nullptr;
};

} // namespace velotte
