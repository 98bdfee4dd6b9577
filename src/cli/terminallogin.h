#pragma once

#include "cloud/sonoslogin.h"

#include <QTextStream>

namespace velotte::cli {

// The sign-in from a terminal: prints the authorization address, opens it in
// the browser when asked to and one exists, then waits for the person to
// paste the address the browser landed on.
class TerminalLoginPresenter final : public LoginPresenter {
public:
    TerminalLoginPresenter(QTextStream &out, bool openBrowser) : m_out(out), m_openBrowser(openBrowser) {}
    QCoro::Task<QUrl> callback(QUrl authorizationURL, QString redirectPrefix) override;

private:
    QTextStream &m_out;
    bool m_openBrowser;
};

// One line of standard input without blocking the event loop; none at the
// end of input.
QCoro::Task<std::optional<QByteArray>> readInputLine();

} // namespace velotte::cli
