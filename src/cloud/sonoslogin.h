#pragma once

#include <QCoroTask>
#include <QString>
#include <QUrl>

#include <optional>

namespace velotte {

// Shows the sign-in page and answers the address the browser was sent back
// to (the window, or a person pasting it on the command line). Throws
// Cancelled when the person gives up.
class LoginPresenter {
public:
    virtual ~LoginPresenter() = default;
    virtual QCoro::Task<QUrl> callback(QUrl authorizationURL, QString redirectPrefix) = 0;
};

// The checks every presenter makes on the address the flow ends at.
namespace SonosLogin {
// The redirect that ends the flow: its text starts with the redirect
// address and its query holds "code" or "error".
bool isRedirect(const QUrl &url, const QString &prefix);
// The redirect itself, or SonosError::authorization for an "error" redirect.
QUrl callbackResult(const QUrl &url);
// The code, when the state is the one sent and the code is not empty.
std::optional<QString> authorizationCode(const QUrl &url, const QString &expectedState);
} // namespace SonosLogin

} // namespace velotte
