#pragma once

#include "cloud/sonosauth.h"

#include "core/wakeup.h"

#include <QPointer>
#include <QWidget>

#include <optional>

class QLabel;
class QProgressBar;
class QWebEngineView;

namespace velotte {

// The Sonos sign-in page in a window of its own. Every navigation is checked
// before it loads: the redirect back to the program ends the flow and is
// never loaded. Cancel, closing the window or a crashed web process end it
// with cancellation; the flow resumes its caller exactly once.
class SignInWindow : public QWidget {
    Q_OBJECT
public:
    SignInWindow(QUrl authorization, QString redirectPrefix, QWidget *parent = nullptr);
    ~SignInWindow() override;
    // The redirect address, or Cancelled / SonosError::authorization.
    QCoro::Task<QUrl> result();
    bool loadingShown() const;

Q_SIGNALS:
    // "VelotteLoginDidClose": the window closed, whatever ended the flow.
    void didClose();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    friend class SignInPage;
    void finish(std::optional<QUrl> redirect);

    QString m_prefix;
    QWebEngineView *m_view;
    QLabel *m_label;
    QProgressBar *m_progress;
    bool m_resumed = false;
    bool m_closed = false;
    std::optional<QUrl> m_redirect;
    Wakeup m_done;
};

// Shows a SignInWindow for each sign-in. The shell listens to didClose to
// bring its panel back.
class WindowLoginPresenter final : public QObject, public LoginPresenter {
    Q_OBJECT
public:
    using QObject::QObject;
    QCoro::Task<QUrl> callback(QUrl authorizationURL, QString redirectPrefix) override;

Q_SIGNALS:
    // "VelotteLoginDidClose"
    void didClose();
};

} // namespace velotte
