// login, logout and account: the Sonos account sign-in from a terminal.
#include "context.h"
#include "format.h"
#include "terminallogin.h"
#include "wiring.h"

#include "cloud/secretstore.h"
#include "cloud/sonosauth.h"
#include "cloud/sonoserror.h"

#include <QScopeGuard>

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
        c.err() << notConfigured << Qt::endl << signInHelp() << Qt::endl;
        co_return failed;
    }
    TerminalLoginPresenter terminal(c.out(), browser);
    auth->setPresenter(&terminal);
    const auto forget = qScopeGuard([auth] { auth->setPresenter(nullptr); });
    co_await auth->authorize(); // failures reach the dispatcher, which prints their sentence
    c.out() << "Signed in to Sonos." << Qt::endl;
    co_return ok;
}

QCoro::Task<int> logout(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("logout takes no arguments."));
    if (SonosAuth *auth = c.wiring().auth()) {
        auth->signOut();
        co_await c.wiring().store()->clear(); // gone before the process ends
    } else {
        // Without credentials there is no sign-in to use, but one kept from
        // an earlier build is still forgotten.
        KeychainStore store;
        co_await store.clear();
    }
    c.out() << "Signed out of Sonos." << Qt::endl;
    co_return ok;
}

QCoro::Task<int> account(Context &c, QStringList args)
{
    if (!args.isEmpty())
        co_return c.usageError(QStringLiteral("account takes no arguments."));
    SonosAuth *auth = c.wiring().auth();
    if (!auth) {
        c.err() << notConfigured << Qt::endl << signInHelp() << Qt::endl;
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
    {QStringLiteral("login"), QStringLiteral("[--no-browser]"), QStringLiteral("sign in to your Sonos account"),
     QStringLiteral("Prints the Sonos sign-in address and opens it in your web browser (not with --no-browser).\n"
                    "After signing in, paste the address the browser was sent to. The sign-in is kept in\n"
                    "your desktop's keyring (Secret Service), never in a file."), false, login},
    {QStringLiteral("logout"), {}, QStringLiteral("forget the Sonos sign-in"), {}, false, logout},
    {QStringLiteral("account"), {}, QStringLiteral("whether a Sonos sign-in is kept, and until when its token holds"), {}, false, account},
});

} // namespace
} // namespace velotte::cli
