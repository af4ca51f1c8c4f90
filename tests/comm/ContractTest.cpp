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

using comm::Param;
using P = std::vector<std::pair<Param, std::string>>;

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
        {0, {}, ""},
        {18, {}, "Vesk Scientific,4710,A47100,1\\.10"},
        {3, {}, "0"},
        {5, {}, "1"},
        {2, {{Param::kValue, "1234"}}, ""},
        {3, {}, "1"},
        {23, {{Param::kValue, "B200"}}, ""},
        {40, {}, "PRT,PRT"},
        {41, {}, "2"},
        {43, {}, "2"},
        {88, {{Param::kChannel, "1"}}, "0"},
        {169, {{Param::kValue, "F"}}, ""},
        {168, {}, "F"},
        {33, {{Param::kValue, "5"}}, ""},
        {32, {}, "5"},
        {39, {{Param::kValue, "10"}}, ""},
        {47, {{Param::kChannelList, "2"}}, ""},
        {46, {}, "\\(@2\\)"},
        {57, {{Param::kValue, "1"}}, ""},
        {56, {}, "1"},
        {67, {{Param::kChannel, "2"}, {Param::kValue, "2"}}, ""},
        {66, {{Param::kChannel, "2"}}, "2"},
        {73, {{Param::kValue, "2024,3,7"}}, ""},
        {72, {}, "2024,3,7"},
        {77, {{Param::kValue, "LO_OHMS"}}, ""},
        {79, {{Param::kValue, "2"}}, ""},
        {78, {}, "2"},
        {83, {{Param::kPointNumber, "2"}, {Param::kValue, "101.5"}}, ""},
        {82, {{Param::kPointNumber, "2"}}, "101\\.5"},
        {81, {{Param::kPointNumber, "2"}, {Param::kValue, "101.25"}}, ""},
        {80, {{Param::kPointNumber, "2"}}, "101\\.25"},
        {77, {{Param::kValue, "NORMAL"}}, ""},
        {10, {}, ""},
        {12, {{Param::kChannel, "1"}}, "-?[0-9]+\\.[0-9]{4}"},
        {13, {{Param::kChannel, "1"}}, "[0-9]+\\.[0-9]{5}"},
        {14, {{Param::kChannel, "2"}}, "[0-9]+\\.[0-9]{3}"},
        {15, {}, "16|0"},
        {11, {}, ""},
        {122, {{Param::kChannel, "1"}}, "S1001"},
        {123, {{Param::kChannel, "1"}, {Param::kValue, "S9"}}, ""},
        {126, {{Param::kChannel, "1"}}, "2023,11,2"},
        {127, {{Param::kChannel, "1"}, {Param::kValue, "2024,2,29"}}, ""},
        {130, {{Param::kChannel, "1"}}, "ITS"},
        {131, {{Param::kChannel, "1"}, {Param::kValue, "CVD"}}, ""},
        {134, {{Param::kChannel, "1"}, {Param::kParamName, "R0"}}, "100"},
        {135, {{Param::kChannel, "1"}, {Param::kParamName, "A"}, {Param::kValue, "0.0039"}}, ""},
        {144, {{Param::kChannel, "2"}}, "0"},
        {145, {{Param::kChannel, "2"}, {Param::kValue, "1"}}, ""},
        {280, {}, "700,300"},
        {285, {}, "DEMAND"},
        {286, {{Param::kValue, "BATH 9"}}, ""},
        {287, {}, "DEMAND,BATH_A,RUN 2,BATH 9"},
        {278, {}, ""},
        {279, {}, ""},
        {281, {}, "[0-9]+,[1-9][0-9]*"},
        {282, {}, ""},
        {283, {{Param::kValue, "0"}}, ""},
        {284, {}, ""},
        {304, {}, "OFF"},
        {305, {{Param::kValue, "ON"}}, ""},
        {306, {}, ""},
        {4, {}, ""},
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
                const std::string held = h.Read(281, {});
                const size_t expected = step.id == 279 ? 100u
                                        : step.id == 282
                                            ? std::stoul(held.substr(held.find(',') + 1))
                                            : 300u;
                TransferResult r = h.comm->Transfer(step.id, 0, step.id == 279 ? "2" : "");
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
    EXPECT_EQ(h.Read(18), "Vesk Scientific,4710,B200,1.10");
    EXPECT_EQ(h.Read(130, {{Param::kChannel, "1"}}), "CVD");
    EXPECT_EQ(h.Read(134, {{Param::kChannel, "1"}, {Param::kParamName, "A"}}), "0.0039");
    EXPECT_EQ(h.Read(144, {{Param::kChannel, "2"}}), "1");
    EXPECT_EQ(h.Read(285), "BATH 9");
    EXPECT_EQ(h.Read(280), "1000,0");
    EXPECT_EQ(h.Read(304), "ON");
    EXPECT_EQ(h.Read(3), "0") << "setting 4 ends the unlocked state";
}

