// The simulated instrument's behaviour, spoken to directly in its own command language.
#include <gtest/gtest.h>

#include <regex>
#include <tuple>

#include "SimTestSupport.h"
#include "components/probes/TemperatureMath.h"
#include "simulator/ProbeModel.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;

class SimInstrument : public ::testing::Test {
  protected:
    SimClock clock;
    FakeFileSystem folder;

    sim::SimOptions Options(bool persist = false) {
        sim::SimOptions o;
        o.persist = persist;
        o.statePath = folder.Root() + "/sim-1.json";
        o.clock = clock.Function();
        return o;
    }
    std::shared_ptr<sim::Instrument> inst = sim::Instrument::Create(Options());
    std::string Ask(const std::string& command) { return test::Ask(*inst, command); }
    void Converse(const std::vector<std::pair<std::string, std::string>>& exchanges) {
        test::Converse(*inst, exchanges);
    }
    double Number(const std::string& command) { return Val(Ask(command)); }
};

TEST_F(SimInstrument, RepliesCarryTheRequestsTagOrNone) {
    Converse(
        {{"unit?", "C"},  // as people type it
         {"77 UNIT?", "77 C"},
         {"5 FROB 1", "5 !ERR 1 unknown command FROB"},
         {"6 LOG:LAB \"open", "6 !ERR 1 cannot read the command: unterminated quoted argument"},
         {"PROB:PAR? 1", "!ERR 2 missing paramname"},
         {"8 LOG:LAB " + std::string(4096, 'A'),
          "8 !ERR 1 cannot read the command: the line is longer than 4096 bytes"},
         {"LOG:LAB?", "DEMAND"}});
    EXPECT_EQ(inst->RequestCount(), 7u);
}

TEST_F(SimInstrument, PasscodeUnlocksUntilRelockedAndAWrongOneLocks) {
    Converse(
        {{"PASS?", "0"},
         {"CAL:DATE 2024,5,6", "!ERR 4 passcode required to change the calibration date"},
         {"PROB:CONV 1,PT", "!ERR 4 passcode required to change the conversion"},
         {"PROB:PAR 1,RTPW,25.5", "!ERR 4 passcode required to change the conversion coefficients"},
         {"PROB:PAR 1,MINOP,-100", "OK"},  // outside the conversion: not guarded
         {"PROB:PAR? 1,MINOP", "-100"},
         {"PASS 1234", "OK"},
         {"PASS?", "1"},
         {"CAL:DATE 2024,05,06", "OK"},  // typed without quotes
         {"CAL:DATE?", "2024,5,6"},
         {"PASS 9999", "OK"},
         {"PASS?", "0"},  // a wrong passcode leaves it locked
         {"PASS 1234", "OK"},
         {"PASS:LOCK", "OK"}});
    EXPECT_FALSE(inst->Unlocked());
    // Without conversion protection only calibration and serial numbers stay guarded.
    inst->Modify([](sim::InstrumentState& s) { s.protectConversion = false; });
    Converse({{"PROT:CONV?", "0"},
              {"PROB:CONV 1,CVD", "OK"},
              {"PROB:SNUM 1,X", "!ERR 4 passcode required to change the probe serial number"}});
    // An instrument without a passcode is always open.
    inst->Modify([](sim::InstrumentState& s) { s.passcode.clear(); });
    Converse({{"PASS?", "1"}, {"SYST:SNUM NEW1", "OK"}});
}

TEST_F(SimInstrument, CalibrationRangesHoldUpToFourPoints) {
    Converse({{"CAL:COUN?", "!ERR 5 no calibration range selected"},
              {"CAL:RANG bogus", "!ERR 3 unknown calibration range BOGUS"},
              {"CAL:RANG mv", "OK"},
              {"CAL:COUN?", "2"},
              {"CAL:REF? 2", "100"},
              {"CAL:VAL? 2", "100.0032"},
              {"CAL:VAL? 3", "!ERR 3 3 out of range (1 to 2)"},
              {"CAL:COUN 4", "!ERR 4 passcode required to change the calibration"},
              {"PASS 1234", "OK"},
              {"CAL:COUN 5", "!ERR 3 5 out of range (0 to 4)"},
              {"CAL:COUN 4", "OK"},
              {"CAL:REF 4,1000.5", "OK"},
              {"CAL:VAL 4,abc", "!ERR 3 not a number: abc"},
              {"CAL:VAL 4,-1.5e-3", "OK"},
              {"CAL:REF? 4", "1000.5"},
              {"CAL:VAL? 4", "-0.0015"},
              {"CAL:REF? 3", "0"},  // a new point starts at zero
              {"CAL:COUN 0", "OK"},
              {"CAL:VAL 1,1", "!ERR 3 the range has no points"},
              {"CAL:RANG NORMAL", "OK"},
              {"CAL:REF? 1", "!ERR 5 no calibration range selected"}});
    EXPECT_EQ(inst->State().calibration.at("MV").size(), 0u);
    EXPECT_EQ(inst->State().calibration.at("LO_OHMS").size(), 3u);
}

