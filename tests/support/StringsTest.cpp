#include <gtest/gtest.h>

#include "tests/testsupport/Locale.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {
namespace {

using test::Raised;

TEST(ReplaceTokens, FillsPlaceholdersLeftToRightWithTrimmedOrMissingArguments) {
    EXPECT_EQ(ReplaceTokens(LoadResString(kResWrongChannelCount), "3|8"),
              "Module number 3 does not have the correct number of channels (8). Cannot continue.");
    EXPECT_EQ(ResText(kResWrongModel, "4710|4710"),
              "The connected instrument is not a model '4710'. You must connect a model '4710' to "
              "continue.");
    EXPECT_EQ(ReplaceTokens("a||b: ~ ~ ~", "a||b"), "a||b: a  b");
    // An argument is inserted as it is, never expanded again.
    EXPECT_EQ(ReplaceTokens("~ and ~", "~|x"), "~ and x");
    // Several arguments are trimmed of spaces, a single one is not.
    EXPECT_EQ(ReplaceTokens("a ~ b ~ c", " x | y "), "a x b y c");
    EXPECT_EQ(ReplaceTokens("[~]", " x "), "[ x ]");
    // The last of several arguments is trimmed as well.
    EXPECT_EQ(ReplaceTokens("[~][~]", "a|  b  "), "[a][b]");
    // Only spaces are trimmed.
    EXPECT_EQ(ReplaceTokens("[~][~]", "\ta\t|b"), "[\ta\t][b]");
    // Missing, surplus and absent arguments.
    EXPECT_EQ(ReplaceTokens("[~]", "a|b|c"), "[a]");
    EXPECT_EQ(ReplaceTokens("~-~", ""), "-");
    EXPECT_EQ(Trim("  a b \t"), "a b \t");
    EXPECT_EQ(Trim("\t a b \t", " \t"), "a b");
    EXPECT_EQ(Trim("   "), "");
}

TEST(StringTable, EveryNamedIdResolvesAndEveryTextIsClean) {
    // The texts stay as the users know them, wording included.
    EXPECT_EQ(LoadResString(292),
              "The download file '~' already exist. Do you wish to overwrite it?");
    std::vector<int32_t> ids = ResStringIds();
    ASSERT_FALSE(ids.empty());
    for (int32_t id : ids) {
        std::string text = LoadResString(id);
        EXPECT_FALSE(text.empty()) << id;
        EXPECT_EQ(text.find_first_of("\t\r\n"), std::string::npos) << id;
        EXPECT_NE(text.front(), ' ') << id;
        EXPECT_NE(text.back(), ' ') << id;
    }
}

TEST(DateFromYMD, BuildsByCalendarArithmeticFrom1900OrRefuses) {
    EXPECT_EQ(DateFromYMD("2010,5,21"), Date::FromYMD(2010, 5, 21));
    // Without a day the month is ignored too.
    EXPECT_EQ(DateFromYMD("2010,5"), Date::FromYMD(2010, 1, 1));
    // Days run on into the next month.
    EXPECT_EQ(DateFromYMD("2024,3,0"), Date::FromYMD(2024, 2, 29));
    EXPECT_EQ(DateFromYMD("2024,13,1"), Date::FromYMD(2025, 1, 1));
    EXPECT_EQ(DateFromYMD(" 2024, 3, 7"), Date::FromYMD(2024, 3, 7));
    EXPECT_EQ(DateFromYMD("2024,3,7,9"), Date::FromYMD(2024, 3, 7));
    // Text without a year is an invalid date.
    for (const char* text :
         {"2010", "", "20100521", "abc,def,ghi", ",5,21", "99,1,1", "10000,1,1"}) {
        EXPECT_EQ(Raised([&] { DateFromYMD(text); }).Number(), kErrInvalidProcedureCall) << text;
    }
}

}  // namespace
}  // namespace vesk
