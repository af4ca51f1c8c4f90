#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/testsupport/Locale.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/NumberText.h"

namespace vesk {
namespace {

using test::CommaLocale;
using test::L;
using test::Raised;

constexpr double kInf = std::numeric_limits<double>::infinity();

struct Parsed {
    const char* text;
    double value;
};

TEST(Val, ReadsTheLongestLeadingNumberOrZero) {
    // An incomplete exponent is not part of the number, and only the period is a decimal point,
    // whatever the locale.
    const Parsed cases[] = {{"  12.5abc", 12.5}, {"-3", -3.0},       {"+4", 4.0},   {"1e3", 1000.0},
                            {"1D2", 100.0},      {"2.5E-1x", 0.25},  {"-.5", -0.5}, {"5.", 5.0},
                            {"1.2.3", 1.2},      {"1e", 1.0},        {"1e+", 1.0},  {"7E-x", 7.0},
                            {"1,5", 1.0},        {"\t\r\n 7 C", 7.0}};
    for (const Parsed& c : cases) {
        EXPECT_DOUBLE_EQ(Val(c.text), c.value) << c.text;
    }
    EXPECT_DOUBLE_EQ(Val("25.013 \u00B0C"), 25.013);
    for (const char* text : {"", " ", ".", "-", "+-1", "abc", "0x1A", "\u00B0C 25", "E5"}) {
        EXPECT_EQ(Val(text), 0.0) << text;
    }
}

TEST(Val, NeverFailsExtremeMagnitudesSaturate) {
    EXPECT_EQ(Val("1e400"), kInf);
    EXPECT_EQ(Val("-1e400"), -kInf);
    EXPECT_EQ(Val("1e-400"), 0.0);
    EXPECT_EQ(Val("0e99999"), 0.0);
    EXPECT_EQ(Val("1" + std::string(500, '0')), kInf);
    EXPECT_DOUBLE_EQ(Val(std::string(400, '0') + "42"), 42.0);
    EXPECT_DOUBLE_EQ(Val("0." + std::string(300, '0') + "1e305"), 1e4);
    std::string digits(100000, '9');
    EXPECT_EQ(Val(digits), kInf);
    EXPECT_DOUBLE_EQ(Val("1." + digits), 2.0);
}

TEST(CInt16, RoundsHalfToEvenAndOverflowsOutOfRange) {
    const std::pair<double, int16_t> cases[] = {{2.5, 2},         {3.5, 4},          {-2.5, -2},
                                                {-3.5, -4},       {2.4999, 2},       {2.5001, 3},
                                                {32767.4, 32767}, {-32768.5, -32768}};
    for (auto [value, rounded] : cases) {
        EXPECT_EQ(CInt16(value), rounded) << value;
    }
    EXPECT_EQ(CInt32(-2147483648.5), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(CInt32(2147483646.5), 2147483646);
    // Out of range is overflow.
    for (double v : {32767.5, 32768.0, -32769.0, -32768.6, 1e300, kInf, -kInf, std::nan("")}) {
        EXPECT_EQ(Raised([&] { CInt16(v); }).Number(), kErrOverflow) << v;
    }
    for (double v : {2147483647.5, -2147483649.0, std::nan("")}) {
        EXPECT_EQ(Raised([&] { CInt32(v); }).Number(), kErrOverflow) << v;
    }
    EXPECT_EQ(Raised([] { CInt16(40000.0); }).Description(), "Overflow");
}

TEST(NumberText, FixedUpToFifteenSignificantDigitsThenScientific) {
    EXPECT_EQ(NumberText(1.1), L("1.1"));
    EXPECT_EQ(NumberText(-2.0), "-2");
    EXPECT_EQ(NumberText(0.0), "0");
    EXPECT_EQ(NumberText(-0.0), "0");
    EXPECT_EQ(NumberText(0.1 + 0.2), L("0.3"));
    EXPECT_EQ(NumberText(2.0 / 3.0), L("0.666666666666667"));
    EXPECT_EQ(NumberText(123456789.123456789), L("123456789.123457"));
    EXPECT_EQ(NumberText(999999999999999.0), "999999999999999");
    EXPECT_EQ(NumberText(-0.00012), L("-0.00012"));
    // Scientific outside the fixed range.
    EXPECT_EQ(NumberText(-0.000015), L("-1.5E-05"));
    EXPECT_EQ(NumberText(1.5e20), L("1.5E+20"));
    EXPECT_EQ(NumberText(1e15), "1E+15");
    // Rounding to 15 digits can carry into the next power of ten.
    EXPECT_EQ(NumberText(999999999999999.9), "1E+15");
    EXPECT_EQ(NumberText(1e-300), "1E-300");
    EXPECT_EQ(NumberText(std::numeric_limits<double>::max()), L("1.79769313486232E+308"));
    EXPECT_EQ(NumberText(std::nan("")), "NaN");
    EXPECT_EQ(NumberText(kInf), "Infinity");
    EXPECT_EQ(NumberText(-kInf), "-Infinity");
    EXPECT_EQ(NumberText(int64_t{-32768}), "-32768");
    EXPECT_EQ(NumberText(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
}

TEST(FormatNumber, FixedPatternsRoundHalfAwayFromZero) {
    EXPECT_EQ(FormatNumber(21.5, "#0.000"), L("21.500"));
    EXPECT_EQ(FormatNumber(2.675, "0.00"), L("2.68"));
    EXPECT_EQ(FormatNumber(2.5, "0"), "3");
    EXPECT_EQ(FormatNumber(-2.5, "0"), "-3");
    EXPECT_EQ(FormatNumber(0.5, "##0"), "1");
    EXPECT_EQ(FormatNumber(9.999, "0.00"), L("10.00"));
    EXPECT_EQ(FormatNumber(1e20, "0"), "100000000000000000000");
    EXPECT_EQ(FormatNumber(0.004, "0.00"), L("0.00"));
    EXPECT_EQ(FormatNumber(0.005, "0.00"), L("0.01"));
    // A value that rounds to zero shows no minus sign.
    EXPECT_EQ(FormatNumber(-0.001, "0.00"), L("0.00"));
    EXPECT_EQ(FormatNumber(-1.5, "#0.000"), L("-1.500"));
    // The decimals follow the pattern.
    EXPECT_EQ(FormatNumber(3.14159, "###0."), L("3."));
    EXPECT_EQ(FormatNumber(3.14159, "###0.0000000"), L("3.1415900"));
    EXPECT_EQ(FormatNumber(0.5, "#.##"), L(".5"));
    EXPECT_EQ(FormatNumber(0.0, ".0"), L(".0"));
}

TEST(FormatNumber, ScientificSectionsLiteralsPercentGroupingAndNonFinite) {
    EXPECT_EQ(FormatNumber(0.0039083, "0.0000000E-00"), L("3.9083000E-03"));
    EXPECT_EQ(FormatNumber(-5.775e-7, "0.0000000E-00"), L("-5.7750000E-07"));
    EXPECT_EQ(FormatNumber(12345.0, "0.0000000E-00"), L("1.2345000E04"));
    EXPECT_EQ(FormatNumber(0.0, "0.0000000E-00"), L("0.0000000E00"));
    EXPECT_EQ(FormatNumber(12345.0, "0.00E+00"), L("1.23E+04"));
    EXPECT_EQ(FormatNumber(9.9999, "0.00E+00"), L("1.00E+01"));
    EXPECT_EQ(FormatNumber(1.5e-120, "0.0E+000"), L("1.5E-120"));
    EXPECT_EQ(FormatNumber(-5.0, "0;(0)"), "(5)");
    EXPECT_EQ(FormatNumber(0.0, "0;(0);\"zero\""), "zero");
    EXPECT_EQ(FormatNumber(0.256, "0.0%"), L("25.6%"));
    EXPECT_EQ(FormatNumber(7.0, "\"T=\"0\\C"), "T=7C");
    EXPECT_EQ(FormatNumber(1234567.891, "#,##0.00"), CommaLocale() ? "1.234.567,89" : "1234567.89");
    EXPECT_EQ(FormatNumber(std::nan(""), "0.00"), "NaN");
    EXPECT_EQ(FormatNumber(kInf, "0.00"), "Infinity");
    EXPECT_EQ(FormatNumber(-kInf, "0.00"), "-Infinity");
    EXPECT_EQ(FormatNumber(1.25, ""), NumberText(1.25));
}

TEST(IsNumeric, WholeTextMustBeOneNumber) {
    EXPECT_TRUE(IsNumeric("12"));
    EXPECT_TRUE(IsNumeric(" -1.5 "));
    EXPECT_TRUE(IsNumeric(L("1.5")));
    EXPECT_TRUE(IsNumeric("1e5"));
    EXPECT_TRUE(IsNumeric("+.5E-3"));
    for (const char* text : {"", " ", ".", "-", "1e", "1.2.3", "abc", "12a", "1 2", "--1"}) {
        EXPECT_FALSE(IsNumeric(text)) << text;
    }
}

TEST(LocaleDecimal, SeparatorFollowsTheUserLocale) {
    EXPECT_EQ(LocaleDecimalSeparator(), CommaLocale() ? "," : ".");
    EXPECT_EQ(ToInvariantDecimal(L("1.25")), "1.25");
    EXPECT_EQ(ToInvariantDecimal(L("-0.5E-03")), "-0.5E-03");
    if (CommaLocale()) {
        EXPECT_EQ(ToInvariantDecimal("1,2,3"), "1.2.3");
    } else {
        // Under a period locale a comma is not a decimal separator and stays.
        EXPECT_EQ(ToInvariantDecimal("1,25"), "1,25");
    }
    EXPECT_EQ(ToInvariantDecimal(""), "");
    // A formatted value becomes instrument text and reads back unchanged.
    EXPECT_DOUBLE_EQ(Val(ToInvariantDecimal(FormatNumber(-21.4375, "#0.000"))), -21.438);
}

}  // namespace
}  // namespace vesk