TEST_F(SimInstrument, DatesMustBeRealDays) {
    Converse({{"PASS 1234", "OK"}, {"CAL:DATE 2024,2,29", "OK"}});
    for (const char* bad : {"2023,2,29", "1899,12,31", "2024,13,1", "2024,4,31", "2024-3-7",
                            "2024,3", "2024,3,7,1", "2024,x,7"}) {
        EXPECT_EQ(Ask(std::string("PROB:CAL 1,\"") + bad + "\""),
                  "!ERR 3 a date reads year,month,day (1900 to 2099)")
            << bad;
    }
    Converse({{"PROB:CAL 2,\"2020,1,2\"", "OK"}, {"PROB:CAL? 2", "2020,1,2"}});
}

TEST_F(SimInstrument, ReadingsFollowASlowDriftAndStopWithTheMeasurement) {
    double first = Number("MEAS:TEMP? 1");
    EXPECT_NEAR(first, 25.0, 0.06);
    clock.Advance(1s);
    EXPECT_NEAR(Number("MEAS:TEMP? 1"), first, 0.005) << "a second changes little";
    // Four readings a quarter of the 900 s period apart span most of the 0.05 amplitude.
    double low = first;
    double high = first;
    for (int i = 0; i < 3; ++i) {
        clock.Advance(225s);
        low = std::min(low, Number("MEAS:TEMP? 1"));
        high = std::max(high, Number("MEAS:TEMP? 1"));
    }
    EXPECT_GT(high - low, 0.06);
    EXPECT_LT(high - low, 0.11);
    Ask("MEAS:STOP");
    double held = Number("MEAS:TEMP? 1");
    clock.Advance(100s);
    EXPECT_EQ(Number("MEAS:TEMP? 1"), held);
    Ask("MEAS:START");
    clock.Advance(100s);
    EXPECT_NE(Number("MEAS:TEMP? 1"), held);
}

TEST_F(SimInstrument, NewReadingStateComesOncePerInterval) {
    // {seconds passed, command, reply}
    const std::vector<std::tuple<int, std::string, std::string>> steps = {
        {0, "MEAS:STAT?", "16"}, {0, "MEAS:STAT?", "0"},  {1, "MEAS:STAT?", "16"},
        {0, "SAMP:INT 5", "OK"}, {5, "MEAS:STAT?", "16"}, {1, "MEAS:STAT?", "0"},
        {5, "MEAS:STAT?", "16"}, {0, "MEAS:STOP", "OK"},  {60, "MEAS:STAT?", "0"}};
    for (const auto& [seconds, command, reply] : steps) {
        clock.Advance(std::chrono::seconds(seconds));
        EXPECT_EQ(Ask(command), reply) << command << " after " << seconds << " s";
    }
}