TEST_P(Contract, RefusedValuesComeBackAsInstrumentErrors) {
    struct Bad {
        int32_t id;
        P params;
        int32_t code;
        std::string says = "";
    };
    const std::vector<Bad> cases = {
        {23, {{Param::kValue, "X1"}}, 4, "refused setting 23 (SYST:SNUM): passcode required"},
        {169, {{Param::kValue, "X"}}, 3},
        {169, {}, 2},
        {33, {{Param::kValue, "0"}}, 3},
        {57, {{Param::kValue, "2"}}, 3},
        {67, {{Param::kChannel, "1"}, {Param::kValue, "4"}}, 3},
        {67, {{Param::kChannel, "3"}, {Param::kValue, "1"}}, 7},
        {12, {}, 2},
        {13, {{Param::kChannel, "2"}}, 5},  // a thermocouple has no resistance
        {14, {{Param::kChannel, "1"}}, 5},
        {47, {{Param::kChannelList, "1,3"}}, 3},
        {78, {}, 5},  // no range selected
        {134, {{Param::kChannel, "1"}, {Param::kParamName, "ZZ"}}, 3},
        {286, {{Param::kValue, "TOO LONG LABEL"}}, 3},
        {286, {{Param::kValue, "bad,lbl"}}, 3},
        {283, {{Param::kValue, "1"}}, 3},
        {305, {{Param::kValue, "MAYBE"}}, 3},
    };
    for (const Bad& bad : cases) {
        SCOPED_TRACE("setting " + std::to_string(bad.id));
        AutomationError e = Raised([&] { h.Request(bad.id, bad.params); });
        EXPECT_EQ(e.Number(), comm::kCommInstrumentErrorBase + bad.code) << e.Description();
        EXPECT_NE(e.Description().find(bad.says), std::string::npos) << e.Description();
        EXPECT_EQ(e.Source(), comm::kCommSource);
    }
    // Nothing was changed by the refusals.
    EXPECT_EQ(h.Read(168), "C");
    EXPECT_EQ(h.Read(285), "DEMAND");
}

TEST_P(Contract, LogDownloadCarriesEveryReadingInOrder) {
    TransferResult all = h.comm->Transfer(278, 300, "");
    ASSERT_FALSE(all.endedEarly);
    std::vector<std::string> lines = Lines(all.text);
    ASSERT_EQ(lines.size(), 300u);
    EXPECT_EQ(all.text.find('\n'), std::string::npos) << "lines are separated by a lone CR";
    std::regex form(
        R"((\d+),(\d{4}/\d{2}/\d{2}),(\d{2}:\d{2}:\d{2}),([12]),([123]),([A-Z0-9 _]+),(-?\d+\.\d+),(C|F|K|OHM|V))");
    std::set<std::string> labels;
    for (size_t i = 0; i < lines.size(); ++i) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines[i], m, form)) << lines[i];
        EXPECT_EQ(m[1].str(), std::to_string(i + 1));
        labels.insert(m[6].str());
    }
    EXPECT_EQ(labels, (std::set<std::string>{"DEMAND", "BATH_A", "RUN 2"}));

    TransferResult some = h.comm->Transfer(278, 10, "");
    EXPECT_FALSE(some.endedEarly);
    EXPECT_EQ(Lines(some.text).size(), 10u);
    EXPECT_EQ(some.text, all.text.substr(0, some.text.size()));

    TransferResult label3 = h.comm->Transfer(279, 300, "3");
    EXPECT_FALSE(label3.endedEarly);
    for (const std::string& line : Lines(label3.text)) {
        EXPECT_NE(line.find(",3,RUN 2,"), std::string::npos) << line;
    }

    // A label without readings: the instrument gives up, and says so.
    h.Write(286, {{Param::kValue, "EMPTY"}});
    TransferResult none = h.comm->Transfer(279, 300, "4");
    EXPECT_TRUE(none.endedEarly);
    EXPECT_EQ(none.text, "");

    h.Write(284);  // cleared: an empty download, not one cut short
    TransferResult cleared = h.comm->Transfer(278, 300, "");
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
        EXPECT_EQ(h.Read(18), "Vesk Scientific,4710,A47100,1.10");
        EXPECT_EQ(h.Read(168), "C");
    }
};

