// Calibration points read into and written from the grid, and the calibration date.
#include "tests/core/InstrumentFixture.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using Params = std::map<std::string, std::string>;

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
            if (id == SET_CAL_REFERENCE_READ || id == SET_CAL_VALUE_READ) {
                return (id == SET_CAL_REFERENCE_READ ? "R" : "V") + p.at("PointNumber");
            }
            return std::nullopt;
        };
    }
    FakeGrid& grid() { return form.grid; }
    // The parameters in force at the first n requests.
    std::vector<Params> FirstParams(size_t n) {
        const auto& p = comm().requestParams;
        return {p.begin(), p.begin() + static_cast<std::ptrdiff_t>(std::min(n, p.size()))};
    }
    FakeForm form;
};

TEST_F(CalibrationTest, FillReadsTheDefinedPointsAndMarksTheRest) {
    for (const char* count : {"2", "0", "4", "1", "0"}) {
        comm().Reply(SET_CAL_COUNT_READ, count);
    }
    grid().TextMatrix(5, 0, "");
    ASSERT_TRUE(unit->FillCalibrationGrid(grid()));

    // First range, in full; the next range follows.
    const auto requests = comm().Requests();
    ASSERT_GE(requests.size(), 7u);
    EXPECT_THAT(std::vector<std::string>(requests.begin(), requests.begin() + 7),
                ElementsAre("Write " + std::to_string(SET_CAL_RANGE), Read(SET_CAL_COUNT_READ),
                            Read(SET_CAL_REFERENCE_READ), Read(SET_CAL_VALUE_READ),
                            Read(SET_CAL_REFERENCE_READ), Read(SET_CAL_VALUE_READ),
                            "Write " + std::to_string(SET_CAL_RANGE)));
    EXPECT_THAT(FirstParams(7),
                ElementsAre(Params{{"Value", "L75_OHMS"}}, Params{}, Params{{"PointNumber", "1"}},
                            Params{{"PointNumber", "1"}}, Params{{"PointNumber", "2"}},
                            Params{{"PointNumber", "2"}}, Params{{"Value", "LO_OHMS"}}));
    EXPECT_EQ(comm().Writes().back(), SET_CAL_RANGE);
    EXPECT_EQ(comm().requestParams.back(), (Params{{"Value", "NORMAL"}}));
    EXPECT_EQ(std::count(requests.begin(), requests.end(), Read(SET_CAL_REFERENCE_READ)), 7);

    // Two points: rows 2 and 3 from the instrument, rows 4 and 5 unused.
    const std::tuple<int32_t, int32_t, const char*> cells[] = {
        {2, 1, "R1"}, {3, 2, "V2"}, {4, 1, "-"}, {5, 2, "-"},   {2, 3, "-"},
        {5, 6, "V4"}, {2, 7, "R1"}, {3, 7, "-"}, {5, 0, "ADJ4"}};
    for (const auto& [row, col, text] : cells) {
        EXPECT_EQ(grid().TextMatrix(row, col), text) << row << "," << col;
    }
    EXPECT_THAT(grid().calls, ElementsAre("AutoSize 0 10", "Refresh"));
}

TEST_F(CalibrationTest, UpdateWritesCountThenReferencesThenValues) {
    grid().TextMatrix(2, 1, "100.5");
    grid().TextMatrix(2, 2, "100.49");
    grid().TextMatrix(3, 1, "oops");
    grid().TextMatrix(3, 2, "1.2E-3");
    ASSERT_TRUE(unit->UpdateCalParameters(grid()));
    // Point 2's reference is not a number: the instrument keeps its own. The other ranges hold
    // "-" only: a count of 0 and no points.
    EXPECT_THAT(FirstParams(5), ElementsAre(Params{{"Value", "L75_OHMS"}}, Params{{"Value", "2"}},
                                            Params{{"PointNumber", "1"}, {"Value", "100.5"}},
                                            Params{{"PointNumber", "1"}, {"Value", "100.49"}},
                                            Params{{"PointNumber", "2"}, {"Value", "1.2E-3"}}));
    std::vector<int32_t> expected = {SET_CAL_RANGE, SET_CAL_COUNT_WRITE, SET_CAL_REFERENCE_WRITE,
                                     SET_CAL_VALUE_WRITE, SET_CAL_VALUE_WRITE};
    for (int range = 1; range < 5; ++range) {
        expected.insert(expected.end(), {SET_CAL_RANGE, SET_CAL_COUNT_WRITE});
    }
    expected.insert(expected.end(), {SET_CAL_RANGE, SET_PASSCODE_LOCK});
    EXPECT_THAT(comm().Writes(), ElementsAreArray(expected));
    EXPECT_EQ(comm().Requests().size(), expected.size());
    EXPECT_EQ(comm().requestParams[6].at("Value"), "0");
    EXPECT_EQ(comm().requestParams.back().count("Value"), 0u);

    // Failures carry their sources.
    comm().Fail(SET_CAL_COUNT_WRITE, Broken());
    EXPECT_EQ(Raised([&] { unit->UpdateCalParameters(grid()); }).Source(),
              "CVesk4710 - UpdateCalParameters");
    comm().Fail(SET_CAL_RANGE, Broken());
    EXPECT_EQ(Raised([&] { unit->FillCalibrationGrid(grid()); }).Source(),
              "CVesk4710 - FillCalibrationGrid");
}

TEST_F(InstrumentTest, CalibrationDateRoundTripAndConversion) {
    unit->CalDate(Date::FromYMD(2024, 3, 7));
    ASSERT_TRUE(unit->UpdateCalibrationDate());
    EXPECT_THAT(comm().Writes(), ElementsAre(SET_CAL_DATE_WRITE));
    EXPECT_THAT(comm().requestParams, ElementsAre(Params{{"Value", "2024,3,7"}}));

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
    for (auto [text, y, m, d] : {std::tuple{"2024/03/07", 2024, 3, 7},
                                 {"2024/00/07", 2024, 1, 7},
                                 {"1850/05/02", 1900, 5, 2},
                                 {"2023/02/31", 2023, 3, 3}}) {
        EXPECT_EQ(unit->ConvDate(text), Date::FromYMD(y, m, d).ShortDateText()) << text;
    }
}

}  // namespace
}  // namespace vesk::test
