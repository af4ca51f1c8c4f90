// One contract, every link: the in-process link, a pseudo-terminal served by the simulator and
// loopback TCP must all carry every setting the library uses, and recover from every fault.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "LinkHarness.h"
#include "components/comm/Protocol.h"

namespace vesk::test {
namespace {

using enum comm::Param;
using comm::Param;
using P = RequestParams;

class Contract : public ::testing::TestWithParam<LinkKind> {
  protected:
    Harness h{GetParam(), 2000};
};

struct Step {
    int32_t id;
    P params;
    std::string expect;  // regular expression for a read's reply
};

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::string line;
    std::istringstream in(text);
    while (std::getline(in, line, '\r')) {
        lines.push_back(line);
    }
    return lines;
}

TEST_P(Contract, EverySettingInTheTableIsServed) {
    const std::vector<Step> steps = {
        {SET_INIT_INTERFACE, {}, ""},
        {SET_IDENTIFICATION, {}, "Vesk Scientific,4710,A47100,1\\.10"},
        {SET_PASSCODE_STATE, {}, "0"},
        {SET_CONV_PROTECTION, {}, "1"},
        {SET_PASSCODE, {{kValue, "1234"}}, ""},
        {SET_PASSCODE_STATE, {}, "1"},
        {SET_SERIAL, {{kValue, "B200"}}, ""},
        {SET_MODULE_LIST, {}, "PRT,PRT"},
        {SET_NUM_MODULES, {}, "2"},
        {SET_NUM_CHANNELS, {}, "2"},
        {SET_CHANNEL_STATE, {{kChannel, "1"}}, "0"},
        {SET_UNITS_WRITE, {{kValue, "F"}}, ""},
        {SET_UNITS_READ, {}, "F"},
        {SET_INTERVAL_WRITE, {{kValue, "5"}}, ""},
        {SET_INTERVAL_READ, {}, "5"},
        {SET_SCAN_SEQ_DELAY, {{kValue, "10"}}, ""},
        {SET_SCAN_LIST_WRITE, {{kChannelList, "2"}}, ""},
        {SET_SCAN_LIST_READ, {}, "\\(@2\\)"},
        {SET_SCAN_MODE_WRITE, {{kValue, "1"}}, ""},
        {SET_SCAN_MODE_READ, {}, "1"},
        {SET_RESOLUTION, {{kChannel, "2"}, {kValue, "2"}}, ""},
        {SET_RESOLUTION_READ, {{kChannel, "2"}}, "2"},
        {SET_CAL_DATE_WRITE, {{kValue, "2024,3,7"}}, ""},
        {SET_CAL_DATE_READ, {}, "2024,3,7"},
        {SET_CAL_RANGE, {{kValue, "LO_OHMS"}}, ""},
        {SET_CAL_COUNT_WRITE, {{kValue, "2"}}, ""},
        {SET_CAL_COUNT_READ, {}, "2"},
        {SET_CAL_REFERENCE_WRITE, {{kPointNumber, "2"}, {kValue, "101.5"}}, ""},
        {SET_CAL_REFERENCE_READ, {{kPointNumber, "2"}}, "101\\.5"},
        {SET_CAL_VALUE_WRITE, {{kPointNumber, "2"}, {kValue, "101.25"}}, ""},
        {SET_CAL_VALUE_READ, {{kPointNumber, "2"}}, "101\\.25"},
        {SET_CAL_RANGE, {{kValue, "NORMAL"}}, ""},
        {SET_START_MEASURE, {}, ""},
        {SET_TEMPERATURE, {{kChannel, "1"}}, "-?[0-9]+\\.[0-9]{4}"},
        {SET_RAW_VALUE, {{kChannel, "1"}}, "[0-9]+\\.[0-9]{5}"},
        {SET_RAW_MILLI, {{kChannel, "2"}}, "[0-9]+\\.[0-9]{3}"},
        {SET_READING_STATE, {}, "16|0"},
        {SET_STOP_MEASURE, {}, ""},
        {SET_PROBE_SERIAL_READ, {{kChannel, "1"}}, "S1001"},
        {SET_PROBE_SERIAL_WRITE, {{kChannel, "1"}, {kValue, "S9"}}, ""},
        {SET_PROBE_CAL_DATE_READ, {{kChannel, "1"}}, "2023,11,2"},
        {SET_PROBE_CAL_DATE_WRITE, {{kChannel, "1"}, {kValue, "2024,2,29"}}, ""},
        {SET_CONVERSION_READ, {{kChannel, "1"}}, "ITS"},
        {SET_CONVERSION_WRITE, {{kChannel, "1"}, {kValue, "CVD"}}, ""},
        {SET_PARAMETER_READ, {{kChannel, "1"}, {kParamName, "R0"}}, "100"},
        {SET_PARAMETER_WRITE, {{kChannel, "1"}, {kParamName, "A"}, {kValue, "0.0039"}}, ""},
        {SET_PROBE_LOCK_READ, {{kChannel, "2"}}, "0"},
        {SET_PROBE_LOCK_WRITE, {{kChannel, "2"}, {kValue, "1"}}, ""},
        {SET_DEMAND_LOG_STATUS, {}, "700,300"},
        {SET_LOGGING_LABEL_READ, {}, "DEMAND"},
        {SET_LOGGING_LABEL_WRITE, {{kValue, "BATH 9"}}, ""},
        {SET_LOGGING_LABEL_LIST, {}, "DEMAND,BATH_A,RUN 2,BATH 9"},
        {SET_TRANSFER_ALL, {}, ""},
        {SET_TRANSFER_LABEL, {}, ""},
        {SET_AUTO_LOG_STATUS, {}, "[0-9]+,[1-9][0-9]*"},
        {SET_AUTO_LOG_TRANSFER, {}, ""},
        {SET_CLEAR_AUTO_LOG, {{kValue, "0"}}, ""},
        {SET_CLEAR_DEMAND_LOG, {}, ""},
        {SET_AUTO_POWER_READ, {}, "OFF"},
        {SET_AUTO_POWER_WRITE, {{kValue, "ON"}}, ""},
        {SET_DISABLE_SERIAL, {}, ""},
        {SET_PASSCODE_LOCK, {}, ""},
    };
    std::set<int32_t> covered;
    for (const Step& step : steps) {
        SCOPED_TRACE("setting " + std::to_string(step.id));
        const comm::SettingCommand* command = comm::FindSetting(step.id);
        ASSERT_NE(command, nullptr);
        covered.insert(step.id);
        switch (command->access) {
            case comm::Access::kRead: {
                std::string reply = h.Read(step.id, step.params);
                EXPECT_TRUE(std::regex_match(reply, std::regex(step.expect))) << reply;
                break;
            }
            case comm::Access::kWrite:
                EXPECT_NO_THROW(h.Write(step.id, step.params));
                break;
            case comm::Access::kTransfer: {
                // The automatic log sends as many readings as its status says it holds.
                const std::string held = h.Read(SET_AUTO_LOG_STATUS, {});
                const size_t expected = step.id == SET_TRANSFER_LABEL ? 100u
                                        : step.id == SET_AUTO_LOG_TRANSFER
                                            ? std::stoul(held.substr(held.find(',') + 1))
                                            : 300u;
                TransferResult r =
                    h.comm->Transfer(step.id, 0, step.id == SET_TRANSFER_LABEL ? "2" : "");
                EXPECT_FALSE(r.endedEarly);
                EXPECT_EQ(Lines(r.text).size(), expected);
                break;
            }
        }
    }
    std::set<int32_t> table;
    for (const comm::SettingCommand& c : comm::SettingTable()) {
        table.insert(c.id);
    }
    EXPECT_EQ(covered, table);
    // What was written is what the instrument now holds.
    EXPECT_EQ(h.Read(SET_IDENTIFICATION), "Vesk Scientific,4710,B200,1.10");
    EXPECT_EQ(h.Read(SET_CONVERSION_READ, {{kChannel, "1"}}), "CVD");
    EXPECT_EQ(h.Read(SET_PARAMETER_READ, {{kChannel, "1"}, {kParamName, "A"}}), "0.0039");
    EXPECT_EQ(h.Read(SET_PROBE_LOCK_READ, {{kChannel, "2"}}), "1");
    EXPECT_EQ(h.Read(SET_LOGGING_LABEL_READ), "BATH 9");
    EXPECT_EQ(h.Read(SET_DEMAND_LOG_STATUS), "1000,0");
    EXPECT_EQ(h.Read(SET_AUTO_POWER_READ), "ON");
    EXPECT_EQ(h.Read(SET_PASSCODE_STATE), "0") << "setting 4 ends the unlocked state";
}

TEST_P(Contract, LogDownloadCarriesEveryReadingInOrder) {
    TransferResult all = h.comm->Transfer(SET_TRANSFER_ALL, 300, "");
    ASSERT_FALSE(all.endedEarly);
    std::vector<std::string> lines = Lines(all.text);
    ASSERT_EQ(lines.size(), 300u);
    EXPECT_EQ(all.text.find('\n'), std::string::npos) << "lines are separated by a lone CR";
    // Number, date, time, channel, label number and name, value, unit.
    const std::regex form(
        R"(\d+,\d{4}/\d{2}/\d{2},\d{2}:\d{2}:\d{2},[12],[123],[A-Z0-9 _]+,-?\d+\.\d+,(C|F|K|OHM|V))");
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(std::regex_match(lines[i], form)) << lines[i];
        EXPECT_TRUE(lines[i].starts_with(std::to_string(i + 1) + ",")) << lines[i];
    }
    for (const std::string& line : Lines(h.comm->Transfer(SET_TRANSFER_LABEL, 300, "3").text)) {
        EXPECT_NE(line.find(",3,RUN 2,"), std::string::npos) << line;
    }

