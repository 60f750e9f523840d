#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char* argv[]) {
    // Widget tests need no display; a run by hand gets the same platform as ctest.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