TEST_F(SimInstrument, RawReadingsFollowTheChannelsConversion) {
    double celsius = inst->TemperatureAt(1);
    // Channel 1 starts as an ITS-90 platinum probe, channel 2 as a type K thermocouple. Their
    // conversions are built here from the probe parameters, so a simulator that reads them
    // otherwise than the library does is caught.
    const sim::InstrumentState state = inst->State();
    auto par = [&](int ch, const char* name) { return state.channels[ch].probe.params.at(name); };
    probes::ConversionSpec its;
    its.type = probes::kConvITS90;
    its.rtpw = par(0, "RTPW");
    its.low = {par(0, "A4"), par(0, "B4")};
    its.high = {par(0, "A"), par(0, "B"), par(0, "C"), par(0, "D")};
    EXPECT_NEAR(probes::TemperatureFromRaw(its, Number("MEAS:RES? 1")), celsius, 2e-4);
    probes::ConversionSpec k;
    k.type = probes::kConvThermocouple;
    k.tcType = 4;
    k.coefficients = {par(1, "C0"), par(1, "C1"), par(1, "C2"), par(1, "C3")};
    EXPECT_NEAR(probes::TemperatureFromRaw(k, Number("MEAS:VOLT? 2") / 1000.0),
                Number("MEAS:TEMP? 2"), 2e-3);
    Ask("UNIT F");
    EXPECT_NEAR(Number("MEAS:TEMP? 1"), celsius * 9 / 5 + 32, 2e-4);
    Ask("UNIT K");
    EXPECT_NEAR(Number("MEAS:TEMP? 1"), celsius + 273.15, 2e-4);
    Ask("UNIT C");

    Ask("PASS 1234");
    // Callendar-Van Dusen with the default coefficients the conversion brings along.
    EXPECT_EQ(Ask("PROB:CONV 1,CVD"), "OK");
    EXPECT_EQ(Ask("PROB:PAR? 1,R0"), "100");
    probes::ConversionSpec cvd = sim::SpecOf(inst->State().channels[0].probe);
    EXPECT_NEAR(Number("MEAS:RES? 1"), probes::RawFromTemperature(cvd, celsius), 1e-5);
    EXPECT_NEAR(Number("MEAS:TEMP? 1"), celsius, 1e-4);
    // "Ohms" shows the resistance itself.
    EXPECT_EQ(Ask("PROB:CONV 1,RPRT"), "OK");
    EXPECT_NEAR(Number("MEAS:TEMP? 1"), Number("MEAS:RES? 1"), 1e-4);
    // A thermocouple reads microvolts; "Volts" shows volts.
    EXPECT_EQ(Ask("PROB:CONV 1,J"), "OK");
    EXPECT_EQ(Ask("MEAS:RES? 1"), "!ERR 5 channel 1 measures a voltage");
    double microvolts = Number("MEAS:VOLT? 1");
    EXPECT_NEAR(microvolts / 1000.0,
                probes::RawFromTemperature(sim::SpecOf(inst->State().channels[0].probe), celsius),
                1e-6);
    EXPECT_EQ(Ask("PROB:CONV 1,V"), "OK");
    EXPECT_NEAR(Number("MEAS:TEMP? 1") * 1e6, Number("MEAS:VOLT? 1"), 0.5);
    EXPECT_EQ(Ask("PROB:CONV 1,Q"), "!ERR 3 unknown conversion code \"Q\"");
    EXPECT_EQ(Ask("PROB:CONV 1"), "!ERR 3 unknown conversion code \"\"");
    // A reading the probe cannot give is refused, not invented.
    inst->Modify([](sim::InstrumentState& s) { s.channels[1].drift.base = 5000; });
    EXPECT_EQ(Ask("MEAS:VOLT? 2").rfind("!ERR 5 reading out of range", 0), 0u);
}

TEST_F(SimInstrument, ChannelsSwitchedOffGiveNoReadings) {
    inst->Modify([](sim::InstrumentState& s) { s.channels[1].on = false; });
    Converse({{"CHAN:STAT? 2", "1"},
              {"CHAN:STAT? 1", "0"},
              {"CHAN:STAT?", "0"},  // without a channel: the first
              {"MEAS:TEMP? 2", "!ERR 5 channel 2 is switched off"},
              {"MEAS:TEMP? 3", "!ERR 7 no channel 3 (channels 1 to 2)"}});
}

