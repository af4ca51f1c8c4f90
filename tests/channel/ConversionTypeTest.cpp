// Conversion type numbers, names, instrument codes, probe families and SetConversionType.
#include <gtest/gtest.h>

#include "tests/channel/ChannelFixture.h"
#include "vesk4710/channel/ConversionTypes.h"

namespace vesk::test {
namespace {

TEST(ConversionTable, DisplayNamesOfTheEdgesAndTheSharedNames) {
    EXPECT_EQ(ConversionTypeName(-1), "<keep existing>");
    EXPECT_EQ(ConversionTypeName(-2), "<unknown>");
    EXPECT_EQ(ConversionTypeName(21), "<unknown>");
    // Distinct numbers share a name on purpose: the two families' "Ohms", the two "PT100".
    EXPECT_EQ(ConversionTypeName(10), ConversionTypeName(18));
    EXPECT_EQ(ConversionTypeName(16), ConversionTypeName(19));
    EXPECT_EQ(ConversionTypeName(9), ConversionTypeName(20));
}

TEST(ConversionTable, CodesDecodeInTheirFixedOrder) {
    struct Case {
        const char* code;
        int32_t type;
        int32_t tc;
    };
    const Case cases[] = {
        {"ITS5", 17, 4}, {"ITS", 0, 4},   {"XITS90", 0, 4}, {"PT100", 19, 4}, {"PT", 19, 4},
        {"CVD", 2, 4},   {"RPRT", 10, 4}, {"TRES", 6, 4},   {"RTHM", 18, 4},  {"B", 20, 0},
        {"C", 20, 1},    {"E", 20, 2},    {"J", 20, 3},     {"K", 20, 4},     {"L", 20, 5},
        {"M", 20, 6},    {"N", 20, 7},    {"R", 20, 8},     {"S", 20, 9},     {"T", 20, 10},
        {"U", 20, 11},   {"KX", -1, 4},   {"VOLT", 11, 4},  {"V", 11, 4},     {"", -1, 4},
        {"X", -1, 4},    {"AUPT", 19, 4},
    };
    for (const auto& c : cases) {
        const ConversionCode got = ConversionTypeFromCode(c.code);
        EXPECT_EQ(got.conversionType, c.type) << c.code;
        EXPECT_EQ(got.tcType, c.tc) << c.code;
    }
}

using SetConversion = ChannelTest;

// The range is fixed at one number the user cannot change.
void ExpectFixedRange(IConversionRange& range, int32_t number) {
    EXPECT_EQ(range.Range(), number);
    EXPECT_EQ(range.MinRange(), number);
    EXPECT_EQ(range.MaxRange(), number);
    EXPECT_FALSE(range.AllowChangeRange());
}

TEST_F(SetConversion, ITS90AfterCVDStartsFromAClearedSet) {
    instrument->FilePath("/instrument/files");
    ASSERT_TRUE(channel->SetConversionType(2, 4));
    ASSERT_TRUE(channel->SetConversionType(0, 4));
    auto probe = channel->Probe();
    EXPECT_EQ(probe->ConversionType(), 0);
    IConversion& c = conv();
    EXPECT_EQ(c.RTPW(), 100.0);
    IConversionRange& low = c.LowRange();
    IConversionRange& high = c.HighRange();
    ExpectFixedRange(low, 4);
    ExpectFixedRange(high, 6);
    EXPECT_FALSE(high.ShowCoefRange());
    ASSERT_EQ(low.NumCoefficients(), 2);
    ASSERT_EQ(high.NumCoefficients(), 4);

    // Coefficients left from an earlier ITS-90 set are cleared when the type is chosen again.
    low.Coefficients(0, -1.2e-4);
    high.Coefficients(3, 2.5e-6);
    c.RTPW(25.5);
    ASSERT_TRUE(channel->SetConversionType(2, 4));
    ASSERT_TRUE(channel->SetConversionType(0, 4));
    EXPECT_EQ(low.Coefficients(0), 0.0);
    EXPECT_EQ(high.Coefficients(3), 0.0);
    EXPECT_EQ(c.RTPW(), 100.0);
    // The channel's own folder wins over the instrument's.
    EXPECT_EQ(c.FilePath(), channel->FilePath());
}

TEST_F(SetConversion, Subrange5UsesRange7AndClearsTheLowRangeOnly) {
    ASSERT_TRUE(channel->SetConversionType(17, 4));
    IConversion& c = conv();
    c.LowRange().Coefficients(1, 3.5e-5);
    c.HighRange().Coefficients(0, 7.5e-5);
    ASSERT_TRUE(channel->SetConversionType(19, 4));
    ASSERT_TRUE(channel->SetConversionType(17, 4));
    EXPECT_EQ(c.RTPW(), 100.0);
    ExpectFixedRange(c.HighRange(), 7);
    EXPECT_FALSE(c.HighRange().ShowCoefRange());
    EXPECT_EQ(c.LowRange().Coefficients(1), 0.0);
    EXPECT_EQ(c.HighRange().Coefficients(0), 7.5e-5);
}

TEST_F(SetConversion, CVDAndThermistorGetTheirStartingCoefficients) {
    ASSERT_TRUE(channel->SetConversionType(2, 4));
    IConversion& cvd = conv();
    EXPECT_TRUE(cvd.UsePolynomial());
    const std::vector<double> cvdValues = {100.0, 0.00385, 1.507, 0.111};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(cvd.Coefficients(i), cvdValues[static_cast<size_t>(i)]) << i;
    }
    ASSERT_TRUE(channel->SetConversionType(6, 4));
    const std::vector<double> thermValues = {-4.0, 4000.0, 0.0, 0.0};
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(conv().Coefficients(i), thermValues[static_cast<size_t>(i)]) << i;
    }
}

