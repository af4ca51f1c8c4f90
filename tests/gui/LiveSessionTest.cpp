// The live session against the embedded simulator where the window does not show it: an
// unreachable device, instrument errors, and the guard against timer re-entry.
#include <gtest/gtest.h>

#include <chrono>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "apps/vesk4710-gui/model/Recording.h"
#include "components/comm/CommErrors.h"
#include "host/DefaultHost.h"
#include "tests/apps/Processes.h"
#include "tests/gui/GuiTestSupport.h"

namespace vesk::gui {
namespace {

void ReplyToNextReading(const std::string& text) {
    sim::Fault fault;
    fault.kind = sim::FaultKind::kReplyText;
    fault.settingId = SET_TEMPERATURE;
    fault.replyText = text;
    test::SimulatedInstrument()->InjectFault(fault);
}

class LiveSessionTest : public ::testing::Test {
  protected:
    void SetUp() override { test::UseFreshSimulator(&clock); }

    LiveSession::HostFactory Factory() {
        return [this](const ConnectionTarget& target) {
            HostOptions options;
            options.comm.device = target.Device();
            options.comm.baud = target.baud;
            options.comm.timeoutMs = 500;
            options.console = false;
            options.registryPath = dir.File("settings.json");
            return MakeDefaultHost(options);
        };
    }

    test::TempDir dir;
    test::ManualClock clock;
    LiveSession session{Factory(), clock.AsFunction()};
    const ConnectionTarget sim = *ConnectionTarget::Parse("sim", 9600);
};

TEST_F(LiveSessionTest, AnUnreachableDeviceFailsOnceWithTheLinkError) {
    const auto target =
        *ConnectionTarget::Parse("tcp://127.0.0.1:" + std::to_string(vesk::test::FreePort()), 9600);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(session.Connect(target));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    EXPECT_EQ(session.State(), LinkState::Disconnected);
    ASSERT_TRUE(session.LastError().has_value());
    EXPECT_TRUE(session.LastError()->linkLost) << session.LastError()->Text();
    EXPECT_EQ(session.LastError()->during, "connecting to " + target.Device());
    EXPECT_EQ(session.Instrument(), nullptr);
    EXPECT_TRUE(session.Poll().empty());
    EXPECT_EQ(session.Target(), target) << "kept for a reconnect";
}

TEST_F(LiveSessionTest, InstrumentErrorsKeepTheSessionAndASwitchedOffChannelIsDropped) {
    ASSERT_TRUE(session.Connect(sim));
    test::InjectFault(sim::FaultKind::kGarbage, 0);
    auto readings = session.Poll();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].channel, 2);
    EXPECT_EQ(session.State(), LinkState::Connected);
    EXPECT_EQ(session.LastError()->during, "reading channel 1");
    EXPECT_TRUE(session.Channels()[0].live) << "a garbled reply is no reason to stop reading";

    test::InjectFault(sim::FaultKind::kErrorReply, 1,
                      static_cast<int32_t>(comm::InstrumentError::kNotAvailable));
    readings = session.Poll();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(session.LastError()->number,
              comm::kCommInstrumentErrorBase +
                  static_cast<int32_t>(comm::InstrumentError::kNotAvailable));
    EXPECT_FALSE(session.Channels()[1].live);
    EXPECT_EQ(session.Poll().size(), 1u) << "only channel 1 is asked now";

    session.Live(2, true);
    EXPECT_EQ(session.Poll().size(), 2u) << "ticked again, read again";
    session.Live(1, false);
    const auto only = session.Poll();
    ASSERT_EQ(only.size(), 1u);
    EXPECT_EQ(only[0].channel, 2);
}

TEST_F(LiveSessionTest, OperationsHoldOffTicksRefreshTheSettingsAndRecordFailures) {
    ASSERT_TRUE(session.Connect(sim));
    const double celsius = session.Poll()[0].value;
    std::vector<Reading> inner{{1, 0, 0.0, ""}};
    uint64_t requests = 0;
    EXPECT_TRUE(session.Run("attempting to change units", [&](CVesk4710& inst) {
        inner = session.Poll();
        EXPECT_FALSE(session.Refresh());
        EXPECT_FALSE(session.Connect(sim)) << "no second session from inside the first";
        inst.Units(UNITS_DEGREESF);
        const bool written = inst.UpdateUnits();
        requests = test::SimulatedInstrument()->RequestCount();
        return written;
    }));
    EXPECT_TRUE(inner.empty()) << "a timer tick during an operation reads nothing";
    EXPECT_EQ(session.State(), LinkState::Connected);
    EXPECT_GT(test::SimulatedInstrument()->RequestCount(), requests) << "settings re-read after";
    EXPECT_EQ(session.Channels()[0].unit, "\u00B0F");
    EXPECT_EQ(session.Settings()[0].second, "\u00B0F");
    const auto readings = session.Poll();
    ASSERT_EQ(readings.size(), 2u);
    EXPECT_EQ(readings[0].unit, "\u00B0F");
    EXPECT_NEAR(readings[0].value, celsius * 9.0 / 5.0 + 32.0, 0.05);

    EXPECT_FALSE(session.Run("attempting to test", [](CVesk4710&) -> bool {
        throw AutomationError(kErrOverflow, "Overflow", "test");
    }));
    EXPECT_EQ(session.State(), LinkState::Connected);
    EXPECT_EQ(session.LastError()->during, "attempting to test");
    EXPECT_EQ(session.LastError()->number, kErrOverflow);

    EXPECT_FALSE(session.Run("attempting to test", [](CVesk4710&) -> bool {
        throw comm::CommError(comm::kCommTimeout, "no reply");
    }));
    EXPECT_EQ(session.State(), LinkState::Lost);
    bool ran = false;
    EXPECT_FALSE(session.Run("attempting to test", [&](CVesk4710&) { return ran = true; }));
    EXPECT_FALSE(ran) << "nothing runs on a lost link until it is reconnected";
}

// A reading keeps the instrument's digits into the recording; a reply that is no number is
// an error, never a reading of 0.
TEST_F(LiveSessionTest, ReadingsKeepTheInstrumentsDigitsAndANonNumberIsNoReading) {
    ASSERT_TRUE(session.Connect(sim));
    ReplyToNextReading("25.1000");
    auto readings = session.Poll();
    ASSERT_EQ(readings.size(), 2u);
    EXPECT_EQ(readings[0].text, "25.1000");
    EXPECT_DOUBLE_EQ(readings[0].value, 25.1);
    std::string row;
    AppendReadingRow(row, 1, readings[0], session.Channels()[0], "sim", "A47100");
    EXPECT_NE(row.find(",25.1000,C,"), std::string::npos) << row;

    ReplyToNextReading("OVER");
    readings = session.Poll();
    ASSERT_EQ(readings.size(), 1u);
    EXPECT_EQ(readings[0].channel, 2);
    EXPECT_EQ(session.LastError()->number, comm::kCommMalformedReply);
    EXPECT_TRUE(session.Channels()[0].live);
}

}  // namespace
}  // namespace vesk::gui
