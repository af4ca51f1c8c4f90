// The simulated instrument's behaviour, spoken to directly in its own command language.
#include <gtest/gtest.h>

#include <cmath>

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
    double Number(const std::string& command) { return Val(Ask(command)); }
};

TEST_F(SimInstrument, RepliesCarryTheRequestsTagOrNone) {
    EXPECT_EQ(Ask("UNIT?"), "C");
    EXPECT_EQ(Ask("77 UNIT?"), "77 C");
    EXPECT_EQ(Ask("5 FROB 1"), "5 !ERR 1 unknown command FROB");
    EXPECT_EQ(Ask("6 LOG:LAB \"open"),
              "6 !ERR 1 cannot read the command: unterminated quoted argument");
    EXPECT_EQ(Ask("PROB:PAR? 1"), "!ERR 2 missing paramname");
    EXPECT_EQ(Ask("8 LOG:LAB " + std::string(4096, 'A')),
              "8 !ERR 1 cannot read the command: the line is longer than 4096 bytes");
    EXPECT_EQ(Ask("LOG:LAB?"), "DEMAND");
    EXPECT_EQ(inst->RequestCount(), 7u);
}

TEST_F(SimInstrument, PasscodeUnlocksUntilRelockedAndAWrongOneLocks) {
    EXPECT_EQ(Ask("PASS?"), "0");
    EXPECT_EQ(Ask("CAL:DATE 2024,5,6"), "!ERR 4 passcode required to change the calibration date");
    EXPECT_EQ(Ask("PROB:CONV 1,PT"), "!ERR 4 passcode required to change the conversion");
    EXPECT_EQ(Ask("PROB:PAR 1,RTPW,25.5"),
              "!ERR 4 passcode required to change the conversion coefficients");
    EXPECT_EQ(Ask("PROB:PAR 1,MINOP,-100"), "OK") << "outside the conversion: not guarded";
    EXPECT_EQ(Ask("PROB:PAR? 1,MINOP"), "-100");
    EXPECT_EQ(Ask("PASS 1234"), "OK");
    EXPECT_EQ(Ask("PASS?"), "1");
    EXPECT_EQ(Ask("CAL:DATE 2024,05,06"), "OK") << "typed without quotes";
    EXPECT_EQ(Ask("CAL:DATE?"), "2024,5,6");
    EXPECT_EQ(Ask("PASS 9999"), "OK");
    EXPECT_EQ(Ask("PASS?"), "0") << "a wrong passcode leaves it locked";
    EXPECT_EQ(Ask("PASS 1234"), "OK");
    EXPECT_EQ(Ask("PASS:LOCK"), "OK");
    EXPECT_FALSE(inst->Unlocked());
    // Without conversion protection only calibration and serial numbers stay guarded.
    inst->Modify([](sim::InstrumentState& s) { s.protectConversion = false; });
    EXPECT_EQ(Ask("PROT:CONV?"), "0");
    EXPECT_EQ(Ask("PROB:CONV 1,CVD"), "OK");
    EXPECT_EQ(Ask("PROB:SNUM 1,X"), "!ERR 4 passcode required to change the probe serial number");
    // An instrument without a passcode is always open.
    inst->Modify([](sim::InstrumentState& s) { s.passcode.clear(); });
    EXPECT_EQ(Ask("PASS?"), "1");
    EXPECT_EQ(Ask("SYST:SNUM NEW1"), "OK");
}

TEST_F(SimInstrument, CalibrationRangesHoldUpToFourPoints) {
    EXPECT_EQ(Ask("CAL:COUN?"), "!ERR 5 no calibration range selected");
    EXPECT_EQ(Ask("CAL:RANG bogus"), "!ERR 3 unknown calibration range BOGUS");
    EXPECT_EQ(Ask("CAL:RANG mv"), "OK");
    EXPECT_EQ(Ask("CAL:COUN?"), "2");
    EXPECT_EQ(Ask("CAL:REF? 2"), "100");
    EXPECT_EQ(Ask("CAL:VAL? 2"), "100.0032");
    EXPECT_EQ(Ask("CAL:VAL? 3"), "!ERR 3 3 out of range (1 to 2)");
    EXPECT_EQ(Ask("CAL:COUN 4"), "!ERR 4 passcode required to change the calibration");
    Ask("PASS 1234");
    EXPECT_EQ(Ask("CAL:COUN 5"), "!ERR 3 5 out of range (0 to 4)");
    EXPECT_EQ(Ask("CAL:COUN 4"), "OK");
    EXPECT_EQ(Ask("CAL:REF 4,1000.5"), "OK");
    EXPECT_EQ(Ask("CAL:VAL 4,abc"), "!ERR 3 not a number: abc");
    EXPECT_EQ(Ask("CAL:VAL 4,-1.5e-3"), "OK");
    EXPECT_EQ(Ask("CAL:REF? 4"), "1000.5");
    EXPECT_EQ(Ask("CAL:VAL? 4"), "-0.0015");
    EXPECT_EQ(Ask("CAL:REF? 3"), "0") << "a new point starts at zero";
    EXPECT_EQ(Ask("CAL:COUN 0"), "OK");
    EXPECT_EQ(Ask("CAL:VAL 1,1"), "!ERR 3 the range has no points");
    EXPECT_EQ(Ask("CAL:RANG NORMAL"), "OK");
    EXPECT_EQ(Ask("CAL:REF? 1"), "!ERR 5 no calibration range selected");
    EXPECT_EQ(inst->State().calibration.at("MV").size(), 0u);
    EXPECT_EQ(inst->State().calibration.at("LO_OHMS").size(), 3u);
}