TEST_F(SimInstrument, LabelsNameTheReadingsLoggedUnderThem) {
    EXPECT_EQ(Ask("LOG:LAB \"RUN 2\""), "OK");
    EXPECT_EQ(inst->State().currentLabel, 3) << "an existing label is reused";
    Converse({{"LOG:LAB NEW_ONE", "OK"}, {"LOG:DEM:TAKE", "OK"}, {"LOG:DEM:STAT?", "698,302"}});
    EXPECT_EQ(inst->State().currentLabel, 4);
    const auto mine = inst->Handle("LOG:DATA:LAB? 0,4").lines;
    ASSERT_EQ(mine.size(), 4u);
    EXPECT_EQ(mine[0] + " " + mine[3], "#BEGIN 2 #END 2");
    EXPECT_TRUE(std::regex_match(mine[1], std::regex("301,.*,1,4,NEW_ONE,.*"))) << mine[1];
    EXPECT_TRUE(std::regex_match(mine[2], std::regex("302,.*,2,4,NEW_ONE,.*"))) << mine[2];
    for (int i = 5; i <= 25; ++i) {
        EXPECT_EQ(Ask("LOG:LAB L" + std::to_string(i)), "OK");
    }
    Converse({{"LOG:LAB ONE_MORE", "!ERR 6 all 25 labels are in use; clear the logs first"},
              {"LOG:LAB L7", "OK"},
              {"LOG:LAB \"\"", "!ERR 3 a label has 1 to 8 characters A-Z, 0-9, space or _"},
              {"LOG:LAB?", "L7"}});
}

TEST_F(SimInstrument, DemandLogFillsUpAndClears) {
    inst->Modify([](sim::InstrumentState& s) { s.demandCapacity = 303; });
    EXPECT_EQ(Ask("LOG:DEM:STAT?"), "3,300");
    EXPECT_TRUE(inst->LogOnDemand());
    EXPECT_FALSE(inst->LogOnDemand()) << "one place left, two channels";
    Converse({{"LOG:DEM:TAKE", "!ERR 6 the demand log is full"},
              {"LOG:DEM:CLE", "OK"},
              {"LOG:DEM:STAT?", "303,0"}});
    EXPECT_EQ(inst->Handle("LOG:DATA? 300").lines,
              (std::vector<std::string>{"#BEGIN 0", "#END 0"}));
}

TEST_F(SimInstrument, AutomaticLogRecordsEveryMinuteWhileMeasuring) {
    size_t before = inst->State().autoLog.size();
    Ask("UNIT?");  // the logger starts counting at the next whole minute
    clock.Advance(10min);
    Ask("UNIT?");
    EXPECT_EQ(inst->State().autoLog.size(), before + 20);
    Ask("MEAS:STOP");
    clock.Advance(10min);
    Ask("UNIT?");
    EXPECT_EQ(inst->State().autoLog.size(), before + 20);
    EXPECT_EQ(Ask("LOG:AUTO:CLE 0"), "OK");
    EXPECT_TRUE(inst->State().autoLog.empty());
    // After a long pause only a log's worth of readings is made up.
    Ask("MEAS:START");
    Ask("UNIT?");
    clock.Advance(std::chrono::hours(24 * 30));
    Ask("UNIT?");
    EXPECT_EQ(inst->State().autoLog.size(), 2000u);
    // At the logging interval once one is set; the status counts what the log holds.
    EXPECT_EQ(Ask("LOG:AUTO:CLE 0"), "OK");
    EXPECT_EQ(Ask("SAMP:INT 5"), "OK");
    clock.Advance(1min);
    Ask("UNIT?");
    const size_t held = inst->State().autoLog.size();
    clock.Advance(1min);
    Ask("UNIT?");
    EXPECT_EQ(inst->State().autoLog.size(), held + 24);
    EXPECT_EQ(Ask("LOG:AUTO:STAT?"),
              std::to_string(2000 - held - 24) + "," + std::to_string(held + 24));
}

TEST_F(SimInstrument, TheSeedMakesItRepeatable) {
    auto same = sim::Instrument::Create(Options());
    sim::SimOptions otherSeed = Options();
    otherSeed.seed = 99;
    auto other = sim::Instrument::Create(otherSeed);
    EXPECT_EQ(test::Ask(*same, "MEAS:TEMP? 2"), Ask("MEAS:TEMP? 2"));
    EXPECT_NE(test::Ask(*other, "MEAS:TEMP? 2"), Ask("MEAS:TEMP? 2"));
    EXPECT_EQ(same->Handle("LOG:DATA? 0").lines, inst->Handle("LOG:DATA? 0").lines);
    EXPECT_NE(other->Handle("LOG:DATA? 0").lines, inst->Handle("LOG:DATA? 0").lines);
}

