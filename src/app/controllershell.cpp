#include "controllershell.h"

#include "alldesktops.h"
#include "controllerbridge.h"
#include "controllerplacement.h"

#include "core/logging.h"
#include "session/housesession.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickImageProvider>
#include <QQuickView>
#include <QScreen>
#include <QSettings>
#include <QStandardPaths>
#include <QSystemTrayIcon>
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
        // A click outside the panel takes the focus away from it.
        if (m_options.tray && m_panel->isVisible() && !m_panel->isActive() && m_wasActive) {
            m_hiddenByOutsideClick.start();
            hideController();
        }
        m_wasActive = m_panel->isActive();
    });
    connect(&m_bridge, &ControllerBridge::hideRequested, this, &ControllerShell::hideController);
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

QString ControllerShell::iconName() const { return m_session.playback()->isPlaying() ? QStringLiteral("speaker-filled") : QStringLiteral("speaker"); }

void ControllerShell::refreshIcon()
{
    if (!m_tray)
        return;
    m_tray->setIcon(QIcon(QStringLiteral(":/velotte/icons/%1.svg").arg(iconName())));
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
}

void ControllerShell::hideController()
{
    m_animation->stop();
    m_panel->hide();
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
    m_session.setPollingEnabled(shown);
    Q_EMIT shownChanged(shown);
}

bool ControllerShell::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_panel && event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
        hideController();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace velotte
