#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace velotte::test {

struct CliResult {
    int exit = -1;
    QString out;
    QString err;
};

// Runs velottectl while this process's event loop keeps serving the fakes.
// Each run gets private XDG directories.
inline void prepare(QProcess &p, const QTemporaryDir &home, const QString &secrets = {})
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), home.filePath(QStringLiteral("cache")));
    env.insert(QStringLiteral("VELOTTE_SECRETS"), secrets.isEmpty() ? home.filePath(QStringLiteral("none.plist")) : secrets);
    // Under the sanitizers the in-process fakes answer slowly, and velottectl
    // may exit with a reply still parked on its loop; leaks are checked in
    // the test processes, which run the same code.
    env.insert(QStringLiteral("ASAN_OPTIONS"), env.value(QStringLiteral("ASAN_OPTIONS")) + QStringLiteral(":detect_leaks=0"));
    p.setProcessEnvironment(env);
}

inline CliResult runCli(const QStringList &args, const QTemporaryDir &home, int limitMs = 30000, const QString &secrets = {})
{
    QProcess p;
    prepare(p, home, secrets);
    p.start(QStringLiteral(VELOTTECTL), args);
    QElapsedTimer t;
    t.start();
    while (p.state() != QProcess::NotRunning && t.elapsed() < limitMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    if (p.state() != QProcess::NotRunning) {
        p.kill();
        p.waitForFinished();
        ADD_FAILURE() << "velottectl " << args.join(QLatin1Char(' ')).toStdString() << " did not finish";
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
}

} // namespace velotte::test
