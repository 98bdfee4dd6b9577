#include "processlogin.h"

#include "cloud/sonoserror.h"
#include "core/cancel.h"
#include "core/logging.h"

#include <QCoreApplication>
#include <QCoroProcess>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>

#include <memory>

namespace velotte {

using namespace std::chrono_literals;

ProcessLoginPresenter::ProcessLoginPresenter(QString program, QObject *parent) : QObject(parent), m_program(std::move(program)) {}

QString ProcessLoginPresenter::defaultProgram()
{
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/velotte-signin");
    return QFileInfo::exists(beside) ? beside : QStringLiteral("velotte-signin");
}

QCoro::Task<QUrl> ProcessLoginPresenter::callback(QUrl authorizationURL, QString redirectPrefix)
{
    QPointer<ProcessLoginPresenter> self(this);
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::SeparateChannels);
    // The address goes through standard input: arguments are visible to every user.
    // A program that cannot start would never report it started.
    const QString program = QFileInfo(m_program).isAbsolute() ? m_program : QStandardPaths::findExecutable(m_program);
    if (program.isEmpty() || !QFileInfo(program).isExecutable()) {
        qCWarning(lcApp) << "sign-in window not installed:" << m_program;
        throw SonosError::authorization();
    }
    const QStringList arguments{redirectPrefix};
    co_await qCoro(process.get()).start(program, arguments);
    if (process->state() == QProcess::NotRunning) {
        qCWarning(lcApp) << "sign-in window could not start:" << process->errorString();
        throw SonosError::authorization();
    }
    if (self)
        Q_EMIT self->didOpen();
    const QByteArray line = authorizationURL.toEncoded() + '\n';
    process->write(line);
    // A person may take a while to type a password; an hour is the limit.
    co_await qCoro(process.get()).waitForFinished(std::chrono::milliseconds(1h));
    if (process->state() != QProcess::NotRunning) {
        process->kill();
        process->waitForFinished(1000);
    }
    const int code = process->exitStatus() == QProcess::NormalExit ? process->exitCode() : int(failed);
    const QUrl redirect(QString::fromUtf8(process->readAllStandardOutput()).trimmed());
    if (self)
        Q_EMIT self->didClose();
    if (code == signedIn && redirect.isValid() && SonosLogin::isRedirect(redirect, redirectPrefix))
        co_return redirect;
    if (code == cancelled)
        throw Cancelled();
    throw SonosError::authorization();
}

} // namespace velotte
