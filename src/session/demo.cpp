// The built-in demo household: two rooms and three classical pieces.
#include "housesession.h"

namespace velotte {

void HouseSession::loadDemo()
{
    invalidateConnectionWork();
    setMode(true, false);
    m_guestHosts.clear();
    setPhase(Phase::ready);
    m_householdID = QStringLiteral("demo");
    setHouseholdName(QStringLiteral("Home"));
    setPlayers({{QStringLiteral("living"), QStringLiteral("Living Room"), std::nullopt, QStringLiteral("sonos-five")},
                {QStringLiteral("bedroom"), QStringLiteral("Bedroom"), std::nullopt, QStringLiteral("sonos-one")}});
    setGroups({{QStringLiteral("living"), QStringLiteral("Living Room"), QStringLiteral("living"), QStringLiteral("PLAYBACK_STATE_PLAYING"), {QStringLiteral("living")}},
               {QStringLiteral("bedroom"), QStringLiteral("Bedroom"), QStringLiteral("bedroom"), QStringLiteral("PLAYBACK_STATE_IDLE"), {QStringLiteral("bedroom")}}});
    setActiveGroupID(QStringLiteral("living"));
    selectFollowers(QStringLiteral("demo"));
    m_library->loadDemo();
    m_sound->loadDemo();
    m_playback->loadDemoQueue();
    startClock();
}

} // namespace velotte
