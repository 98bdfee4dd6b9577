#include "autostart.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace velotte {

namespace {
// TryExec lets the desktop skip the entry once the program is uninstalled.
const char entry[] =
    "[Desktop Entry]\n"
    "Type=Application\n"
    "Name=Velotte\n"
    "Comment=Control your Sonos speakers from the tray\n"
    "Exec=velotte --hidden\n"
    "TryExec=velotte\n"
    "Icon=velotte\n"
    "Terminal=false\n"
    "X-GNOME-Autostart-enabled=true\n";
} // namespace

Autostart::Autostart(QString file) : m_file(std::move(file)) {}

QString Autostart::defaultFile()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart/velotte.desktop");
}

bool Autostart::enabled() const
{
    QFile f(m_file);
    if (!f.open(QIODevice::ReadOnly))
        return false;
    // Ours is a few lines; a huge file in its place is read no further than this.
    const QList<QByteArray> lines = f.read(64 * 1024).split('\n');
    for (const QByteArray &raw : lines) {
        const QByteArray line = raw.trimmed();
        if (line == "Hidden=true" || line == "X-GNOME-Autostart-enabled=false")
            return false;
    }
    return true;
}

bool Autostart::setEnabled(bool on)
{
    m_error.clear();
    if (!on) {
        if (!QFileInfo::exists(m_file) || QFile::remove(m_file))
            return true;
        m_error = QStringLiteral("Could not remove %1.").arg(m_file);
        return false;
    }
    QDir().mkpath(QFileInfo(m_file).absolutePath());
    QSaveFile f(m_file);
    if (f.open(QIODevice::WriteOnly) && f.write(entry) == qint64(sizeof entry - 1) && f.commit())
        return true;
    m_error = QStringLiteral("Could not write %1: %2.").arg(m_file, f.errorString());
    return false;
}

} // namespace velotte
