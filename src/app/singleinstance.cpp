#include "singleinstance.h"

#include <QDataStream>
#include <QStringList>
#include <QLocalServer>
#include <QLocalSocket>

namespace velotte {

SingleInstance::SingleInstance(QString name, QObject *parent) : QObject(parent), m_name(std::move(name)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultName()
{
    QString user = qEnvironmentVariable("USER");
    if (user.isEmpty())
        user = QString::number(qHash(qEnvironmentVariable("HOME")));
    return QStringLiteral("velotte-") + user;
}

bool SingleInstance::handOver(const QStringList &arguments, int timeoutMillis)
{
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(timeoutMillis))
        return false;
    QByteArray data;
    QDataStream out(&data, QIODevice::WriteOnly);
    out << arguments;
    socket.write(data);
    if (!socket.waitForBytesWritten(timeoutMillis))
        return false;
    socket.disconnectFromServer();
    return true;
}

bool SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_name)) {
        // A socket left by a crashed run: nobody answered handOver, so take it.
        QLocalServer::removeServer(m_name);
        if (!m_server->listen(m_name))
            return false;
    }
    connect(m_server, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket *socket = m_server->nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
                QDataStream in(socket);
                in.startTransaction();
                QStringList arguments;
                in >> arguments;
                if (!in.commitTransaction())
                    return; // not all there yet
                if (arguments.size() > 64)
                    arguments = arguments.mid(0, 64);
                Q_EMIT reopened(arguments);
            });
        }
    });
    return true;
}

} // namespace velotte
