#include "transportactions.h"

#include <QStringList>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

TransportActions TransportActions::parse(const QString &list)
{
    TransportActions a;
    for (const QString &piece : list.split(u',')) {
        const QString verb = piece.trimmed();
        if (verb == u"X_DLNA_SeekTime"_s || verb == u"Seek"_s)
            a.canSeek = true;
        else if (verb == u"Next"_s)
            a.canSkip = true;
        else if (verb == u"Previous"_s)
            a.canSkipBack = true;
        else if (verb == u"Pause"_s)
            a.canPause = true;
        else if (verb == u"Stop"_s)
            a.canStop = true;
    }
    return a;
}

QString TransportActions::pauseVerb() const { return !canPause && canStop ? u"Stop"_s : u"Pause"_s; }

} // namespace velotte
