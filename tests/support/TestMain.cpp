// Shared main of every test binary: a core application for event loops and a fixed English
// locale, so that day and month names in log lines are predictable.

#include <QCoreApplication>
#include <QLocale>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    return RUN_ALL_TESTS();
}
