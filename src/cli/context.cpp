#include "context.h"

#include "wiring.h"

#include "core/settings.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cstdio>

namespace velotte::cli {

namespace {
// The rooms of the last household read, one name a line, for the shell's
// completion: it must not reach the network to offer them.
void rememberRooms(const QList<SonosPlayer> &players)
{
    QStringList names;
    for (const SonosPlayer &p : players) {
        const QString name = p.name.simplified();
        if (!name.isEmpty() && !names.contains(name))
            names << name;
    }
    if (names.isEmpty())
        return;
    QDir().mkpath(Paths::cacheDir());
    QSaveFile f(Paths::cacheDir() + QStringLiteral("/rooms"));
    if (f.open(QIODevice::WriteOnly) && f.write((names.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8()) > 0)
        f.commit(); // a cache: when it cannot be written, completion offers no rooms
}
} // namespace

std::vector<Command> &commands()
{
    static std::vector<Command> all;
    return all;
}

Context::Context(GlobalOptions options)
    : m_options(std::move(options)), m_out(stdout), m_err(stderr), m_wiring(std::make_unique<Wiring>(m_options))
{
    m_session = std::make_unique<HouseSession>(m_wiring->services());
}

Context::~Context()
{
    m_session.reset();
}

QCoro::Task<bool> Context::readLibrary()
{
    HouseSession &s = session();
    if (s.demo())
        co_return true;
    co_await s.library()->refreshLibrary();
    if (const auto note = s.library()->libraryNote()) {
        m_err << *note << Qt::endl;
        co_return false;
    }
    co_return true;
}

QCoro::Task<bool> Context::start()
{
    if (m_options.demo) {
        m_session->loadDemo();
    } else {
        co_await m_session->bootstrap();
    }
    if (m_session->phase() != HouseSession::Phase::ready) {
        // matrix: fallback (the session names the reason first)
        fail(QStringLiteral("No Sonos household could be reached."));
        co_return false;
    }
    if (!m_options.demo)
        rememberRooms(m_session->players());
    if (m_options.room) {
        const auto group = findGroup(*m_options.room);
        if (!group) {
            m_err << QStringLiteral("No room is called \"%1\".").arg(*m_options.room) << Qt::endl;
            co_return false;
        }
        m_session->choose(group->id);
        co_await m_session->playback()->refreshPlayback();
    } else if (m_session->guest() && !m_options.demo) {
        co_await m_session->playback()->refreshPlayback(); // discovery reads rooms, not what plays
    }
    co_return true;
}

int Context::fail(const QString &fallback)
{
    const QString sentence = m_session->noteText().isEmpty() ? fallback : m_session->noteText();
    // matrix: fallback (the session names the reason first)
    m_err << (sentence.isEmpty() ? QStringLiteral("The command failed.") : sentence) << Qt::endl;
    return failed;
}

int Context::usageError(const QString &message)
{
    m_err << message << Qt::endl;
    return usage;
}

void Context::printJson(const QJsonValue &value)
{
    const QByteArray text = value.isArray() ? QJsonDocument(value.toArray()).toJson(QJsonDocument::Indented)
                                            : QJsonDocument(value.toObject()).toJson(QJsonDocument::Indented);
    m_out << QString::fromUtf8(text);
    m_out.flush();
}

std::optional<SonosGroup> Context::findGroup(const QString &name) const
{
    for (const SonosGroup &g : m_session->groups()) {
        if (g.name.compare(name, Qt::CaseInsensitive) == 0 || g.id == name)
            return g;
    }
    if (const auto player = findPlayer(name)) {
        for (const SonosGroup &g : m_session->groups()) {
            if (g.playerIds.contains(player->id))
                return g;
        }
    }
    return std::nullopt;
}

std::optional<SonosPlayer> Context::findPlayer(const QString &name) const
{
    for (const SonosPlayer &p : m_session->players()) {
        if (p.name.compare(name, Qt::CaseInsensitive) == 0 || p.id == name)
            return p;
    }
    return std::nullopt;
}

} // namespace velotte::cli
