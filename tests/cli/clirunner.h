#pragma once

#include "services/fakespeakers.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace velotte::test {

using namespace Qt::Literals::StringLiterals;

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
    env.insert(u"XDG_CONFIG_HOME"_s, home.filePath(u"config"_s));
    env.insert(u"XDG_CACHE_HOME"_s, home.filePath(u"cache"_s));
    env.insert(u"VELOTTE_SECRETS"_s, secrets.isEmpty() ? home.filePath(u"none.plist"_s) : secrets);
    // Under the sanitizers the in-process fakes answer slowly, and velottectl
    // may exit with a reply still parked on its loop; leaks are checked in
    // the test processes, which run the same code.
    env.insert(u"ASAN_OPTIONS"_s, env.value(u"ASAN_OPTIONS"_s) + u":detect_leaks=0"_s);
    p.setProcessEnvironment(env);
}

// Spins this process's loop until `done` or the limit; false when it ran out.
template<typename Done>
bool spinUntil(Done done, int limitMs)
{
    QElapsedTimer t;
    t.start();
    while (!done() && t.elapsed() < limitMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    return done();
}

inline CliResult finish(QProcess &p, const QStringList &args, int limitMs)
{
    if (!spinUntil([&] { return p.state() == QProcess::NotRunning; }, limitMs)) {
        p.kill();
        p.waitForFinished();
        ADD_FAILURE() << "velottectl " << args.join(u' ').toStdString() << " did not finish";
    }
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, QString::fromUtf8(p.readAllStandardOutput()),
            QString::fromUtf8(p.readAllStandardError())};
}

inline CliResult runCli(const QStringList &args, const QTemporaryDir &home, int limitMs = 30000, const QString &secrets = {})
{
    QProcess p;
    prepare(p, home, secrets);
    p.start(QStringLiteral(VELOTTECTL), args);
    return finish(p, args, limitMs);
}

// One value of the run's own settings file, as a user would set it.
inline void setSetting(const QTemporaryDir &home, const QString &key, const QVariant &value)
{
    QDir().mkpath(home.filePath(u"config/velotte"_s));
    QSettings(home.filePath(u"config/velotte/velotte.conf"_s), QSettings::IniFormat).setValue(key, value);
}

// velottectl against fake speakers on a loopback block of the fixture's own
// (127.0.BLOCK.11 and up), so test programs running side by side never meet.
template<int Block>
struct SpeakerCli : ::testing::Test {
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.%1.11"_s.arg(Block), 5};

    void SetUp() override { ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0." << Block << ".x"; }
    CliResult ctl(const QStringList &args, int limitMs = 30000)
    {
        return runCli(QStringList{u"--speakers"_s, speakers.visibleHosts().join(u',')} + args, home, limitMs);
    }
    void setService(const QString &name, const QUrl &address) { setSetting(home, u"services/"_s + name, address.toString()); }
    fake::FakeSpeakers::Speaker &living() { return speakers.speakers[0]; }
    fake::FakeSpeakers::Speaker &kitchen() { return speakers.speakers[2]; }
    fake::FakeSpeakers::Speaker &bedroom() { return speakers.speakers[3]; }
};

} // namespace velotte::test