    // A label without readings: the instrument gives up, and says so.
    h.Write(SET_LOGGING_LABEL_WRITE, {{kValue, "EMPTY"}});
    TransferResult none = h.comm->Transfer(SET_TRANSFER_LABEL, 300, "4");
    EXPECT_TRUE(none.endedEarly);
    EXPECT_EQ(none.text, "");

    h.Write(SET_CLEAR_DEMAND_LOG);  // cleared: an empty download, not one cut short
    TransferResult cleared = h.comm->Transfer(SET_TRANSFER_ALL, 300, "");
    EXPECT_FALSE(cleared.endedEarly);
    EXPECT_EQ(cleared.text, "");
}

// ---- faults: a clear error, a usable session afterwards, nothing received lost ----

class Faults : public ::testing::TestWithParam<LinkKind> {
  protected:
    static constexpr int32_t kTimeoutMs = 150;
    Harness h{GetParam(), kTimeoutMs};

    void Plan(const std::string& plan) { h.instrument->InjectFault(sim::ParseFault(plan)); }
    void ExpectUsable() {
        EXPECT_EQ(h.Read(SET_IDENTIFICATION), "Vesk Scientific,4710,A47100,1.10");
        EXPECT_EQ(h.Read(SET_UNITS_READ), "C");
        EXPECT_EQ(h.Read(SET_LOGGING_LABEL_READ), "DEMAND");
    }
};

