#pragma once

#include <QString>

namespace velotte {

// The desktop's autostart entry for the tray program
// ($XDG_CONFIG_HOME/autostart/velotte.desktop): present, it starts Velotte
// hidden in the tray at login. The panel and velottectl share it, so either
// can switch it and both see the same state.
class Autostart {
public:
    explicit Autostart(QString file = defaultFile());

    static QString defaultFile();
    QString file() const { return m_file; }

    // On when the entry exists and the desktop was not told to skip it
    // (Hidden=true, or GNOME's own off switch).
    bool enabled() const;
    // Writes or removes the entry. On failure returns false and error()
    // holds a sentence that names the file.
    bool setEnabled(bool on);
    QString error() const { return m_error; }

private:
    QString m_file;
    QString m_error;
};

} // namespace velotte