TEST_F(SimInstrument, DatesMustBeRealDays) {
    Ask("PASS 1234");
    EXPECT_EQ(Ask("CAL:DATE 2024,2,29"), "OK");
    for (const char* bad : {"2023,2,29", "1899,12,31", "2024,13,1", "2024,4,31", "2024-3-7",
                            "2024,3", "2024,3,7,1", "2024,x,7"}) {
        EXPECT_EQ(Ask(std::string("PROB:CAL 1,\"") + bad + "\""),
                  "!ERR 3 a date reads year,month,day (1900 to 2099)")
            << bad;
    }
    EXPECT_EQ(Ask("PROB:CAL 2,\"2020,1,2\""), "OK");
    EXPECT_EQ(Ask("PROB:CAL? 2"), "2020,1,2");
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
    EXPECT_EQ(Ask("MEAS:STAT?"), "16");
    EXPECT_EQ(Ask("MEAS:STAT?"), "0");
    clock.Advance(1s);
    EXPECT_EQ(Ask("MEAS:STAT?"), "16");
    Ask("SAMP:INT 5");
    clock.Advance(5s);
    EXPECT_EQ(Ask("MEAS:STAT?"), "16");
    clock.Advance(1s);
    EXPECT_EQ(Ask("MEAS:STAT?"), "0");
    clock.Advance(5s);
    EXPECT_EQ(Ask("MEAS:STAT?"), "16");
    Ask("MEAS:STOP");
    clock.Advance(60s);
    EXPECT_EQ(Ask("MEAS:STAT?"), "0");
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
    EXPECT_EQ(Ask("CHAN:STAT? 2"), "1");
    EXPECT_EQ(Ask("CHAN:STAT? 1"), "0");
    EXPECT_EQ(Ask("CHAN:STAT?"), "0") << "without a channel: the first";
    EXPECT_EQ(Ask("MEAS:TEMP? 2"), "!ERR 5 channel 2 is switched off");
    EXPECT_EQ(Ask("MEAS:TEMP? 3"), "!ERR 7 no channel 3 (channels 1 to 2)");
}

TEST_F(SimInstrument, LabelsNameTheReadingsLoggedUnderThem) {
    EXPECT_EQ(Ask("LOG:LAB?"), "DEMAND");
    EXPECT_EQ(Ask("LOG:LAB \"RUN 2\""), "OK");
    EXPECT_EQ(inst->State().currentLabel, 3) << "an existing label is reused";
    EXPECT_EQ(Ask("LOG:LAB NEW_ONE"), "OK");
    EXPECT_EQ(inst->State().currentLabel, 4);
    EXPECT_EQ(Ask("LOG:DEM:TAKE"), "OK");
    EXPECT_EQ(Ask("LOG:DEM:STAT?"), "698,302");
    sim::Exchange mine = inst->Handle("LOG:DATA:LAB? 0,4");
    ASSERT_EQ(mine.lines.size(), 4u);
    EXPECT_EQ(mine.lines[0], "#BEGIN 2");
    EXPECT_EQ(mine.lines[1].substr(0, 4), "301,");
    EXPECT_NE(mine.lines[1].find(",1,4,NEW_ONE,"), std::string::npos) << mine.lines[1];
    EXPECT_NE(mine.lines[2].find(",2,4,NEW_ONE,"), std::string::npos) << mine.lines[2];
    EXPECT_EQ(mine.lines[3], "#END 2");
    for (int i = 5; i <= 25; ++i) {
        EXPECT_EQ(Ask("LOG:LAB L" + std::to_string(i)), "OK");
    }
    EXPECT_EQ(Ask("LOG:LAB ONE_MORE"), "!ERR 6 all 25 labels are in use; clear the logs first");
    EXPECT_EQ(Ask("LOG:LAB L7"), "OK");
    EXPECT_EQ(Ask("LOG:LAB \"\""), "!ERR 3 a label has 1 to 8 characters A-Z, 0-9, space or _");
    EXPECT_EQ(Ask("LOG:LAB?"), "L7");
}

