// Scaling a reading's text by a power of ten keeps every digit the instrument sent.
#include <gtest/gtest.h>

#include "components/readingfile/ReadingFile.h"

namespace vesk::files {
namespace {

TEST(ShiftDecimal, MovesThePointAndKeepsEveryDigit) {
    struct Case {
        const char* text;
        int places;
        std::optional<std::string> expected;
    };
    const Case cases[] = {
        {"6146.487", -3, "6.146487"},
        {"0.0061465", 3, "6.1465"},
        {"-12.300", -3, "-0.012300"},
        {"5", 3, "5000"},
        {"5.", -1, "0.5"},
        {"+0.50", 1, "+5.0"},
        {"2.5e-05", 3, "2.5e-2"},
        {"1E+3", -3, "1e0"},
        {"", 3, std::nullopt},
        {"1.2.3", 1, std::nullopt},
        {"OVER", 3, std::nullopt},
        {"1e", 1, std::nullopt},
        {"- 1", 1, std::nullopt},
        {".", 1, std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ShiftDecimal(c.text, c.places), c.expected) << c.text << " " << c.places;
    }
}

}  // namespace
}  // namespace vesk::files
