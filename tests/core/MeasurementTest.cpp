// Readings: channel state, the channel and raw/temperature choice of a reading, the wait
// for a fresh reading, and the units lists.
#include "tests/core/InstrumentFixture.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;

class MeasurementTest : public InstrumentTest {
  protected:
    MeasurementTest() { TwoChannels(); }
    void Conversion(int16_t channel, int32_t type) {
        unit->GetChannelReference(channel)->Probe()->ConversionType(type);
    }
};

TEST_F(MeasurementTest, ChannelOutsideTheInstrumentIsRefused) {
    for (int16_t chan : {int16_t{0}, int16_t{3}, int16_t{-5}}) {
        const auto e = Raised([&] { unit->QueryMeasurement(chan); });
        EXPECT_EQ(e.Number(), static_cast<int32_t>(0x800403E9u)) << chan;
        EXPECT_EQ(e.Description(), "Invalid module index");
        EXPECT_EQ(e.Source(), "CVesk4710 - QueryMeasurement");
    }
    // No selection either.
    EXPECT_EQ(Raised([&] { unit->QueryMeasurement(); }).Number(),
              static_cast<int32_t>(0x800403E9u));
    EXPECT_TRUE(Log().empty());
}

TEST_F(MeasurementTest, ReadingFollowsTheChannelsConversionAndTheUnits) {
    comm().ReplyAlways(SET_TEMPERATURE, "21.503 C");
    comm().ReplyAlways(SET_RAW_VALUE, "108.2 OHM");
    comm().ReplyAlways(SET_RAW_MILLI, "12.5");
    struct Case {
        int32_t conversion;
        E4710Units units;
        int32_t request;
        double value;
    };
    const std::vector<Case> cases = {
        // A thermocouple reads its temperature unless raw values are asked for.
        {20, UNITS_DEGREESC, SET_TEMPERATURE, 21.503},
        {11, UNITS_DEGREESC, SET_RAW_MILLI, 0.0125},
        {10, UNITS_DEGREESC, SET_RAW_VALUE, 108.2},
        {18, UNITS_DEGREESF, SET_RAW_VALUE, 108.2},
        {0, UNITS_DEGREESC, SET_TEMPERATURE, 21.503},
        {0, UNITS_RAW_VALUE, SET_RAW_VALUE, 108.2},
        {20, UNITS_RAW_VALUE, SET_RAW_MILLI, 0.0125},
        {-1, UNITS_DEGREESF, SET_TEMPERATURE, 21.503},
    };
    for (const auto& c : cases) {
        Conversion(2, c.conversion);
        unit->Units(c.units);
        ClearLog();
        EXPECT_DOUBLE_EQ(unit->QueryMeasurement(2), c.value) << c.conversion << "/" << c.units;
        EXPECT_THAT(Log(), ElementsAre("ClearAll", "Channel=2", Rd(c.request))) << c.conversion;
    }
}

TEST_F(MeasurementTest, SelectedChannelIsUsedAndWaitForNewPolls) {
    comm().ReplyAlways(SET_TEMPERATURE, "-3.5");
    unit->SelectedChannel(1);
    EXPECT_DOUBLE_EQ(unit->QueryMeasurement(), -3.5);
    EXPECT_EQ(comm().requestParams.back().at("Channel"), "1");
    // A reply without a number reads as 0.
    comm().ReplyAlways(SET_TEMPERATURE, "OVER");
    EXPECT_EQ(unit->QueryMeasurement(1), 0.0);

    // Waiting for a new reading polls until the instrument has one.
    ClearLog();
    comm().Reply(SET_READING_STATE, "0");
    comm().Reply(SET_READING_STATE, "8");
    comm().Reply(SET_READING_STATE, "16");
    comm().ReplyAlways(SET_TEMPERATURE, "1.25");
    const int32_t start = ui().ticks;
    EXPECT_DOUBLE_EQ(unit->QueryMeasurement(1, true), 1.25);
    const auto state = Rd(SET_READING_STATE);
    EXPECT_THAT(comm().Requests(), ElementsAre(state, state, state, Rd(SET_TEMPERATURE)));
    // Two waits of a second each, with the user interface served meanwhile.
    EXPECT_GE(ui().ticks - start, 2000);
    EXPECT_GT(ui().doEvents + static_cast<int>(ui().waits.size()), 0);
}

TEST_F(InstrumentTest, UnitsListsCarryTheirCodes) {
    FakeList list;
    list.AddItem("stale");
    unit->FillRTLSUnitsList(list);
    EXPECT_THAT(list.Texts(), ElementsAre("Raw Value", "°C", "°F"));
    EXPECT_THAT(list.Data(), ElementsAre(-2, 0, 1));

    unit->FillUnitsList(list);
    EXPECT_THAT(list.Texts(), ElementsAre("°C", "°F", "K"));
    EXPECT_THAT(list.Data(), ElementsAre(0, 1, 2));
    unit->FillUnitsList(list, true);
    EXPECT_THAT(list.Texts(), ElementsAre("<keep existing>", "°C", "°F", "K"));
    EXPECT_THAT(list.Data(), ElementsAre(-1, 0, 1, 2));
}

}  // namespace
}  // namespace vesk::test
