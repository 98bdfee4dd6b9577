#pragma once

#include "command.h"

#include "session/housesession.h"

#include <QJsonValue>

#include <memory>
#include <optional>

namespace velotte {
class SonosClient;
class TokenProvider;
class SignInService;
struct LocalPorts;
} // namespace velotte

namespace velotte::cli {

class Wiring;

struct GlobalOptions {
    bool demo = false;
    bool guest = false;
    QStringList speakers;
    std::optional<QString> room;
    bool json = false;
};

// Everything a command needs: the session, built the way the options ask,
// and the terminal.
class Context {
public:
    explicit Context(GlobalOptions options);
    ~Context();

    const GlobalOptions &options() const { return m_options; }
    HouseSession &session() { return *m_session; }
    Wiring &wiring() { return *m_wiring; }
    QTextStream &out() { return m_out; }
    QTextStream &err() { return m_err; }

    // Starts the session as the options ask and selects --room. Returns
    // false after printing why when no room can be controlled.
    QCoro::Task<bool> start();
    // Reads favorites and playlists (the demo has them already). Returns
    // false after printing why when they could not be read.
    QCoro::Task<bool> readLibrary();
    // Prints the session's status sentence (or a fallback) and returns `failed`.
    int fail(const QString &fallback = {});
    int usageError(const QString &message);
    void printJson(const QJsonValue &value);

    // Finds a group by its name or any of its rooms' names, case-insensitively.
    std::optional<SonosGroup> findGroup(const QString &name) const;
    std::optional<SonosPlayer> findPlayer(const QString &name) const;

private:
    GlobalOptions m_options;
    QTextStream m_out;
    QTextStream m_err;
    std::unique_ptr<Wiring> m_wiring;
    std::unique_ptr<HouseSession> m_session;
};

} // namespace velotte::cli
