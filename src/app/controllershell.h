#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSize>

class QQuickView;
class QSystemTrayIcon;
class QTimer;
class QVariantAnimation;
class QQmlEngine;

namespace velotte {

class ControllerBridge;
class HouseSession;

// The tray icon and the floating controller panel: shows and hides the
// panel, places it under the icon, follows its size, and turns the
// session's polling on only while it is shown.
class ControllerShell : public QObject {
    Q_OBJECT
public:
    struct Options {
        bool tray = true;          // false: no system tray, the panel is a normal window
        bool reducedMotion = false;
        QString qmlRoot = QStringLiteral("qrc:/velotte/qml/Panel.qml");
    };

    ControllerShell(HouseSession &session, ControllerBridge &bridge, Options options, QObject *parent = nullptr);
    ~ControllerShell() override;

    // Shows a hidden panel and hides a shown one.
    void toggle();
    void showController();
    void hideController();
    void resizeController(QSize size);
    bool isShown() const;
    QSize controllerSize() const { return m_size; }
    QQuickView *panel() const { return m_panel; }
    QSystemTrayIcon *tray() const { return m_tray; }
    // Where the panel goes for a size, under the tray icon.
    QRectF controllerFrame(QSize size) const;
    // True when the desktop asks for less motion: GTK's "gtk-enable-animations"
    // switched off, or VELOTTE_REDUCED_MOTION=1.
    static bool desktopAsksReducedMotion();
    // The icon follows playback: filled while playing. A symbolic themed
    // name, so the desktop paints it in its panel's colours.
    QString iconName() const;
    // Whether the panel holds the pointer and keyboard (X11 only).
    bool grabsInput() const { return m_grabbed; }

Q_SIGNALS:
    void shownChanged(bool shown);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void refreshIcon();
    void placeAgain();
    void visibilityChanged();
    void hideByOutsideClick();
    void grabInput();
    void releaseInput();

    HouseSession &m_session;
    ControllerBridge &m_bridge;
    Options m_options;
    QQuickView *m_panel = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    QVariantAnimation *m_animation = nullptr;
    QSize m_size{340, 620};
    QElapsedTimer m_hiddenByOutsideClick;
    // Where the pointer was when the icon was clicked, for trays that do not
    // tell where their icons are (StatusNotifierItem).
    QRectF m_clickedAt;
    bool m_wasShown = false;
    bool m_wasActive = false;
    // Another client may hold the pointer for a moment (the tray's own click).
    QTimer *m_grabRetry = nullptr;
    int m_grabTries = 0;
    bool m_grabbed = false;
};

} // namespace velotte
