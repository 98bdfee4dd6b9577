// velotte-widget: a small desktop window with the room, the track and the
// favorites, from the snapshot the controller writes.
#include "widgetview.h"

#include "app/widgetsnapshot.h"

#include <QGuiApplication>
#include <QQmlContext>
#include <QQuickView>

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("velotte-widget"));
    QGuiApplication::setApplicationDisplayName(QStringLiteral("Velotte"));
    QGuiApplication::setDesktopFileName(QStringLiteral("velotte-widget"));

    velotte::WidgetFeed feed(velotte::ControllerWidgetSnapshot::file());
    QQuickView view;
    view.setTitle(QStringLiteral("Velotte"));
    view.setColor(Qt::transparent);
    view.setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint);
    view.rootContext()->setContextProperty(QStringLiteral("feed"), &feed);
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setSource(QUrl(QStringLiteral("qrc:/velotte/qml/Widget.qml")));
    if (view.status() == QQuickView::Error)
        return 1;
    view.show();
    return app.exec();
}
