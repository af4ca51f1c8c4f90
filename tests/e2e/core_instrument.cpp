// The instrument object against the simulator: the whole query, readings, passcode
// protection and the calibration write-back.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "components/comm/Communications.h"
#include "components/probes/Probe.h"
#include "components/probes/TemperatureMath.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "tests/testsupport/Fakes.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::test {
namespace {

class InstrumentOnSimulator : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::SimOptions options;
        options.persist = false;
        options.reset = true;
        // A still clock keeps the simulated baths from drifting between two reads.
        const auto frozen = std::chrono::system_clock::from_time_t(1710000000);
        options.clock = [frozen] { return frozen; };
        target = sim::Instrument::Create(options);
        host = std::make_shared<FakeHost>();
        host->commFactory = [instrument = target] {
            comm::CommOptions commOptions;
            commOptions.device = "embedded";
            return comm::Communications::Create(commOptions,
                                                [instrument](const comm::LinkRequest&) {
                                                    return sim::ConnectEmbedded(instrument);
                                                });
        };
        host->probeFactory = [] { return probes::Probe::Create(); };
    }

    std::shared_ptr<CVesk4710> Open() {
        auto unit = CVesk4710::Create(host);
        EXPECT_TRUE(unit->InitializeCommunications());
        EXPECT_TRUE(unit->QueryInfo());
        return unit;
    }

    std::shared_ptr<sim::Instrument> target;
    std::shared_ptr<FakeHost> host;
};

TEST_F(InstrumentOnSimulator, QueryInfoBuildsTheInstrumentAndItsTree) {
    auto unit = Open();
    EXPECT_TRUE(host->ui.boxes.empty());
    EXPECT_EQ(unit->Model(), "4710");
    EXPECT_EQ(unit->Serial(), "A47100");
    EXPECT_DOUBLE_EQ(unit->Firmware(), 1.1);
    EXPECT_TRUE(unit->VerifyMinimumFirmware());
    EXPECT_TRUE(unit->ProtectConversion());
    // Locked by its passcode until one is presented.
    EXPECT_EQ(unit->PasscodeState(), PS_DISABLED);
    EXPECT_EQ(unit->NumChannels(), 2);
    ASSERT_EQ(unit->NumModules(), 2);
    EXPECT_EQ(unit->Units(), UNITS_DEGREESC);
    EXPECT_FALSE(unit->AutoPower());
    EXPECT_EQ(unit->CalDate(), Date::FromYMD(2024, 1, 15));
    for (int16_t c = 1; c <= 2; ++c) {
        auto channel = unit->GetChannelReference(c);
        ASSERT_NE(channel, nullptr);
        EXPECT_EQ(channel->ActualChannel(), c);
        EXPECT_EQ(channel->Module(), unit->Modules(static_cast<int16_t>(c - 1)));
    }
    EXPECT_EQ(unit->GetChannelReference(1)->Probe()->Serial(), "S1001");

    // The calibration points of the data file are in the grid, unused points marked.
    const auto& grid = unit->CalibrationGrid();
    EXPECT_DOUBLE_EQ(Val(grid.TextMatrix(3, 4)), 100.00154);
    EXPECT_DOUBLE_EQ(Val(grid.TextMatrix(4, 3)), 400.0);
    EXPECT_EQ(grid.TextMatrix(5, 3), "-");
    EXPECT_EQ(grid.TextMatrix(3, 7), "-");
}

