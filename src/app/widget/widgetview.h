#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QVariantList>

namespace velotte {

// The desktop widget's data: the snapshot file the controller writes,
// read again whenever it is replaced.
class WidgetFeed : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString room READ room NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString artist READ artist NOTIFY changed)
    Q_PROPERTY(bool playing READ playing NOTIFY changed)
    Q_PROPERTY(QVariantList picks READ picks NOTIFY changed)
    Q_PROPERTY(bool available READ available NOTIFY changed)
public:
    explicit WidgetFeed(QString file, QObject *parent = nullptr);

    QString room() const { return m_room; }
    QString title() const { return m_title; }
    QString artist() const { return m_artist; }
    bool playing() const { return m_playing; }
    QVariantList picks() const { return m_picks; }
    bool available() const { return m_available; }
    int reloads() const { return m_reloads; }

    // Reads the file; a missing or broken one shows the empty widget.
    void reload();
    // Opens "velotte://favorite/ID" in the controller.
    Q_INVOKABLE void openPick(const QString &id);
    // Asks the controller to read the household and its favorites again.
    Q_INVOKABLE void refreshController();
    static QUrl linkFor(const QString &id);

Q_SIGNALS:
    void changed();

private:
    void watch();
    void open(const QUrl &link);

    QString m_file;
    QFileSystemWatcher m_watcher;
    QString m_room;
    QString m_title = QStringLiteral("Open your controller");
    QString m_artist;
    bool m_playing = false;
    QVariantList m_picks;
    bool m_available = false;
    int m_reloads = 0;
};

} // namespace velotte
