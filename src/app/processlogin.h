#pragma once

#include "cloud/sonoslogin.h"

#include <QObject>

namespace velotte {

// Shows the Sonos sign-in page through the separate `velotte-signin`
// program, so the web engine is loaded only while someone signs in and
// never in the controller itself.
class ProcessLoginPresenter final : public QObject, public LoginPresenter {
    Q_OBJECT
public:
    explicit ProcessLoginPresenter(QString program = defaultProgram(), QObject *parent = nullptr);
    // The redirect address; Cancelled when the window was closed, or
    // SonosError::authorization when the page could not run.
    QCoro::Task<QUrl> callback(QUrl authorizationURL, QString redirectPrefix) override;
    static QString defaultProgram();

    // Exit codes of the sign-in program.
    enum Exit { signedIn = 0, cancelled = 3, failed = 4 };

Q_SIGNALS:
    // The sign-in window is up and wants the screen, pointer and keyboard.
    void didOpen();
    // "VelotteLoginDidClose": the sign-in window closed, however it ended.
    void didClose();

private:
    QString m_program;
};

} // namespace velotte
