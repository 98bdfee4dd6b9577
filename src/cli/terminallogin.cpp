#include "terminallogin.h"

#include "core/failure.h"
#include "core/wakeup.h"

#include <QProcess>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTimer>

#include <cerrno>
#include <unistd.h>

#include <memory>

namespace velotte::cli {

namespace {
// A sentence of the terminal flow itself; the sign-in was not finished.
class LoginInputFailure : public Failure {
public:
    explicit LoginInputFailure(QString sentence) : Failure(QStringLiteral("sign-in input")), m_sentence(std::move(sentence)) {}
    QString sentence() const override { return m_sentence; }

private:
    QString m_sentence;
};

// Longer than any address a sign-in service sends back.
constexpr qsizetype lineLimit = 64 * 1024;
} // namespace

QCoro::Task<std::optional<QByteArray>> readInputLine()
{
    struct Reader {
        QByteArray line;
        bool complete = false;
        bool tooLong = false;
        Wakeup done;
    };
    auto reader = std::make_shared<Reader>();
    QSocketNotifier notifier(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [reader, &notifier] {
        // One byte at a time: a read never blocks, and what follows the
        // line stays for whoever reads next.
        char c = 0;
        ssize_t n = 0;
        do {
            n = ::read(STDIN_FILENO, &c, 1);
        } while (n < 0 && errno == EINTR);
        if (n > 0 && c != '\n') {
            reader->line += c;
            if (reader->line.size() <= lineLimit)
                return;
            reader->tooLong = true;
        } else {
            reader->complete = n > 0;
        }
        notifier.setEnabled(false);
        // Resumed from the loop, not from inside the notifier that is about to go.
        QTimer::singleShot(0, [reader] { reader->done.fire(); });
    });
    co_await reader->done;
    if (reader->tooLong || (!reader->complete && reader->line.isEmpty()))
        co_return std::nullopt;
    co_return reader->line;
}

QCoro::Task<QUrl> TerminalLoginPresenter::callback(QUrl authorizationURL, QString redirectPrefix)
{
    const QString address = authorizationURL.toString(QUrl::FullyEncoded);
    m_out << "Open this address to sign in to Sonos:" << Qt::endl << address << Qt::endl;
    if (m_openBrowser) {
        const QString opener = QStandardPaths::findExecutable(QStringLiteral("xdg-open"));
        if (opener.isEmpty() || !QProcess::startDetached(opener, {address}))
            m_out << "No web browser could be opened; open the address yourself." << Qt::endl;
    }
    m_out << "Then paste the address your browser was sent to:" << Qt::endl;
    const auto line = co_await readInputLine();
    if (!line || line->trimmed().isEmpty()) // Enter alone gives nothing either
        throw LoginInputFailure(QStringLiteral("No address was given; the sign-in was not finished."));
    const QUrl redirect(QString::fromUtf8(*line).trimmed());
    if (!SonosLogin::isRedirect(redirect, redirectPrefix))
        throw LoginInputFailure(QStringLiteral("That is not the address Sonos sends you back to; it starts with %1.").arg(redirectPrefix));
    co_return redirect;
}

} // namespace velotte::cli
