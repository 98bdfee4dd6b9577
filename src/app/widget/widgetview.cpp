#include "widgetview.h"

#include "app/widgetsnapshot.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

namespace velotte {

WidgetFeed::WidgetFeed(QString file, QObject *parent) : QObject(parent), m_file(std::move(file))
{
    // The file is replaced, not rewritten: watch the folder to see it come back.
    QDir().mkpath(QFileInfo(m_file).absolutePath());
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &WidgetFeed::reload);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &WidgetFeed::reload);
    m_watcher.addPath(QFileInfo(m_file).absolutePath());
    reload();
}

void WidgetFeed::watch()
{
    if (QFileInfo::exists(m_file) && !m_watcher.files().contains(m_file))
        m_watcher.addPath(m_file);
}

void WidgetFeed::reload()
{
    watch();
    QFile in(m_file);
    std::optional<ControllerWidgetSnapshot> s;
    // A snapshot is a few hundred bytes; a huge file is not one of ours.
    if (in.open(QIODevice::ReadOnly) && in.size() < 1 << 20)
        s = ControllerWidgetSnapshot::decode(in.readAll());
    ++m_reloads;
    m_available = s.has_value();
    if (!s)
        s = ControllerWidgetSnapshot{{}, QStringLiteral("Open your controller"), {}, false, {}, {}};
    m_room = s->room;
    m_title = s->title;
    m_artist = s->artist;
    m_playing = s->playing;
    m_picks.clear();
    for (const ControllerWidgetSnapshot::Pick &p : s->picks)
        m_picks.append(QVariantMap{{QStringLiteral("id"), p.id}, {QStringLiteral("name"), p.name}});
    Q_EMIT changed();
}

QUrl WidgetFeed::linkFor(const QString &id)
{
    QUrl link;
    link.setScheme(QStringLiteral("velotte"));
    link.setHost(QStringLiteral("favorite"));
    link.setPath(QLatin1Char('/') + id);
    return link;
}

void WidgetFeed::openPick(const QString &id) { open(linkFor(id)); }

void WidgetFeed::refreshController() { open(QUrl(QStringLiteral("velotte://refresh"))); }

void WidgetFeed::open(const QUrl &link)
{
    // The desktop hands the link to the registered controller; without an
    // installed desktop file, start the controller beside this program.
    if (QDesktopServices::openUrl(link))
        return;
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/velotte");
    QProcess::startDetached(QFileInfo::exists(beside) ? beside : QStringLiteral("velotte"), {link.toString()});
}

} // namespace velotte
