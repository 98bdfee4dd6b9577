#include "controllershell.h"

#include "alldesktops.h"
#include "controllerbridge.h"
#include "controllerplacement.h"

#include "core/logging.h"
#include "session/housesession.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickImageProvider>
#include <QQuickView>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QVariantAnimation>

namespace velotte {

namespace {
// The picture the track notes fetched, decoded for the artwork view.
class ArtworkImages final : public QQuickImageProvider {
public:
    explicit ArtworkImages(ControllerBridge &bridge) : QQuickImageProvider(QQuickImageProvider::Image), m_bridge(&bridge) {}
    QImage requestImage(const QString &, QSize *size, const QSize &requested) override
    {
        QImage image;
        if (m_bridge)
            image.loadFromData(m_bridge->picture());
        if (!image.isNull() && requested.isValid())
            image = image.scaled(requested, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
        if (size)
            *size = image.size();
        return image;
    }

private:
    QPointer<ControllerBridge> m_bridge;
};
} // namespace

ControllerShell::ControllerShell(HouseSession &session, ControllerBridge &bridge, Options options, QObject *parent)
    : QObject(parent), m_session(session), m_bridge(bridge), m_options(std::move(options))
{
    // Polling is off until the panel is first shown.
    m_session.setPollingEnabled(false);

    m_panel = new QQuickView;
    m_panel->setTitle(QStringLiteral("Velotte"));
    m_panel->setColor(Qt::transparent);
    QSurfaceFormat format = m_panel->format();
    format.setAlphaBufferSize(8);
    m_panel->setFormat(format);
    if (m_options.tray)
        m_panel->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint);
    else
        m_panel->setFlags(Qt::Window | Qt::FramelessWindowHint);
    m_panel->setResizeMode(QQuickView::SizeRootObjectToView);
    m_panel->rootContext()->setContextProperty(QStringLiteral("session"), &m_session);
    m_panel->rootContext()->setContextProperty(QStringLiteral("controller"), &m_bridge);
    m_panel->rootContext()->setContextProperty(QStringLiteral("reducedMotion"), m_options.reducedMotion);
    m_panel->engine()->addImageProvider(QStringLiteral("velotte"), new ArtworkImages(m_bridge));
    m_panel->resize(m_size);
    m_panel->setSource(QUrl(m_options.qmlRoot));
    for (const QQmlError &e : m_panel->errors())
        qCWarning(lcApp) << "panel:" << e.toString();
    m_panel->installEventFilter(this);

    connect(m_panel, &QWindow::visibleChanged, this, &ControllerShell::visibilityChanged);
    connect(m_panel, &QWindow::activeChanged, this, [this] {
        // Another window took the focus, maybe by a click outside the panel.
        if (m_options.tray && m_panel->isVisible() && !m_panel->isActive() && m_wasActive)
            hideByOutsideClick();
        m_wasActive = m_panel->isActive();
    });
    connect(&m_bridge, &ControllerBridge::hideRequested, this, &ControllerShell::hideController);
    m_grabRetry = new QTimer(this);
    m_grabRetry->setSingleShot(true);
    m_grabRetry->setInterval(50);
    connect(m_grabRetry, &QTimer::timeout, this, &ControllerShell::grabInput);
    connect(&m_bridge, &ControllerBridge::sizeRequested, this, &ControllerShell::resizeController);

    m_animation = new QVariantAnimation(this);
    m_animation->setDuration(500);
    m_animation->setEasingCurve(QEasingCurve::OutCubic);
    connect(m_animation, &QVariantAnimation::valueChanged, this, [this](const QVariant &v) { m_panel->setGeometry(v.toRect()); });

    if (m_options.tray) {
        m_tray = new QSystemTrayIcon(this);
        m_tray->setToolTip(QStringLiteral("Velotte"));
        connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::Context || reason == QSystemTrayIcon::DoubleClick) {
                // The click that took the focus away already hid the panel.
                if (m_hiddenByOutsideClick.isValid() && m_hiddenByOutsideClick.elapsed() < 300)
                    return;
                // The pointer is on the icon; only X11 reports it outside our own windows.
                if (!m_tray->geometry().isValid() && QGuiApplication::platformName() == QLatin1String("xcb"))
                    m_clickedAt = QRectF(QPointF(QCursor::pos()) - QPointF(12, 12), QSizeF(24, 24));
                toggle();
            }
        });
        connect(m_session.playback(), &SessionPlayback::isPlayingChanged, this, &ControllerShell::refreshIcon);
        refreshIcon();
        m_tray->show();
    }
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &ControllerShell::placeAgain);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &ControllerShell::placeAgain);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &ControllerShell::placeAgain);
    for (QScreen *s : QGuiApplication::screens())
        connect(s, &QScreen::availableGeometryChanged, this, &ControllerShell::placeAgain);
    connect(qGuiApp, &QGuiApplication::screenAdded, this,
            [this](QScreen *s) { connect(s, &QScreen::availableGeometryChanged, this, &ControllerShell::placeAgain); });
}

ControllerShell::~ControllerShell() { delete m_panel; }

