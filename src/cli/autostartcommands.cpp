// autostart: whether the tray program starts at login.
#include "context.h"

#include "core/autostart.h"

namespace velotte::cli {

namespace {

using namespace Qt::Literals::StringLiterals;

QCoro::Task<int> autostart(Context &c, QStringList args)
{
    Autostart entry;
    if (args.size() > 1 || (args.size() == 1 && args[0] != u"on"_s && args[0] != u"off"_s))
        co_return c.usageError(u"Say on or off, or nothing to see the current state."_s);
    if (!args.isEmpty() && !entry.setEnabled(args[0] == u"on"_s)) {
        c.err() << entry.error() << Qt::endl;
        co_return failed;
    }
    c.out() << (entry.enabled() ? "Velotte starts at login, hidden in the tray." : "Velotte does not start at login.") << Qt::endl;
    co_return ok;
}

const Registration registration({
    {u"autostart"_s, u"[on|off]"_s, u"start the tray controller at login, or not"_s,
     u"on writes the desktop's autostart entry, which starts velotte --hidden at login: the tray icon\n"
     "without the panel. off removes it. Without a word, says whether Velotte starts at login.\n"
     "The panel's \"Start at login\" switch does the same."_s,
     false, autostart},
});

} // namespace
} // namespace velotte::cli