TEST_P(Faults, EachLineFaultIsAClearErrorAndTheSessionRecovers) {
    Harness patient(GetParam(), 1000);
    patient.instrument->InjectFault(sim::ParseFault("delay:60@id=168"));
    EXPECT_EQ(patient.Read(168), "C") << "a short delay is waited for";

    struct Case {
        std::string plan;
        int32_t id;
        P params;
        int32_t number;
        std::vector<std::string> says;
    };
    constexpr int32_t kRefused = comm::kCommInstrumentErrorBase;
    const std::vector<Case> cases = {
        {"delay:250@id=285", 285, {}, comm::kCommTimeout, {"did not reply to setting 285"}},
        {"noreply@id=12", 12, {{Param::kChannel, "1"}}, comm::kCommTimeout, {}},
        // A garbled reply shows its control bytes.
        {"garbage@id=168",
         168,
         {},
         comm::kCommMalformedReply,
         {"not in the expected form", "\\x02"}},
        {"error:6@id=280", 280, {}, kRefused + 6, {"simulated fault", "instrument error 6"}},
        // A transfer that never begins raises like any request.
        {"noreply@id=278", 278, {}, comm::kCommTimeout, {}},
        {"garbage@id=278", 278, {}, comm::kCommMalformedReply, {}},
        {"error:5@id=279", 279, {{Param::kValue, "1"}}, kRefused + 5, {}},
        {"drop@id=278", 278, {}, comm::kCommLinkDropped, {"dropped"}},
        // Last: the write it loses is repeated below.
        {"drop@id=169", 169, {{Param::kValue, "F"}}, comm::kCommLinkDropped, {"dropped"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.plan);
        Plan(c.plan);
        AutomationError e = Raised([&] { h.Request(c.id, c.params); });
        EXPECT_EQ(e.Number(), c.number) << e.Description();
        for (const std::string& text : c.says) {
            EXPECT_NE(e.Description().find(text), std::string::npos) << e.Description();
        }
        EXPECT_EQ(h.comm->IsOpen(), c.number != comm::kCommLinkDropped);
        if (c.plan.starts_with("delay")) {
            // The late reply arrives while the next request waits; it must be skipped.
            std::this_thread::sleep_for(std::chrono::milliseconds(120));
        }
        ExpectUsable();  // after the drop: still C, the write was lost on the way
    }
    h.Write(169, {{Param::kValue, "F"}});
    EXPECT_EQ(h.Read(168), "F");
}

TEST_P(Faults, TransferEndingEarlyKeepsWhatArrived) {
    TransferResult whole = h.comm->Transfer(278, 300, "");
    ASSERT_FALSE(whole.endedEarly);
    Plan("early:37@id=278");
    TransferResult part = h.comm->Transfer(278, 300, "");
    EXPECT_TRUE(part.endedEarly);
    EXPECT_EQ(Lines(part.text).size(), 37u);
    EXPECT_EQ(part.text, whole.text.substr(0, part.text.size()));
    ExpectUsable();
    EXPECT_EQ(h.comm->Transfer(278, 300, "").text, whole.text);
}

TEST_P(Faults, AReplyTooLongForALineIsRefusedInShortAndItsRestSkipped) {
    Harness traced(GetParam(), 1000, h.folder.Root() + "/io.log");
    traced.instrument->Modify(
        [](sim::InstrumentState& s) { s.labels[0] = std::string(100000, 'L'); });
    AutomationError e = Raised([&] { traced.Read(285); });
    EXPECT_EQ(e.Number(), comm::kCommMalformedReply);
    EXPECT_NE(e.Description().find("longer than 4096 bytes"), std::string::npos);
    EXPECT_LT(e.Description().size(), 400u) << "the reply is quoted in short";
    EXPECT_TRUE(traced.comm->Transfer(278, 2, "").endedEarly) << "a data line the same";
    EXPECT_EQ(traced.Read(168), "C") << "the rest of the long lines answers nothing";
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
