// Identification, the firmware check and the whole-instrument query.
#include <algorithm>

#include "tests/core/InstrumentFixture.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

struct Split {
    std::string model, serial;
    double firmware;
};

Split Extract(const std::string& id) {
    Split s{"x", "x", -1};
    ExtractModSerFWFromID(id, s.model, s.serial, s.firmware);
    return s;
}

TEST(Identification, SplitterTakesModelSerialAndFirmware) {
    auto s = Extract("Vesk Scientific , 4710 , A12345 , 1.10");
    EXPECT_EQ(s.model, "4710");
    EXPECT_EQ(s.serial, "A12345");
    EXPECT_DOUBLE_EQ(s.firmware, 1.1);

    s = Extract("Vesk,4710,A12345");
    EXPECT_EQ(s.model, "4710");
    EXPECT_EQ(s.serial, "<unknown>");
    EXPECT_EQ(s.firmware, 0.0);

    s = Extract("Vesk 4710");
    EXPECT_EQ(s.model, "<unknown>");
    EXPECT_EQ(s.serial, "<unknown>");

    // Firmware is the leading period-decimal number, whatever the locale.
    EXPECT_DOUBLE_EQ(Extract("V,4710,S,0.06beta").firmware, 0.06);
    EXPECT_DOUBLE_EQ(Extract("V,4710,S,2,5").firmware, 2.0);
    EXPECT_EQ(Extract("V,4710,S,rev b").firmware, 0.0);
    EXPECT_EQ(Extract("V,4710,S,").firmware, 0.0);
}

TEST_F(InstrumentTest, QueryIdentificationSetsThePropertiesAndFeedsTheFirmwareCheck) {
    comm().Reply(SET_IDENTIFICATION, "Vesk,4710,B777,1.25");
    EXPECT_TRUE(unit->QueryIdentification());
    EXPECT_THAT(Log(), ElementsAre("ClearAll", Rd(SET_IDENTIFICATION) + " false"));
    EXPECT_EQ(unit->Identification(), "Vesk,4710,B777,1.25");
    EXPECT_EQ(unit->Serial(), "B777");
    EXPECT_DOUBLE_EQ(unit->Firmware(), 1.25);
    EXPECT_TRUE(unit->Changed());

    // setprops false only stores the identification.
    comm().Reply(SET_IDENTIFICATION, "Other,4711,C1,3");
    EXPECT_TRUE(unit->QueryIdentification(false));
    EXPECT_EQ(unit->Identification(), "Other,4711,C1,3");
    EXPECT_EQ(unit->Model(), "4710");
    EXPECT_EQ(unit->Serial(), "B777");

    // An empty reply is a silent false that leaves the rest alone.
    comm().Reply(SET_IDENTIFICATION, "");
    EXPECT_FALSE(unit->QueryIdentification());
    EXPECT_EQ(unit->Serial(), "B777");
    EXPECT_TRUE(ui().boxes.empty());

    // The firmware check uses the minimum inclusively.
    comm().Reply(SET_IDENTIFICATION, "V,4710,S,0.06");
    unit->QueryIdentification();
    EXPECT_TRUE(unit->VerifyMinimumFirmware());
    comm().Reply(SET_IDENTIFICATION, "V,4710,S,0.059");
    unit->QueryIdentification();
    EXPECT_FALSE(unit->VerifyMinimumFirmware());
}

class QueryInfoTest : public InstrumentTest {
  protected:
    QueryInfoTest() {
        comm().ScriptInstrument();
        comm().ReplyAlways(SET_CHANNEL_STATE, "0");
        comm().ReplyAlways(SET_UNITS_READ, "F");
        comm().ReplyAlways(SET_CAL_DATE_READ, "2024,3,7");
        comm().ReplyAlways(SET_CAL_COUNT_READ, "1");
        comm().ReplyAlways(SET_CAL_REFERENCE_READ, "100.0");
        comm().ReplyAlways(SET_PROBE_SERIAL_READ, "pt-17");
    }
    std::vector<std::string> Prompts() const { return host->ui.Prompts(); }
};