// Refused values and every line fault: a clear error of this component, the session usable.
TEST_P(Faults, EachRefusalOrLineFaultIsAClearErrorAndTheSessionRecovers) {
    Harness patient(GetParam(), 1000);
    patient.instrument->InjectFault(
        sim::ParseFault("delay:60@id=" + std::to_string(SET_UNITS_READ)));
    EXPECT_EQ(patient.Read(SET_UNITS_READ), "C") << "a short delay is waited for";

    struct Case {
        std::string plan;
        int32_t id;
        P params;
        int32_t number;
        std::vector<std::string> says;
    };
    constexpr int32_t kRefused = comm::kCommInstrumentErrorBase;
    constexpr int32_t kTimeout = comm::kCommTimeout;
    constexpr int32_t kMalformed = comm::kCommMalformedReply;
    constexpr int32_t kDropped = comm::kCommLinkDropped;
    const std::vector<Case> cases = {
        // No fault: values the instrument refuses.
        {"", SET_SERIAL, {{kValue, "X1"}}, kRefused + 4, {"23 (SYST:SNUM): passcode required"}},
        {"", SET_UNITS_WRITE, {{kValue, "X"}}, kRefused + 3, {}},
        {"", SET_UNITS_WRITE, {}, kRefused + 2, {}},
        {"", SET_RESOLUTION, {{kChannel, "3"}, {kValue, "1"}}, kRefused + 7, {}},
        // A thermocouple has no resistance; no range is selected.
        {"", SET_RAW_VALUE, {{kChannel, "2"}}, kRefused + 5, {}},
        {"", SET_CAL_COUNT_READ, {}, kRefused + 5, {}},
        {"", SET_PARAMETER_READ, {{kChannel, "1"}, {kParamName, "ZZ"}}, kRefused + 3, {}},
        {"", SET_LOGGING_LABEL_WRITE, {{kValue, "TOO LONG LABEL"}}, kRefused + 3, {}},
        {"", SET_AUTO_POWER_WRITE, {{kValue, "MAYBE"}}, kRefused + 3, {}},
        {"delay:250", SET_LOGGING_LABEL_READ, {}, kTimeout, {"did not reply to setting 285"}},
        {"noreply", SET_TEMPERATURE, {{kChannel, "1"}}, kTimeout, {}},
        // A garbled reply shows its control bytes.
        {"garbage", SET_UNITS_READ, {}, kMalformed, {"not in the expected form", "\\x02"}},
        {"error:6", SET_DEMAND_LOG_STATUS, {}, kRefused + 6, {"simulated fault", "error 6)"}},
        // A transfer that never begins raises like any request.
        {"noreply", SET_TRANSFER_ALL, {}, kTimeout, {}},
        {"garbage", SET_TRANSFER_ALL, {}, kMalformed, {}},
        {"error:5", SET_TRANSFER_LABEL, {{kValue, "1"}}, kRefused + 5, {}},
        {"drop", SET_TRANSFER_ALL, {}, kDropped, {"dropped"}},
        // Last: the write it loses is repeated below.
        {"drop", SET_UNITS_WRITE, {{kValue, "F"}}, kDropped, {"dropped"}},
    };
    for (const Case& c : cases) {
        const std::string plan = c.plan + "@id=" + std::to_string(c.id);
        SCOPED_TRACE(plan);
        if (!c.plan.empty()) {
            Plan(plan);
        }
        AutomationError e = Raised([&] { h.Request(c.id, c.params); });
        EXPECT_EQ(e.Number(), c.number) << e.Description();
        EXPECT_EQ(e.Source(), comm::kCommSource);
        for (const std::string& text : c.says) {
            EXPECT_NE(e.Description().find(text), std::string::npos) << e.Description();
        }
        EXPECT_EQ(h.comm->IsOpen(), c.number != kDropped);
        if (c.plan.starts_with("delay")) {
            // The late reply arrives while the next request waits; it must be skipped.
            std::this_thread::sleep_for(std::chrono::milliseconds(120));
        }
        ExpectUsable();  // after the drop: still C, the write was lost on the way
    }
    h.Write(SET_UNITS_WRITE, {{kValue, "F"}});
    EXPECT_EQ(h.Read(SET_UNITS_READ), "F");
}

