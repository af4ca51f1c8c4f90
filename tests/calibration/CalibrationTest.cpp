// Calibration points read into and written from the grid, and the calibration date.
#include "tests/core/InstrumentFixture.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

TEST(CalibrationGridLayout, IsBoundedAndGrowsKeepingItsCells) {
    CalibrationGrid grid;
    EXPECT_EQ(grid.TextMatrix(1, 1), "Reference");
    EXPECT_EQ(grid.TextMatrix(5, 0), "ADJ4");
    EXPECT_EQ(grid.TextMatrix(5, 10), "-");
    EXPECT_EQ(Raised([&] { grid.TextMatrix(6, 0); }).Number(), kErrSubscriptOutOfRange);
    EXPECT_EQ(Raised([&] { grid.TextMatrix(0, 11, "x"); }).Number(), kErrSubscriptOutOfRange);
    grid.Rows(7);
    EXPECT_EQ(grid.TextMatrix(2, 0), "ADJ1");
    EXPECT_EQ(grid.TextMatrix(6, 3), "");
}

class CalibrationTest : public InstrumentTest {
  protected:
    CalibrationTest() : form(true) {
        LayOutCalibrationGrid(form.grid);
        comm().responder =
            [](int32_t id,
               const std::map<std::string, std::string>& p) -> std::optional<std::string> {
            if (id == SET_CAL_REFERENCE_READ) {
                return "R" + p.at("PointNumber");
            }
            if (id == SET_CAL_VALUE_READ) {
                return "V" + p.at("PointNumber");
            }
            return std::nullopt;
        };
    }
    FakeGrid& grid() { return form.grid; }
    FakeForm form;
};

TEST_F(CalibrationTest, FillReadsTheDefinedPointsAndMarksTheRest) {
    for (const char* count : {"2", "0", "4", "1", "0"}) {
        comm().Reply(SET_CAL_COUNT_READ, count);
    }
    grid().TextMatrix(5, 0, "");
    ASSERT_TRUE(unit->FillCalibrationGrid(grid()));

    // First range, in full.
    const std::vector<std::string> first = {
        "ClearAll",      "Value=L75_OHMS", "Write 77",      "ClearAll",     "Read 78",
        "ClearAll",      "PointNumber=1",  "Read 82",       "ClearAll",     "PointNumber=1",
        "Read 80",       "ClearAll",       "PointNumber=2", "Read 82",      "ClearAll",
        "PointNumber=2", "Read 80",        "ClearAll",      "Value=LO_OHMS"};
    const auto log = Log();
    ASSERT_GE(log.size(), first.size());
    EXPECT_THAT(std::vector<std::string>(log.begin(), log.begin() + first.size()),
                ElementsAreArray(first));
    EXPECT_THAT(std::vector<std::string>(log.end() - 3, log.end()),
                ElementsAre("ClearAll", "Value=NORMAL", "Write 77"));
    const auto requests = comm().Requests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), "Read 82"), 7);

    // Two points: rows 2 and 3 from the instrument, rows 4 and 5 unused.
    EXPECT_EQ(grid().TextMatrix(2, 1), "R1");
    EXPECT_EQ(grid().TextMatrix(3, 2), "V2");
    EXPECT_EQ(grid().TextMatrix(4, 1), "-");
    EXPECT_EQ(grid().TextMatrix(5, 2), "-");
    EXPECT_EQ(grid().TextMatrix(2, 3), "-");
    EXPECT_EQ(grid().TextMatrix(5, 6), "V4");
    EXPECT_EQ(grid().TextMatrix(2, 7), "R1");
    EXPECT_EQ(grid().TextMatrix(3, 7), "-");
    EXPECT_EQ(grid().TextMatrix(5, 0), "ADJ4");
    EXPECT_THAT(grid().calls, ElementsAre("AutoSize 0 10", "Refresh"));
}