TEST_F(QueryInfoTest, RunsEveryStepInOrderAndBuildsTheTree) {
    ASSERT_TRUE(unit->QueryInfo());

    std::vector<std::string> expected = Start();
    // Building two modules reads each channel's state.
    for (int32_t id : {SET_CONV_PROTECTION, SET_PASSCODE_STATE, SET_NUM_CHANNELS, SET_MODULE_LIST,
                       SET_NUM_MODULES, SET_CHANNEL_STATE, SET_CHANNEL_STATE, SET_UNITS_READ,
                       SET_AUTO_POWER_READ, SET_CAL_DATE_READ}) {
        expected.push_back(Rd(id));
    }
    for (int range = 0; range < 5; ++range) {
        expected.insert(expected.end(), {Wr(SET_CAL_RANGE), Rd(SET_CAL_COUNT_READ),
                                         Rd(SET_CAL_REFERENCE_READ), Rd(SET_CAL_VALUE_READ)});
    }
    // Serial numbers of the channels that are on; only input 1 can report on.
    expected.insert(expected.end(), {Wr(SET_CAL_RANGE), Rd(SET_CHANNEL_STATE),
                                     Rd(SET_PROBE_SERIAL_READ), Rd(SET_CHANNEL_STATE)});
    EXPECT_THAT(comm().Requests(), ElementsAreArray(expected));

    // Nine steps of the instrument's settings, then one per channel for the serial numbers.
    std::vector<std::string> progress = {"SetOwner",
                                         "StartPhase Reading 4710 settings... 6.666666666666667"};
    progress.insert(progress.end(), 9, "Step");
    for (const char* line : {"Hide", "Reset", "StartPhase Reading probe serial numbers... 50",
                             "Step", "Step", "Close"}) {
        progress.push_back(line);
    }
    EXPECT_THAT(ui().progressLog, ElementsAreArray(progress));
    EXPECT_FALSE(ui().progressOwnerGiven);
    EXPECT_THAT(ui().pointers, ElementsAre(kPointerHourglass, kPointerDefault));
    EXPECT_TRUE(ui().boxes.empty());

    EXPECT_EQ(unit->Serial(), "A12345");
    EXPECT_EQ(unit->NumModules(), 2);
    EXPECT_EQ(unit->Units(), UNITS_DEGREESF);
    EXPECT_EQ(unit->CalDate(), Date::FromYMD(2024, 3, 7));
    EXPECT_EQ(unit->CalibrationGrid().TextMatrix(2, 1), "100.0");
    EXPECT_EQ(unit->CalibrationGrid().TextMatrix(2, 2), "100.02");
    EXPECT_EQ(unit->GetChannelReference(1)->Probe()->Serial(), "PT-17");
    EXPECT_EQ(unit->GetChannelReference(2)->Probe()->Serial(), "");
}

TEST_F(QueryInfoTest, FullChannelQueryRunsWithoutProgressSteps) {
    ASSERT_TRUE(unit->QueryInfo(nullptr, true));
    const auto& log = ui().progressLog;
    const auto hide = std::find(log.begin(), log.end(), "Hide");
    ASSERT_NE(hide, log.end());
    // After the instrument's phase, no Reset/StartPhase/Step of the instrument's display.
    EXPECT_EQ(std::count(hide, log.end(), "Reset"), 0);
    // The channel query read more than its serial number (its calibration date, 126).
    const auto requests = comm().Requests();
    EXPECT_NE(std::find(requests.begin(), requests.end(), Rd(SET_PROBE_CAL_DATE_READ)),
              requests.end());
}

TEST_F(QueryInfoTest, AnotherModelIsRefused) {
    comm().ReplyAlways(SET_IDENTIFICATION, "Vesk,4700,A1,2.0");
    EXPECT_FALSE(unit->QueryInfo());
    EXPECT_EQ(comm().Requests(), Start());
    ASSERT_EQ(ui().boxes.size(), 1u);
    EXPECT_EQ(ui().boxes[0].prompt,
              "The connected instrument is not a model '4710'. You must connect a model "
              "'4710' to continue.");
    EXPECT_EQ(ui().boxes[0].caption, "Vesk Scientific");
    EXPECT_EQ(ui().boxes[0].style, kMbInformation);
    EXPECT_THAT(ui().progressLog, ElementsAre("SetOwner", "Hide", "Close"));
    EXPECT_EQ(ui().pointer, kPointerDefault);
}

TEST_F(QueryInfoTest, CancelBetweenStepsKeepsWhatWasRead) {
    // Steps a to c run; the cancel is seen before the module count.
    ui().cancelAtStep = 3;
    EXPECT_FALSE(unit->QueryInfo());
    EXPECT_THAT(Prompts(), ElementsAre("Aborted querying information."));
    EXPECT_EQ(unit->NumChannels(), 2);
    EXPECT_EQ(unit->ModuleList(), "PRT,PRT");
    EXPECT_EQ(unit->NumModules(), 0);
    EXPECT_EQ(comm().Requests().back(), Rd(SET_MODULE_LIST));
    EXPECT_EQ(ui().progressLog.back(), "Close");
}

TEST_F(QueryInfoTest, AFailingStepIsNamed) {
    comm().ReplyAlways(SET_UNITS_READ, "?");
    EXPECT_FALSE(unit->QueryInfo());
    EXPECT_THAT(Prompts(), ElementsAre("Failed to successfully query 'Units'."));
    EXPECT_EQ(comm().Requests().back(), Rd(SET_UNITS_READ));
    EXPECT_EQ(ui().progressLog.back(), "Close");
    EXPECT_EQ(ui().pointer, kPointerDefault);
}

}  // namespace
}  // namespace vesk::test
