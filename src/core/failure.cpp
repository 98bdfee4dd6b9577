#include "failure.h"

namespace velotte {

QString sentenceOf(const std::exception &error)
{
    if (const auto *failure = dynamic_cast<const Failure *>(&error))
        return failure->sentence();
    return QStringLiteral("The operation couldn’t be completed.");
}

} // namespace velotte
