#include "context.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

// velottectl: the controller for scripts, on the same session as the panel.
namespace velotte::cli {
int parseAndRun(QCoreApplication &app);
}

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velottectl"));
    return velotte::cli::parseAndRun(app);
}