TEST_P(Faults, TransferEndingEarlyKeepsWhatArrived) {
    TransferResult whole = h.comm->Transfer(SET_TRANSFER_ALL, 300, "");
    ASSERT_FALSE(whole.endedEarly);
    Plan("early:37@id=" + std::to_string(SET_TRANSFER_ALL));
    TransferResult part = h.comm->Transfer(SET_TRANSFER_ALL, 300, "");
    EXPECT_TRUE(part.endedEarly);
    EXPECT_EQ(Lines(part.text).size(), 37u);
    EXPECT_EQ(part.text, whole.text.substr(0, part.text.size()));
    ExpectUsable();
    EXPECT_EQ(h.comm->Transfer(SET_TRANSFER_ALL, 300, "").text, whole.text);
}

TEST_P(Faults, AReplyTooLongForALineIsRefusedInShortAndItsRestSkipped) {
    Harness traced(GetParam(), 1000, h.folder.Root() + "/io.log");
    traced.instrument->Modify(
        [](sim::InstrumentState& s) { s.labels[0] = std::string(100000, 'L'); });
    AutomationError e = Raised([&] { traced.Read(SET_LOGGING_LABEL_READ); });
    EXPECT_EQ(e.Number(), comm::kCommMalformedReply);
    EXPECT_NE(e.Description().find("longer than 4096 bytes"), std::string::npos);
    EXPECT_LT(e.Description().size(), 400u) << "the reply is quoted in short";
    EXPECT_TRUE(traced.comm->Transfer(SET_TRANSFER_ALL, 2, "").endedEarly)
        << "a data line the same";
    EXPECT_EQ(traced.Read(SET_UNITS_READ), "C") << "the rest of the long lines answers nothing";
    EXPECT_LT(h.folder.ReadFile(h.folder.Root() + "/io.log").size(), 2000u);
}

INSTANTIATE_TEST_SUITE_P(Links, Contract,
                         ::testing::Values(LinkKind::kEmbedded, LinkKind::kPty, LinkKind::kTcp),
                         LinkName);
INSTANTIATE_TEST_SUITE_P(Links, Faults,
                         ::testing::Values(LinkKind::kEmbedded, LinkKind::kPty, LinkKind::kTcp),
                         LinkName);

}  // namespace
}  // namespace vesk::test