TEST_F(InstrumentOnSimulator, ReadingsOfBothChannelsAgreeWithTheProbeMath) {
    auto unit = Open();
    for (int16_t c = 1; c <= 2; ++c) {
        ASSERT_TRUE(unit->GetChannelReference(c)->QueryInfo()) << c;
    }
    const double tolerance[] = {0.01, 0.1};
    const double bath[] = {25.0, 150.0};
    for (int16_t c = 1; c <= 2; ++c) {
        unit->Units(UNITS_DEGREESC);
        const double celsius = unit->QueryMeasurement(c);
        EXPECT_NEAR(celsius, bath[c - 1], 1.0) << c;

        unit->Units(UNITS_RAW_VALUE);
        const double raw = unit->QueryMeasurement(c);
        auto probe = unit->GetChannelReference(c)->Probe();
        const auto math = probes::SpecFrom(probe->ActiveConversion(), probe->ConversionType());
        // Ohms for the resistance thermometer, millivolts for the thermocouple.
        EXPECT_NEAR(probes::TemperatureFromRaw(math, raw), celsius, tolerance[c - 1]) << c;
    }
    // A selected channel reads as that channel; waiting for a new reading ends.
    unit->Units(UNITS_DEGREESC);
    unit->SelectedChannel(1);
    EXPECT_NEAR(unit->QueryMeasurement(-1, true), bath[0], 1.0);
}

TEST_F(InstrumentOnSimulator, ProtectedWriteNeedsThePasscodeAndLocksAgain) {
    auto unit = Open();
    unit->CalDate(Date::FromYMD(2024, 6, 1));
    const auto refused = [&] {
        try {
            unit->UpdateInfo();
        } catch (const AutomationError& e) {
            EXPECT_EQ(e.Source(), "CVesk4710 - UpdateInfo");
            return true;
        }
        return false;
    };
    EXPECT_TRUE(refused());
    EXPECT_EQ(target->State().calDate, "2024,1,15");

    host->ui.passcodes = {{"0000", true}, {"1234", true}};
    ASSERT_TRUE(unit->ValidatePasscode(nullptr));
    EXPECT_EQ(host->ui.Prompts().back(), "The passcode entered is incorrect.");
    // The instrument is locked again right after the check.
    EXPECT_FALSE(target->Unlocked());
    EXPECT_EQ(unit->PasscodeState(), PS_ENABLED);

    ASSERT_TRUE(unit->UpdateInfo());
    EXPECT_EQ(target->State().calDate, "2024,6,1");
    EXPECT_FALSE(target->Unlocked());
    EXPECT_EQ(unit->Passcode(), "");

    unit->CalDate(Date::FromYMD(2024, 7, 1));
    EXPECT_TRUE(refused());
    EXPECT_EQ(target->State().calDate, "2024,6,1");
    // Still usable after the refusals.
    EXPECT_TRUE(unit->QueryCalibrationDate());
    EXPECT_EQ(unit->CalDate(), Date::FromYMD(2024, 6, 1));
}

TEST_F(InstrumentOnSimulator, CalibrationPointEditReadsBackThroughAFreshObject) {
    auto unit = Open();
    host->ui.passcodes = {{"1234", true}};
    ASSERT_TRUE(unit->ValidatePasscode(nullptr));
    auto& grid = unit->CalibrationGrid();
    // LO_OHMS point 2, and a third point for MV.
    grid.TextMatrix(3, 4, "100.00275");
    grid.TextMatrix(4, 9, "200");
    grid.TextMatrix(4, 10, "200.0071");
    ASSERT_TRUE(unit->UpdateInfo());
    EXPECT_TRUE(host->ui.boxes.empty() ||
                host->ui.Prompts().back().find("Failed") == std::string::npos);

    auto fresh = Open();
    const auto& again = fresh->CalibrationGrid();
    EXPECT_DOUBLE_EQ(Val(again.TextMatrix(3, 4)), 100.00275);
    EXPECT_DOUBLE_EQ(Val(again.TextMatrix(3, 3)), 100.0);
    EXPECT_DOUBLE_EQ(Val(again.TextMatrix(4, 9)), 200.0);
    EXPECT_DOUBLE_EQ(Val(again.TextMatrix(4, 10)), 200.0071);
    EXPECT_EQ(again.TextMatrix(5, 9), "-");
    // Untouched ranges are as they were.
    EXPECT_DOUBLE_EQ(Val(again.TextMatrix(2, 8)), 100001.3);
}

}  // namespace
}  // namespace vesk::test
