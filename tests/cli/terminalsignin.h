#pragma once

#include "clirunner.h"

#include "services/fakecloud.h"

#include <functional>

namespace velotte::test {

struct TerminalSignIn {
    int exit = -1;
    QString printed; // everything velottectl wrote
};

// "velottectl login" as a person does it: read the printed address, follow
// it on the fake sign-in page the way a browser would, paste where it was
// sent. `edit` changes that address before it is pasted.
inline TerminalSignIn signInFromTerminal(const QTemporaryDir &home, const QString &secrets, fake::FakeCloud &cloud,
                                         const std::function<QByteArray(QByteArray)> &edit = {})
{
    QProcess p;
    prepare(p, home, secrets);
    p.start(QStringLiteral(VELOTTECTL), {QStringLiteral("login"), QStringLiteral("--no-browser")});
    QString out;
    QUrl url;
    QElapsedTimer t;
    t.start();
    while (url.isEmpty() && t.elapsed() < 20000 && p.state() != QProcess::NotRunning) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        out += QString::fromUtf8(p.readAllStandardOutput());
        for (const QString &line : out.split(QLatin1Char('\n'))) {
            if (line.startsWith(QLatin1String("http")))
                url = QUrl(line.trimmed());
        }
    }
    if (url.isEmpty())
        return {-1, out};
    fake::Request r;
    r.method = "GET";
    r.target = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
    r.url = QUrl(QStringLiteral("http://fake") + QString::fromUtf8(r.target));
    QByteArray location;
    for (const auto &h : cloud.respond(r).headers) {
        if (h.first == "Location")
            location = h.second;
    }
    if (edit)
        location = edit(location);
    p.write(location + '\n');
    p.closeWriteChannel();
    while (p.state() != QProcess::NotRunning && t.elapsed() < 20000)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
    out += QString::fromUtf8(p.readAllStandardOutput()) + QString::fromUtf8(p.readAllStandardError());
    return {p.exitCode(), out};
}

} // namespace velotte::test