TEST_F(CalibrationTest, UpdateWritesCountThenReferencesThenValues) {
    grid().TextMatrix(2, 1, "100.5");
    grid().TextMatrix(2, 2, "100.49");
    grid().TextMatrix(3, 1, "oops");
    grid().TextMatrix(3, 2, "1.2E-3");
    ASSERT_TRUE(unit->UpdateCalParameters(grid()));
    const std::vector<std::string> first = {
        "ClearAll", "Value=L75_OHMS", "Write 77", "ClearAll", "Value=2", "Write 79", "ClearAll",
        "PointNumber=1", "Value=100.5", "Write 83",
        // Point 2's reference is not a number: the instrument keeps its own.
        "ClearAll", "PointNumber=1", "Value=100.49", "Write 81", "ClearAll", "PointNumber=2",
        "Value=1.2E-3", "Write 81"};
    const auto log = Log();
    EXPECT_THAT(std::vector<std::string>(log.begin(), log.begin() + first.size()),
                ElementsAreArray(first));
    // The other ranges hold "-" only: a count of 0 and no points.
    std::vector<std::string> expected = {"Write 77", "Write 79", "Write 83", "Write 81",
                                         "Write 81"};
    for (int range = 1; range < 5; ++range) {
        expected.push_back("Write 77");
        expected.push_back("Write 79");
    }
    expected.push_back("Write 77");
    expected.push_back("Write 4");
    EXPECT_THAT(comm().Requests(), ElementsAreArray(expected));
    EXPECT_EQ(comm().requestParams[6].at("Value"), "0");
    EXPECT_EQ(comm().requestParams.back().count("Value"), 0u);
}

TEST_F(CalibrationTest, FailuresCarryTheirSources) {
    comm().Fail(SET_CAL_RANGE, Broken());
    EXPECT_EQ(Raised([&] { unit->FillCalibrationGrid(grid()); }).Source(),
              "CVesk4710 - FillCalibrationGrid");
    comm().Fail(SET_CAL_COUNT_WRITE, Broken());
    EXPECT_EQ(Raised([&] { unit->UpdateCalParameters(grid()); }).Source(),
              "CVesk4710 - UpdateCalParameters");
}

TEST_F(InstrumentTest, CalibrationDateRoundTripAndConversion) {
    unit->CalDate(Date::FromYMD(2024, 3, 7));
    ASSERT_TRUE(unit->UpdateCalibrationDate());
    EXPECT_THAT(Log(), ElementsAre("ClearAll", "Value=2024,3,7", "Write 73"));

    comm().Reply(SET_CAL_DATE_READ, "2010,2,30");
    unit->Changed(false);
    ASSERT_TRUE(unit->QueryCalibrationDate());
    EXPECT_EQ(unit->CalDate(), Date::FromYMD(2010, 3, 2));
    EXPECT_TRUE(unit->Changed());

    // A reply that is no date is an error; the date read before stays.
    comm().Reply(SET_CAL_DATE_READ, "garbage");
    const auto e = Raised([&] { unit->QueryCalibrationDate(); });
    EXPECT_EQ(e.Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(e.Source(), "CVesk4710 - QueryCalibrationDate ");
    EXPECT_EQ(unit->CalDate(), Date::FromYMD(2010, 3, 2));

    // ConvDate builds from the start of 1900.
    EXPECT_EQ(unit->ConvDate("2024/03/07"), Date::FromYMD(2024, 3, 7).ShortDateText());
    EXPECT_EQ(unit->ConvDate("2024/00/07"), Date::FromYMD(2024, 1, 7).ShortDateText());
    EXPECT_EQ(unit->ConvDate("1850/05/02"), Date::FromYMD(1900, 5, 2).ShortDateText());
    EXPECT_EQ(unit->ConvDate("2023/02/31"), Date::FromYMD(2023, 3, 3).ShortDateText());
}

}  // namespace
}  // namespace vesk::test
