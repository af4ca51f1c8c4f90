// Test main: takes the locale from the environment (LC_ALL), so that every suite can run
// under a comma-decimal locale as well as "C".
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <locale>

int main(int argc, char** argv) {
    if (std::setlocale(LC_ALL, "") != nullptr) {
        try {
            std::locale::global(std::locale(""));
        } catch (...) {
        }
    }
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
