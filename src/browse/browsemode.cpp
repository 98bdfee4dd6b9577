#include "browsemode.h"

namespace velotte {

QString displayText(BrowseMode mode)
{
    switch (mode) {
    case BrowseMode::all:
        return QStringLiteral("All music");
    case BrowseMode::classical:
        return QStringLiteral("Classical");
    }
    return {};
}

QString displayText(ClassicalWork work)
{
    switch (work) {
    case ClassicalWork::all:
        return QStringLiteral("All works");
    case ClassicalWork::symphonies:
        return QStringLiteral("Symphonies");
    case ClassicalWork::concertos:
        return QStringLiteral("Concertos");
    case ClassicalWork::sonatas:
        return QStringLiteral("Sonatas");
    case ClassicalWork::chamber:
        return QStringLiteral("Chamber music");
    case ClassicalWork::vocal:
        return QStringLiteral("Opera & choral");
    }
    return {};
}

QList<BrowseMode> allBrowseModes() { return {BrowseMode::all, BrowseMode::classical}; }

QList<ClassicalWork> allClassicalWorks()
{
    return {ClassicalWork::all,    ClassicalWork::symphonies, ClassicalWork::concertos,
            ClassicalWork::sonatas, ClassicalWork::chamber,   ClassicalWork::vocal};
}

} // namespace velotte
