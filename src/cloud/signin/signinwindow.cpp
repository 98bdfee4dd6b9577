#include "signinwindow.h"

#include "cloud/sonoserror.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWebEnginePage>
#include <QWebEngineView>

namespace velotte {

class SignInPage final : public QWebEnginePage {
public:
    SignInPage(SignInWindow *window) : QWebEnginePage(window), m_window(window)
    {
        // Without its web process the page can never reach the redirect.
        QObject::connect(this, &QWebEnginePage::renderProcessTerminated, window, [window] { window->finish(std::nullopt); });
    }

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType, bool) override
    {
        if (SonosLogin::isRedirect(url, m_window->m_prefix)) {
            m_window->finish(url); // the redirect itself is never loaded
            return false;
        }
        return true;
    }

private:
    SignInWindow *m_window;
};

SignInWindow::SignInWindow(QUrl authorization, QString redirectPrefix, QWidget *parent)
    : QWidget(parent), m_prefix(std::move(redirectPrefix)), m_view(new QWebEngineView(this)), m_label(new QLabel(this)),
      m_progress(new QProgressBar(this))
{
    setWindowTitle(QStringLiteral("Sign in to Sonos"));
    resize(640, 480);
    m_view->setPage(new SignInPage(this));
    m_label->setText(QStringLiteral("Loading Sonos sign-in…"));
    m_progress->setRange(0, 0); // spinning until the first page is there
    auto *cancel = new QPushButton(QStringLiteral("Cancel"), this);
    auto *bar = new QHBoxLayout;
    bar->addWidget(m_progress);
    bar->addWidget(m_label, 1);
    bar->addWidget(cancel);
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 8);
    layout->addWidget(m_view, 1);
    layout->addLayout(bar);
    QObject::connect(cancel, &QPushButton::clicked, this, [this] { finish(std::nullopt); });
    QObject::connect(m_view, &QWebEngineView::loadFinished, this, [this](bool loaded) {
        if (!loaded)
            return; // a cancelled redirect is not a page
        m_progress->hide();
        m_label->hide();
    });
    m_view->load(authorization);
}

SignInWindow::~SignInWindow() { finish(std::nullopt); }

bool SignInWindow::loadingShown() const { return m_label->isVisibleTo(this); }

void SignInWindow::finish(std::optional<QUrl> redirect)
{
    if (m_resumed)
        return; // whatever ends the flow, it ends once
    m_resumed = true;
    m_redirect = std::move(redirect);
    m_done.fire();
}

QCoro::Task<QUrl> SignInWindow::result()
{
    co_await m_done;
    if (!m_redirect)
        throw Cancelled();
    co_return SonosLogin::callbackResult(*m_redirect);
}

void SignInWindow::closeEvent(QCloseEvent *event)
{
    finish(std::nullopt);
    QWidget::closeEvent(event);
    if (!m_closed) { // a window is closed once, however often close() is called
        m_closed = true;
        Q_EMIT didClose();
    }
}

QCoro::Task<QUrl> WindowLoginPresenter::callback(QUrl authorizationURL, QString redirectPrefix)
{
    auto *window = new SignInWindow(authorizationURL, redirectPrefix);
    window->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(window, &SignInWindow::didClose, this, &WindowLoginPresenter::didClose);
    window->show();
    window->raise();
    window->activateWindow();
    QPointer<SignInWindow> guard(window);
    std::optional<QUrl> url;
    std::exception_ptr error;
    try {
        url = co_await window->result();
    } catch (...) {
        error = std::current_exception();
    }
    if (guard)
        guard->close();
    if (error)
        std::rethrow_exception(error);
    co_return *url;
}

} // namespace velotte
