// TestMain.cpp — the main of every test program.
//
// Comparison and formatting follow the process's locale, read once on first use, so the
// locale is pinned here before any test runs: the expectations then hold on any machine.
#include <gtest/gtest.h>

#include <cstdlib>

int main(int argc, char** argv) {
    ::unsetenv("LC_ALL");
    ::unsetenv("LC_COLLATE");
    ::unsetenv("LC_MESSAGES");
    ::setenv("LANG", "en_US.UTF-8", 1);
    ::setenv("TZ", "UTC", 1);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
