// login, logout and account: the Sonos account sign-in from a terminal.
#include "context.h"
#include "wiring.h"

#include "cloud/secretstore.h"
#include "cloud/sonosauth.h"
#include "cloud/sonoserror.h"

#include <QProcess>
#include <QStandardPaths>

#include <cstdio>

namespace velotte::cli {

namespace {

const QString notConfigured = QStringLiteral("Sonos sign-in is not configured in this build.");

QCoro::Task<int> login(Context &c, QStringList args)
{
    bool browser = true;
    for (const QString &a : args) {
        if (a == QLatin1String("--no-browser"))
            browser = false;
        else
            co_return c.usageError(QStringLiteral("login takes only --no-browser."));
    }
    SonosAuth *auth = c.wiring().auth();
    if (!auth) {
        c.err() << notConfigured << Qt::endl;
        co_return failed;
    }
    const QUrl url = auth->beginAuthorization();
    c.out() << "Open this address to sign in to Sonos:" << Qt::endl << url.toString(QUrl::FullyEncoded) << Qt::endl;
    if (browser && !QStandardPaths::findExecutable(QStringLiteral("xdg-open")).isEmpty())
        QProcess::startDetached(QStringLiteral("xdg-open"), {url.toString(QUrl::FullyEncoded)});
    c.out() << "Then paste the address your browser was sent to:" << Qt::endl;
    c.out().flush();

    // Nothing else runs in this process while the person signs in.
    char line[8192];
    if (!std::fgets(line, sizeof line, stdin)) {
        c.err() << "No address was given; the sign-in was not finished." << Qt::endl;
        co_return failed;
    }
    const QUrl redirect(QString::fromUtf8(line).trimmed());
    if (!SonosLogin::isRedirect(redirect, auth->config().redirectURI)) {
        c.err() << "That is not the address Sonos sends you back to. It starts with " << auth->config().redirectURI << "." << Qt::endl;
        co_return failed;
    }
    try {
        co_await auth->finishAuthorization(redirect);
    } catch (const Cancelled &) {
        co_return failed;
    } catch (const std::exception &e) {
        c.err() << sentenceOf(e) << Qt::endl;
        co_return failed;
    }
    c.out() << "Signed in to Sonos." << Qt::endl;
    co_return ok;
}

QCoro::Task<int> logout(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("logout takes no arguments."));
    SonosAuth *auth = c.wiring().auth();
    if (!auth) {
        c.err() << notConfigured << Qt::endl;
        co_return failed;
    }
    auth->signOut();
    co_await c.wiring().store()->clear(); // gone before the process ends
    c.out() << "Signed out of Sonos." << Qt::endl;
    co_return ok;
}

QCoro::Task<int> account(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("account takes no arguments."));
    SonosAuth *auth = c.wiring().auth();
    if (!auth) {
        c.err() << notConfigured << Qt::endl;
        co_return failed;
    }
    if (!co_await auth->restore()) {
        c.out() << "Not signed in to Sonos. Run velottectl login." << Qt::endl;
        co_return failed;
    }
    c.out() << "Signed in to Sonos; the access token expires at " << auth->expiry()->toLocalTime().toString(Qt::ISODate) << "." << Qt::endl;
    co_return ok;
}

const Registration registration({
    {QStringLiteral("login"), QStringLiteral("[--no-browser]"), QStringLiteral("sign in to your Sonos account"), {}, false, login},
    {QStringLiteral("logout"), {}, QStringLiteral("forget the Sonos sign-in"), {}, false, logout},
    {QStringLiteral("account"), {}, QStringLiteral("whether a Sonos sign-in is kept, and until when its token holds"), {}, false, account},
});

} // namespace
} // namespace velotte::cli