TEST_F(SimInstrument, StateSurvivesBetweenRunsUntilReset) {
    test::Converse(
        *sim::Instrument::Create(Options(true)),
        {{"UNIT F", "OK"}, {"LOG:LAB SAVED", "OK"}, {"LOG:DEM:CLE", "OK"}, {"PASS 1234", "OK"}});
    auto second = sim::Instrument::Create(Options(true));
    test::Converse(*second, {
                                {"UNIT?", "F"},
                                {"LOG:LAB?", "SAVED"},
                                {"LOG:DEM:STAT?", "1000,0"},
                                {"PASS?", "0"}  // a new run starts locked
                            });
    second->Reset();
    test::Converse(*second, {{"UNIT?", "C"}, {"LOG:DEM:STAT?", "700,300"}});
}

TEST_F(SimInstrument, DamagedStateIsSetAsideAndAFreshOneUsed) {
    folder.WriteFile(folder.Root() + "/sim-1.json", "{ \"units\": ");
    auto revived = sim::Instrument::Create(Options(true));
    EXPECT_EQ(test::Ask(*revived, "UNIT?"), "C");
    EXPECT_TRUE(folder.FileExists(folder.Root() + "/sim-1.json.bad"));
    EXPECT_TRUE(revived->LastSaveError().empty());
}

TEST_F(SimInstrument, DataFilesAreCheckedWhenRead) {
    sim::SimOptions options = Options();
    options.dataPath = folder.Root() + "/data.json";
    EXPECT_THROW(sim::Instrument::Create(options), std::runtime_error) << "missing file";
    folder.WriteFile(options.dataPath, R"({"channels": []})");
    EXPECT_THROW(sim::Instrument::Create(options), std::runtime_error);
    folder.WriteFile(options.dataPath, R"({"channels": [{"probe": {"conversion": "PT"}}],
                                          "passcode": "", "units": "K"})");
    test::Converse(
        *sim::Instrument::Create(options),
        {{"CHAN:COUN?", "1"}, {"MOD:LIST?", "PRT"}, {"UNIT?", "K"}, {"LOG:DEM:STAT?", "1000,0"}});
}

TEST(FaultPlans, ReadAsDocumented) {
    // The effect of each kind is shown by the link tests; here what the plan text holds.
    const sim::Fault early = sim::ParseFault("early:10@id=278*2");
    EXPECT_EQ(early.kind, sim::FaultKind::kEndEarly);
    EXPECT_EQ(early.linesBeforeEnd, 10);
    EXPECT_EQ(early.times, 2);
    const sim::Fault drop = sim::ParseFault("drop@req=5");
    EXPECT_EQ(drop.atRequest, 5u);
    EXPECT_FALSE(drop.settingId);
    for (const char* bad : {"delay@id=1", "noreply:3@id=1", "explode@id=1", "drop", "drop@id=x",
                            "drop@when=1", "garbage@id=1*0"}) {
        EXPECT_THROW(sim::ParseFault(bad), std::invalid_argument) << bad;
    }
}

TEST(FaultPlans, RepeatCountsAndRequestNumbersAreHonoured) {
    auto inst = sim::Instrument::Create(sim::SimOptions{.persist = false});
    inst->InjectFault(sim::ParseFault("noreply@id=168*2"));
    EXPECT_TRUE(inst->Handle("UNIT?").lines.empty());
    EXPECT_EQ(test::Ask(*inst, "*IDN?"), "Vesk Scientific,4710,A47100,1.10");
    EXPECT_TRUE(inst->Handle("UNIT?").lines.empty());
    EXPECT_EQ(test::Ask(*inst, "UNIT?"), "C");
    inst->InjectFault(sim::ParseFault("garbage@id=169"));
    EXPECT_NE(test::Ask(*inst, "UNIT F"), "OK");
    EXPECT_EQ(test::Ask(*inst, "UNIT?"), "F") << "garbled on the way back, but carried out";
    // A fault planned by request number hits that request only.
    inst->InjectFault(sim::ParseFault("noreply@req=" + std::to_string(inst->RequestCount() + 2)));
    EXPECT_EQ(test::Ask(*inst, "UNIT?"), "F");
    EXPECT_TRUE(inst->Handle("UNIT?").lines.empty());
    EXPECT_EQ(test::Ask(*inst, "UNIT?"), "F");
    EXPECT_EQ(inst->PendingFaults(), 0u);
}

}  // namespace
}  // namespace vesk::test