bool ControllerShell::desktopAsksReducedMotion()
{
    if (qEnvironmentVariableIsSet("VELOTTE_REDUCED_MOTION"))
        return qEnvironmentVariableIntValue("VELOTTE_REDUCED_MOTION") == 1;
    // GNOME and most GTK desktops mirror their animation switch here.
    for (const char *version : {"gtk-4.0", "gtk-3.0"}) {
        const QString file = QStandardPaths::locate(QStandardPaths::GenericConfigLocation, QLatin1String(version) + QStringLiteral("/settings.ini"));
        if (file.isEmpty())
            continue;
        const QVariant value = QSettings(file, QSettings::IniFormat).value(QStringLiteral("Settings/gtk-enable-animations"));
        if (value.isValid())
            return value.toString() == u"false" || value.toString() == u"0";
    }
    return false;
}

QString ControllerShell::iconName() const
{
    return m_session.playback()->isPlaying() ? QStringLiteral("velotte-speaker-filled-symbolic") : QStringLiteral("velotte-speaker-symbolic");
}

void ControllerShell::refreshIcon()
{
    if (!m_tray)
        return;
    // Installed, the icon goes to the tray by name and the desktop recolours
    // it; otherwise the same picture, in a grey that reads on either panel.
    const QString name = iconName();
    m_tray->setIcon(QIcon::fromTheme(name, QIcon(QStringLiteral(":/velotte/icons/%1.svg").arg(name))));
}

bool ControllerShell::isShown() const { return m_panel->isVisible(); }

void ControllerShell::toggle()
{
    if (isShown())
        hideController();
    else
        showController();
}

QRectF ControllerShell::controllerFrame(QSize size) const
{
    QRectF anchor;
    if (m_tray)
        anchor = m_tray->geometry();
    if (!anchor.isValid())
        anchor = m_clickedAt;
    QScreen *screen = anchor.isValid() ? QGuiApplication::screenAt(anchor.center().toPoint()) : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return QRectF(QPointF(0, 0), QSizeF(size));
    const QRectF available = screen->availableGeometry();
    if (!anchor.isValid()) {
        // No icon position (a bare tray or none): the top-right corner, where trays live.
        anchor = QRectF(available.right() - 40, available.top() - 24, 24, 24);
        if (!m_tray)
            anchor.moveCenter(QPointF(available.center().x(), available.top() - 12));
    }
    return ControllerPlacement::frame(QSizeF(size), anchor, available);
}

void ControllerShell::showController()
{
    m_animation->stop();
    m_panel->setGeometry(controllerFrame(m_size).toRect());
    if (m_options.tray)
        showOnAllDesktops(m_panel);
    m_panel->show();
    m_panel->raise();
    m_panel->requestActivate();
    m_grabTries = 0;
    grabInput();
}

void ControllerShell::hideController()
{
    m_animation->stop();
    releaseInput();
    m_panel->hide();
}

void ControllerShell::hideByOutsideClick()
{
    // The same click may reach the tray icon next: it must not reopen the panel.
    m_hiddenByOutsideClick.start();
    hideController();
}

// Tray popups on X11 hold the pointer and keyboard while open: a click
// anywhere else and Escape reach the panel even where the window manager
// never gives it the focus. A Qt::Popup window would not do: on X11 it
// bypasses the window manager (no focus, no desktops) and QtGui does not
// close it on an outside click; on Wayland it needs a parent window. Wayland
// has no grabs at all: losing the focus hides the panel there.
void ControllerShell::grabInput()
{
    if (!m_options.tray || m_grabbed || !m_panel->isVisible() || QGuiApplication::platformName() != QLatin1String("xcb"))
        return;
    // Until the window is mapped the server refuses; then another client may
    // still hold the pointer for the click that opened the panel.
    if (m_panel->isExposed() && m_panel->setMouseGrabEnabled(true)) {
        if (m_panel->setKeyboardGrabEnabled(true)) {
            m_grabbed = true;
            return;
        }
        m_panel->setMouseGrabEnabled(false);
    }
    ++m_grabTries;
    if (m_grabTries < 40)
        m_grabRetry->start();
    else if (m_grabTries == 40)
        qCInfo(lcApp) << "the panel could not take the pointer and keyboard; it hides when it loses the focus";
}

void ControllerShell::releaseInput()
{
    m_grabRetry->stop();
    if (!m_grabbed)
        return;
    m_grabbed = false;
    m_panel->setKeyboardGrabEnabled(false);
    m_panel->setMouseGrabEnabled(false);
}

void ControllerShell::resizeController(QSize size)
{
    if (!size.isValid() || size == m_size)
        return;
    m_size = size;
    if (!isShown())
        return;
    const QRect target = controllerFrame(size).toRect();
    if (m_options.reducedMotion) {
        m_panel->setGeometry(target);
        return;
    }
    m_animation->stop();
    m_animation->setStartValue(m_panel->geometry());
    m_animation->setEndValue(target);
    m_animation->start();
}

void ControllerShell::placeAgain()
{
    if (isShown())
        m_panel->setGeometry(controllerFrame(m_size).toRect());
}

void ControllerShell::visibilityChanged()
{
    const bool shown = m_panel->isVisible();
    if (shown == m_wasShown)
        return;
    m_wasShown = shown;
    if (!shown)
        releaseInput();
    m_session.setPollingEnabled(shown);
    Q_EMIT shownChanged(shown);
}

bool ControllerShell::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_panel)
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
            hideController();
            return true;
        }
        break;
    case QEvent::MouseButtonPress:
        // Holding the pointer, the panel hears of presses anywhere on the screen.
        if (m_grabbed && !QRectF(QPointF(), m_panel->size()).contains(static_cast<QMouseEvent *>(event)->position())) {
            hideByOutsideClick();
            return true;
        }
        break;
    case QEvent::Expose:
        grabInput();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace velotte