TEST_F(SetConversion, ThermocoupleResetsTheJunctionAndTakesTheLetterOnlyOnAChange) {
    channel->RJCType(0);
    channel->RJCTemperature(21.5);
    channel->Changed(false);
    ASSERT_TRUE(channel->SetConversionType(20, 9));
    EXPECT_EQ(channel->Probe()->ConversionType(), 20);
    EXPECT_EQ(conv().TCType(), 9);
    EXPECT_EQ(channel->RJCType(), 1);
    EXPECT_EQ(channel->RJCTemperature(), 0.0);
    EXPECT_TRUE(channel->Changed());

    // The same type again changes nothing, not even the letter.
    channel->RJCType(0);
    channel->FilePath("/elsewhere");
    conv().FilePath("/stale");
    ASSERT_TRUE(channel->SetConversionType(20, 3));
    EXPECT_EQ(conv().TCType(), 9);
    EXPECT_EQ(channel->RJCType(), 0);
    // Only the conversion's folder follows the channel on this path too.
    EXPECT_EQ(conv().FilePath(), "/elsewhere");
}

TEST_F(SetConversion, PlainTypesOnlySetTheTypeAndUnsupportedOnesKeepTheExisting) {
    for (int32_t type : {10, 11, 18, 19}) {
        auto fresh = MakeChannel();
        fresh->RJCType(0);
        ASSERT_TRUE(fresh->SetConversionType(type, 4));
        EXPECT_EQ(fresh->Probe()->ConversionType(), type);
        EXPECT_EQ(fresh->RJCType(), 0) << type;
    }
    // Unsupported types become "keep existing", silently.
    for (int32_t type : {-2, 1, 3, 4, 5, 7, 8, 9, 12, 13, 14, 15, 16, 21, 99}) {
        ASSERT_TRUE(channel->SetConversionType(19, 4));
        ASSERT_TRUE(channel->SetConversionType(type, 4)) << type;
        EXPECT_EQ(channel->Probe()->ConversionType(), -1) << type;
        EXPECT_EQ(ConversionTypeName(channel->Probe()->ConversionType()), "<keep existing>");
    }
    EXPECT_TRUE(host->ui.boxes.empty());
}

}  // namespace
}  // namespace vesk::test
