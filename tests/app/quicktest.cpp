#include <QtQuickTest>

QUICK_TEST_MAIN(velotte_views)
