#include <gtest/gtest.h>

#include "tests/testsupport/Locale.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/Date.h"

namespace vesk {
namespace {

using test::CommaLocale;
using test::Raised;

struct Ymd {
    int y, m, d;
};

TEST(Date, SerialsCountDaysFromTheEpochOnBothSidesAndOrderDates) {
    EXPECT_EQ(Date::FromYMD(1899, 12, 30).Serial(), 0.0);
    EXPECT_EQ(Date::FromYMD(1900, 1, 1).Serial(), 2.0);
    EXPECT_EQ(Date::FromYMD(2024, 3, 7).Serial(), 45358.0);
    EXPECT_EQ(Date::FromYMD(100, 1, 1).Serial(), static_cast<double>(kMinDateDay));
    EXPECT_EQ(Date::FromYMD(9999, 12, 31).Serial(), static_cast<double>(kMaxDateDay));
    EXPECT_EQ(Date::FromYMDHMS(2024, 3, 7, 12, 0, 0).Serial(), 45358.5);
    Date d(45358.75);
    EXPECT_EQ(d.Hour(), 18);
    EXPECT_EQ(d.Weekday(), 5);  // Thursday
    EXPECT_EQ(d.DatePart(), Date::FromYMD(2024, 3, 7));
    EXPECT_DOUBLE_EQ(d.TimePart(), 0.75);

    // Before the epoch the time still runs forward.
    EXPECT_EQ(Date::FromYMDHMS(1899, 12, 29, 6, 0, 0).Serial(), -1.25);
    // 1.25 days before the epoch is 28 December, 18:00.
    Date back = Date().AddDays(-1.25);
    EXPECT_EQ(back.Day(), 28);
    EXPECT_EQ(back.Hour(), 18);
    EXPECT_EQ(back.Serial(), -2.75);
    EXPECT_EQ(back.AddDays(1.25), Date());
}

TEST(Date, TimeIsRoundedToTheSecondAndShownInTheUserLocale) {
    Date nearlyMidnight(0.999999999);
    EXPECT_EQ(nearlyMidnight.Day(), 31);
    EXPECT_EQ(nearlyMidnight.Hour(), 0);
    Date d = Date::FromYMDHMS(2024, 3, 7, 23, 59, 59);
    EXPECT_EQ(d.IsoDateTime(), "2024-03-07T23:59:59");
    EXPECT_EQ(Date::FromYMD(2024, 3, 7).ShortDateText(), CommaLocale() ? "07.03.2024" : "03/07/24");
    EXPECT_EQ(Date::FromYMDHMS(2024, 3, 7, 8, 5, 3).TimeText(), "08:05:03");
}

TEST(Date, ExactDatesRejectImpossibleOnesDateSerialRollsThemOver) {
    const Ymd impossible[] = {{2023, 2, 29}, {2024, 4, 31}, {2024, 0, 1}, {2024, 13, 1},
                              {2024, 1, 0},  {99, 12, 31},  {10000, 1, 1}};
    for (auto [y, m, d] : impossible) {
        EXPECT_EQ(Raised([&] { Date::FromYMD(y, m, d); }).Number(), kErrInvalidProcedureCall)
            << y << "-" << m << "-" << d;
    }
    EXPECT_EQ(Raised([] { Date::FromYMDHMS(2024, 1, 1, 24, 0, 0); }).Number(),
              kErrInvalidProcedureCall);

    // DateSerial rolls them over instead, within the date range.
    EXPECT_EQ(Date::DateSerial(2024, 14, 1), Date::FromYMD(2025, 2, 1));
    EXPECT_EQ(Date::DateSerial(2024, -11, 1), Date::FromYMD(2023, 1, 1));
    EXPECT_EQ(Date::DateSerial(2024, 3, 0), Date::FromYMD(2024, 2, 29));
    EXPECT_EQ(Date::DateSerial(2023, 2, 29), Date::FromYMD(2023, 3, 1));
    EXPECT_EQ(Date::DateSerial(99, 13, 1), Date::FromYMD(100, 1, 1));
    const Ymd outside[] = {
        {9999, 12, 32}, {100, 1, 0}, {-5, 1, 1}, {2024, 1, 2000000000}, {2000000000, 1, 1}};
    for (auto [y, m, d] : outside) {
        EXPECT_EQ(Raised([&] { Date::DateSerial(y, m, d); }).Number(), kErrInvalidProcedureCall)
            << y << "-" << m << "-" << d;
    }
}

TEST(Date, MonthArithmeticClampsToTheMonthEndAndKeepsTheTime) {
    EXPECT_EQ(Date::FromYMD(2024, 1, 31).AddMonths(1), Date::FromYMD(2024, 2, 29));
    EXPECT_EQ(Date::FromYMD(2024, 3, 31).AddMonths(-1), Date::FromYMD(2024, 2, 29));
    EXPECT_EQ(Date::FromYMD(2024, 11, 15).AddMonths(3), Date::FromYMD(2025, 2, 15));
    EXPECT_EQ(Date::FromYMD(2024, 2, 29).AddYears(1), Date::FromYMD(2025, 2, 28));
    Date noon = Date::FromYMDHMS(2024, 1, 31, 12, 30, 0).AddMonths(1);
    EXPECT_EQ(noon, Date::FromYMDHMS(2024, 2, 29, 12, 30, 0));
    Date early = Date::FromYMDHMS(1899, 12, 29, 6, 0, 0).AddMonths(-1);
    EXPECT_EQ(early, Date::FromYMDHMS(1899, 11, 29, 6, 0, 0));
    EXPECT_EQ(Raised([] { Date::FromYMD(9999, 12, 1).AddMonths(1); }).Number(),
              kErrInvalidProcedureCall);
    EXPECT_EQ(Raised([] { Date::FromYMD(100, 1, 1).AddYears(-1); }).Number(),
              kErrInvalidProcedureCall);
    EXPECT_EQ(Raised([] { Date().AddDays(1e300); }).Number(), kErrInvalidProcedureCall);
}

TEST(Date, IsoTextRoundTrips) {
    Date d = Date::FromYMDHMS(2024, 3, 7, 12, 34, 56);
    EXPECT_EQ(d.IsoDate(), "2024-03-07");
    EXPECT_EQ(Date::ParseIso("2024-03-07T12:34:56"), d);
    EXPECT_EQ(Date::ParseIso("2024-03-07 12:34:56"), d);
    EXPECT_EQ(Date::ParseIso("2024-03-07"), Date::FromYMD(2024, 3, 7));
    EXPECT_EQ(Date::FromYMD(100, 1, 1).IsoDate(), "0100-01-01");
    for (const char* bad : {"2024-02-30", "2024-3-7", "2024-03-07T25:00:00", "2024-03-07x", "",
                            "0099-12-31", "2024/03/07", "+024-03-07", "2024-03-07T12:34"}) {
        EXPECT_FALSE(Date::ParseIso(bad).has_value()) << bad;
    }
}

}  // namespace
}  // namespace vesk
