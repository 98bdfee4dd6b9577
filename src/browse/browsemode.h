#pragma once

#include <QList>
#include <QString>

namespace velotte {

// What the favorites browser lists: everything, or classical works only.
enum class BrowseMode { all, classical };

// The kinds of classical work the browser can narrow to, in menu order.
enum class ClassicalWork { all, symphonies, concertos, sonatas, chamber, vocal };

QString displayText(BrowseMode mode);
QString displayText(ClassicalWork work);

QList<BrowseMode> allBrowseModes();
QList<ClassicalWork> allClassicalWorks();

} // namespace velotte
