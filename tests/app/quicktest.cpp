#include <QQmlContext>
#include <QQmlEngine>
#include <QQmlPropertyMap>
#include <QtQuickTest>

// The views read two objects the application puts in their context; the
// tests give them stand-ins whose properties a test case sets at will.
class ViewContext : public QObject {
    Q_OBJECT
public Q_SLOTS:
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        auto *notes = new QQmlPropertyMap(engine);
        notes->insert(QStringLiteral("lyricsState"), 0);
        auto *controller = new QQmlPropertyMap(engine);
        controller->insert(QStringLiteral("showLyrics"), true);
        controller->insert(QStringLiteral("notes"), QVariant::fromValue<QObject *>(notes));
        controller->insert(QStringLiteral("lyricLines"), QVariantList());
        auto *session = new QQmlPropertyMap(engine);
        session->insert(QStringLiteral("positionMillis"), 0);
        engine->rootContext()->setContextProperty(QStringLiteral("controller"), controller);
        engine->rootContext()->setContextProperty(QStringLiteral("session"), session);
    }
};

QUICK_TEST_MAIN_WITH_SETUP(velotte_views, ViewContext)

#include "quicktest.moc"
