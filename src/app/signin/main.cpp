// velotte-signin: the Sonos sign-in page in its own process. Reads the
// authorization address on standard input, prints the redirect address.
#include "app/processlogin.h"
#include "cloud/signin/signinwindow.h"
#include "cloud/sonoserror.h"
#include "core/cancel.h"

#include <QApplication>
#include <QFile>
#include <QTextStream>
#include <QTimer>

namespace {
QCoro::Task<void> run(velotte::SignInWindow &window, int &exitCode)
{
    try {
        const QUrl redirect = co_await window.result();
        QTextStream(stdout) << redirect.toString(QUrl::FullyEncoded) << Qt::endl;
        exitCode = velotte::ProcessLoginPresenter::signedIn;
    } catch (const velotte::Cancelled &) {
        exitCode = velotte::ProcessLoginPresenter::cancelled;
    } catch (const std::exception &) {
        exitCode = velotte::ProcessLoginPresenter::failed;
    }
    QCoreApplication::exit(exitCode);
}
} // namespace

int main(int argc, char **argv)
{
    if (argc < 2)
        return velotte::ProcessLoginPresenter::failed;
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly))
        return velotte::ProcessLoginPresenter::failed;
    const QUrl authorization(QString::fromUtf8(in.readLine(8192)).trimmed());
    // Plain HTTP only to this machine (the fake household's sign-in).
    const bool loopback = authorization.host() == u"127.0.0.1" || authorization.host() == u"localhost";
    if (!authorization.isValid() || !(authorization.scheme() == u"https" || (authorization.scheme() == u"http" && loopback)))
        return velotte::ProcessLoginPresenter::failed;

    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName(QStringLiteral("Velotte"));
    velotte::SignInWindow window(authorization, QString::fromLocal8Bit(argv[1]));
    window.show();
    int exitCode = velotte::ProcessLoginPresenter::failed;
    auto task = run(window, exitCode);
    app.exec();
    return exitCode;
}
