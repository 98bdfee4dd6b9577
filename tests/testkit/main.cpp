#include <QCoreApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>
#include "core/shutdown.h"

#ifdef VELOTTE_TEST_WIDGETS
#include <QApplication>
#endif

// The one main of every test program: a Qt event loop (with widgets where
// the program shows windows) and throw-away XDG directories, so no test
// reads or writes the user's own files.
int main(int argc, char **argv)
{
    QStandardPaths::setTestModeEnabled(true);
#ifdef VELOTTE_TEST_WIDGETS
    // The web engine wants its contexts shared before the application exists.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
#else
    QCoreApplication app(argc, argv);
#endif
    ::testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    velotte::settleBeforeExit(); // nothing a test cancelled stays suspended
    return status;
}