TEST_F(SimInstrument, DemandLogFillsUpAndClears) {
    inst->Modify([](sim::InstrumentState& s) { s.demandCapacity = 303; });
    EXPECT_EQ(Ask("LOG:DEM:STAT?"), "3,300");
    EXPECT_TRUE(inst->LogOnDemand());
    EXPECT_FALSE(inst->LogOnDemand()) << "one place left, two channels";
    EXPECT_EQ(Ask("LOG:DEM:TAKE"), "!ERR 6 the demand log is full");
    EXPECT_EQ(Ask("LOG:DEM:CLE"), "OK");
    EXPECT_EQ(Ask("LOG:DEM:STAT?"), "303,0");
    sim::Exchange empty = inst->Handle("LOG:DATA? 300");
    EXPECT_EQ(empty.lines, (std::vector<std::string>{"#BEGIN 0", "#END 0"}));
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
    {
        auto first = sim::Instrument::Create(Options(true));
        test::Ask(*first, "UNIT F");
        test::Ask(*first, "LOG:LAB SAVED");
        test::Ask(*first, "LOG:DEM:CLE");
        test::Ask(*first, "PASS 1234");
    }
    auto second = sim::Instrument::Create(Options(true));
    EXPECT_EQ(test::Ask(*second, "UNIT?"), "F");
    EXPECT_EQ(test::Ask(*second, "LOG:LAB?"), "SAVED");
    EXPECT_EQ(test::Ask(*second, "LOG:DEM:STAT?"), "1000,0");
    EXPECT_EQ(test::Ask(*second, "PASS?"), "0") << "a new run starts locked";
    second->Reset();
    EXPECT_EQ(test::Ask(*second, "UNIT?"), "C");
    EXPECT_EQ(test::Ask(*second, "LOG:DEM:STAT?"), "700,300");
    second.reset();
    sim::SimOptions fresh = Options(true);
    test::Ask(*sim::Instrument::Create(Options(true)), "UNIT K");
    fresh.reset = true;
    EXPECT_EQ(test::Ask(*sim::Instrument::Create(fresh), "UNIT?"), "C");
}

TEST_F(SimInstrument, DamagedOrUnsavableStateLeavesTheInstrumentWorking) {
    // Damaged: set aside, and a fresh state used.
    folder.WriteFile(folder.Root() + "/sim-1.json", "{ \"units\": ");
    auto revived = sim::Instrument::Create(Options(true));
    EXPECT_EQ(test::Ask(*revived, "UNIT?"), "C");
    EXPECT_TRUE(folder.FileExists(folder.Root() + "/sim-1.json.bad"));
    EXPECT_TRUE(revived->LastSaveError().empty());

    folder.WriteFile(folder.Root() + "/blocker", "a file, not a folder");
    sim::SimOptions options = Options(true);
    options.statePath = folder.Root() + "/blocker/sim-1.json";
    auto stuck = sim::Instrument::Create(options);
    EXPECT_FALSE(stuck->LastSaveError().empty());
    // A change it cannot keep is refused and undone; reading goes on.
    EXPECT_EQ(test::Ask(*stuck, "UNIT K").rfind("!ERR 8 cannot store the state in", 0), 0u);
    EXPECT_EQ(test::Ask(*stuck, "UNIT?"), "C");
}

TEST_F(SimInstrument, DataFilesAreCheckedWhenRead) {
    sim::SimOptions options = Options();
    options.dataPath = folder.Root() + "/data.json";
    EXPECT_THROW(sim::Instrument::Create(options), std::runtime_error) << "missing file";
    folder.WriteFile(options.dataPath, R"({"channels": []})");
    EXPECT_THROW(sim::Instrument::Create(options), std::runtime_error);
    folder.WriteFile(options.dataPath, R"({"channels": [{"probe": {"conversion": "PT"}}],
                                          "passcode": "", "units": "K"})");
    auto small = sim::Instrument::Create(options);
    EXPECT_EQ(test::Ask(*small, "CHAN:COUN?"), "1");
    EXPECT_EQ(test::Ask(*small, "MOD:LIST?"), "PRT");
    EXPECT_EQ(test::Ask(*small, "UNIT?"), "K");
    EXPECT_EQ(test::Ask(*small, "LOG:DEM:STAT?"), "1000,0");
}

TEST(FaultPlans, ReadAsDocumented) {
    sim::Fault delay = sim::ParseFault("delay:3000@id=12");
    EXPECT_EQ(delay.kind, sim::FaultKind::kDelay);
    EXPECT_EQ(delay.delayMs, 3000);
    EXPECT_EQ(delay.settingId, 12);
    sim::Fault early = sim::ParseFault("early:10@id=278*2");
    EXPECT_EQ(early.linesBeforeEnd, 10);
    EXPECT_EQ(early.times, 2);
    sim::Fault drop = sim::ParseFault("drop@req=5");
    EXPECT_EQ(drop.atRequest, 5u);
    EXPECT_FALSE(drop.settingId);
    EXPECT_EQ(sim::ParseFault("error:4@id=23").errorCode, 4);
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
