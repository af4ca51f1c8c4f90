#include <gtest/gtest.h>

#include "tests/support/SupportTestUtil.h"
#include "vesk4710/support/modResourceConstants.h"
#include "vesk4710/support/modStrings.h"

namespace vesk {
namespace {

using test::ErrorNumberOf;

TEST(ReplaceTokens, FillsPlaceholdersLeftToRight) {
    EXPECT_EQ(ReplaceTokens(LoadResString(kResWrongChannelCount), "3|8"),
              "Module number 3 does not have the correct number of channels (8). Cannot continue.");
    EXPECT_EQ(ResText(kResWrongModel, "4710|4710"),
              "The connected instrument is not a model '4710'. You must connect a model '4710' to "
              "continue.");
    EXPECT_EQ(ReplaceTokens("~~", "1|2"), "12");
    EXPECT_EQ(ReplaceTokens("~", "x"), "x");
    EXPECT_EQ(ReplaceTokens("a||b: ~ ~ ~", "a||b"), "a||b: a  b");
    // An argument is inserted as it is, never expanded again.
    EXPECT_EQ(ReplaceTokens("~ and ~", "~|x"), "~ and x");
}

TEST(ReplaceTokens, SeveralArgumentsAreTrimmedButASingleOneIsNot) {
    EXPECT_EQ(ReplaceTokens("a ~ b ~ c", " x | y "), "a x b y c");
    EXPECT_EQ(ReplaceTokens("[~]", " x "), "[ x ]");
    // The last of several arguments is trimmed as well.
    EXPECT_EQ(ReplaceTokens("[~][~]", "a|  b  "), "[a][b]");
    // Only spaces are trimmed.
    EXPECT_EQ(ReplaceTokens("[~][~]", "\ta\t|b"), "[\ta\t][b]");
}

TEST(ReplaceTokens, MissingSurplusAndAbsentArguments) {
    EXPECT_EQ(ReplaceTokens("[~]", "a|b|c"), "[a]");
    EXPECT_EQ(ReplaceTokens("~,~,~", "a|b"), "a,b,");
    EXPECT_EQ(ReplaceTokens("~-~", ""), "-");
    EXPECT_EQ(ReplaceTokens("plain text", "x|y"), "plain text");
    EXPECT_EQ(ReplaceTokens("", "x"), "");
    EXPECT_EQ(ReplaceTokens("Reading ~ settings...", "4710"), "Reading 4710 settings...");
}

TEST(StringTable, HoldsTheLibraryTextsExactly) {
    EXPECT_EQ(LoadResString(101), "An error occurred while");
    EXPECT_EQ(LoadResString(102), "Error");
    EXPECT_EQ(LoadResString(107), "Failed to successfully query '~'.");
    EXPECT_EQ(LoadResString(144), "&OK");
    EXPECT_EQ(LoadResString(271), "Clear &Demand Log");
    EXPECT_EQ(LoadResString(227), "% full");
    EXPECT_EQ(LoadResString(183), "<unknown>");
    EXPECT_EQ(LoadResString(292),
              "The download file '~' already exist. Do you wish to overwrite it?");
    EXPECT_EQ(LoadResString(340),
              "The downloaded data was written to the following file(s). To view the contents of "
              "a file, double-click the appropriate entry in the list below:");
    EXPECT_EQ(LoadResString(366), "Raw Value");
}

TEST(StringTable, EveryNamedIdResolvesAndEveryTextIsClean) {
    for (int32_t id : {kResErrorOccurredWhile, kResAttemptingToQuery, kResAttemptingToUpdate,
                       kResInvalidChannelIndex, kResInvalidModuleIndex, kResNoChangesToApply,
                       kResUnableToQueryMeasurement, kResLogStatusCaption, kResLoggingLabelCaption,
                       kResDownloadedFilesCaption, kResNoReadingsToDownload, kResDownloadAborted,
                       kResEnableAutoPowerOff, kResDisableSerialPort, kResRawValue}) {
        EXPECT_TRUE(HasResString(id)) << id;
    }
    std::vector<int32_t> ids = ResStringIds();
    ASSERT_FALSE(ids.empty());
    EXPECT_GE(ids.front(), 101);
    EXPECT_LE(ids.back(), 366);
    for (int32_t id : ids) {
        std::string text = LoadResString(id);
        EXPECT_FALSE(text.empty()) << id;
        EXPECT_EQ(text.find_first_of("\t\r\n"), std::string::npos) << id;
        EXPECT_NE(text.front(), ' ') << id;
        EXPECT_NE(text.back(), ' ') << id;
    }
}

TEST(StringTable, UnknownIdRaisesResourceNotFound) {
    for (int32_t id : {0, -1, 100, 111, 367}) {
        EXPECT_EQ(ErrorNumberOf([&] { LoadResString(id); }), kErrResourceNotFound) << id;
        EXPECT_FALSE(HasResString(id));
    }
    try {
        LoadResString(111);
    } catch (const AutomationError& e) {
        EXPECT_EQ(e.Description(), "Resource with identifier '111' not found");
    }
}

TEST(UnitsText, MapsCodesIncludingTheSwappedRatioAndVolts) {
    EXPECT_EQ(UnitsText(-1), "<keep existing>");
    EXPECT_EQ(UnitsText(0), "\u00B0C");
    EXPECT_EQ(UnitsText(1), "\u00B0F");
    EXPECT_EQ(UnitsText(2), "K");
    EXPECT_EQ(UnitsText(3), "R");
    EXPECT_EQ(UnitsText(4), "Ohms");
    EXPECT_EQ(UnitsText(5), "KOhms");
    EXPECT_EQ(UnitsText(6), "Ratio");
    EXPECT_EQ(UnitsText(7), "Volts");
    EXPECT_EQ(UnitsText(8), "mV");
    EXPECT_EQ(UnitsText(9), "\u00B5V");
    EXPECT_EQ(UnitsText(10), "W");
    EXPECT_EQ(UnitsText(11), "<unknown>");
    EXPECT_EQ(UnitsText(-2), "<unknown>");
    EXPECT_EQ(UnitsText(32767), "<unknown>");
}

TEST(RJCTypeText, ExternalInternalUnknown) {
    EXPECT_EQ(RJCTypeText(0), "External");
    EXPECT_EQ(RJCTypeText(1), "Internal");
    EXPECT_EQ(RJCTypeText(2), "<unknown>");
    EXPECT_EQ(RJCTypeText(-1), "<unknown>");
}

TEST(DateFromYMD, BuildsByCalendarArithmeticFrom1900) {
    EXPECT_EQ(DateFromYMD("2010,5,21"), Date::FromYMD(2010, 5, 21));
    // Without a day the month is ignored too.
    EXPECT_EQ(DateFromYMD("2010,5"), Date::FromYMD(2010, 1, 1));
    // Days run on into the next month.
    EXPECT_EQ(DateFromYMD("2010,2,30"), Date::FromYMD(2010, 3, 2));
    EXPECT_EQ(DateFromYMD("2024,3,0"), Date::FromYMD(2024, 2, 29));
    EXPECT_EQ(DateFromYMD("2024,13,1"), Date::FromYMD(2025, 1, 1));
    EXPECT_EQ(DateFromYMD(" 2024, 3, 7"), Date::FromYMD(2024, 3, 7));
    EXPECT_EQ(DateFromYMD("1899,12,31"), Date::FromYMD(1899, 12, 31));
    EXPECT_EQ(DateFromYMD("2024,3,7,9"), Date::FromYMD(2024, 3, 7));
}

TEST(DateFromYMD, TextWithoutYearIsAnInvalidDate) {
    for (const char* text :
         {"2010", "", "20100521", "abc,def,ghi", ",5,21", "99,1,1", "10000,1,1"}) {
        EXPECT_EQ(ErrorNumberOf([&] { DateFromYMD(text); }), kErrInvalidProcedureCall) << text;
    }
}

}  // namespace
}  // namespace vesk
