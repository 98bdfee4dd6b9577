#include <QCoreApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>
#include "core/shutdown.h"

// Every test executable runs on a Qt event loop with throw-away XDG
// directories, so no test reads or writes the user's own files.
int main(int argc, char **argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    velotte::settleBeforeExit(); // nothing a test cancelled stays suspended
    return status;
}
