// One contract, every link: the in-process link, a pseudo-terminal served by the simulator and
// loopback TCP must all carry every setting the library uses, and recover from every fault.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "LinkHarness.h"
#include "components/comm/Protocol.h"
#include "components/probes/TemperatureMath.h"
#include "vesk4710/support/NumberText.h"

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
        {278, {}, ""},
        {279, {}, ""},
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
                TransferResult r = h.comm->Transfer(step.id, 300, step.id == 279 ? "2" : "");
                EXPECT_FALSE(r.endedEarly);
                EXPECT_EQ(Lines(r.text).size(), step.id == 279 ? 100u : 300u);
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

TEST_P(Contract, PasscodeGuardsProtectedWritesUntilPresented) {
    AutomationError refused = ErrorOf([&] { h.Write(23, {{Param::kValue, "X1"}}); });
    EXPECT_EQ(refused.Number(), comm::kCommInstrumentErrorBase + 4);
    EXPECT_NE(refused.Description().find("passcode required"), std::string::npos)
        << refused.Description();
    EXPECT_NE(refused.Description().find("setting 23"), std::string::npos);

    h.Write(2, {{Param::kValue, "4321"}});  // wrong: acknowledged, still locked
    EXPECT_EQ(h.Read(3), "0");
    EXPECT_THROW(h.Write(131, {{Param::kChannel, "1"}, {Param::kValue, "PT"}}), AutomationError);
    EXPECT_THROW(
        h.Write(135,
                {{Param::kChannel, "1"}, {Param::kParamName, "RTPW"}, {Param::kValue, "25.5"}}),
        AutomationError);
    EXPECT_THROW(h.Write(77, {{Param::kValue, "MV"}});
                 h.Write(79, {{Param::kValue, "1"}}), AutomationError);
    // Parameters outside the conversion stay writable.
    EXPECT_NO_THROW(h.Write(
        135, {{Param::kChannel, "1"}, {Param::kParamName, "MINOP"}, {Param::kValue, "-100"}}));

    h.Unlock();
    EXPECT_EQ(h.Read(3), "1");
    h.Write(131, {{Param::kChannel, "1"}, {Param::kValue, "PT"}});
    h.Write(4);
    EXPECT_EQ(h.Read(3), "0");
    EXPECT_THROW(h.Write(131, {{Param::kChannel, "1"}, {Param::kValue, "ITS"}}), AutomationError);
    EXPECT_EQ(h.Read(130, {{Param::kChannel, "1"}}), "PT");
    EXPECT_EQ(h.Read(134, {{Param::kChannel, "1"}, {Param::kParamName, "MINOP"}}), "-100");
}

TEST_P(Contract, RefusedValuesComeBackAsInstrumentErrors) {
    struct Bad {
        int32_t id;
        P params;
        int32_t code;
    };
    const std::vector<Bad> cases = {
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
        const comm::SettingCommand* command = comm::FindSetting(bad.id);
        AutomationError e = ErrorOf([&] {
            if (command->access == comm::Access::kRead) {
                h.Read(bad.id, bad.params);
            } else {
                h.Write(bad.id, bad.params);
            }
        });
        EXPECT_EQ(e.Number(), comm::kCommInstrumentErrorBase + bad.code) << e.Description();
        EXPECT_EQ(e.Source(), comm::kCommSource);
    }
    // Nothing was changed by the refusals.
    EXPECT_EQ(h.Read(168), "C");
    EXPECT_EQ(h.Read(285), "DEMAND");
}

TEST_P(Contract, ReadingsAgreeWithTheProbeMath) {
    // Channel 1 is an ITS-90 platinum probe, channel 2 a type K thermocouple.
    h.Write(11);  // a stopped instrument holds its readings still
    double t1 = Val(h.Read(12, {{Param::kChannel, "1"}}));
    double ohms = Val(h.Read(13, {{Param::kChannel, "1"}}));
    double t2 = Val(h.Read(12, {{Param::kChannel, "2"}}));
    double microvolts = Val(h.Read(14, {{Param::kChannel, "2"}}));
    sim::InstrumentState state = h.instrument->State();
    probes::ConversionSpec its = probes::ConversionSpec{};
    its.type = probes::kConvITS90;
    its.rtpw = state.channels[0].probe.params.at("RTPW");
    its.low = {state.channels[0].probe.params.at("A4"), state.channels[0].probe.params.at("B4")};
    its.high = {state.channels[0].probe.params.at("A"), state.channels[0].probe.params.at("B"),
                state.channels[0].probe.params.at("C"), state.channels[0].probe.params.at("D")};
    EXPECT_NEAR(probes::TemperatureFromRaw(its, ohms), t1, 2e-4);
    probes::ConversionSpec k;
    k.type = probes::kConvThermocouple;
    k.tcType = 4;
    for (const char* name : {"C0", "C1", "C2", "C3"}) {
        k.coefficients.push_back(state.channels[1].probe.params.at(name));
    }
    EXPECT_NEAR(probes::TemperatureFromRaw(k, microvolts / 1000.0), t2, 2e-3);

    h.Write(169, {{Param::kValue, "F"}});
    EXPECT_NEAR(Val(h.Read(12, {{Param::kChannel, "1"}})), t1 * 9 / 5 + 32, 2e-4);
    h.Write(169, {{Param::kValue, "K"}});
    EXPECT_NEAR(Val(h.Read(12, {{Param::kChannel, "1"}})), t1 + 273.15, 2e-4);

    EXPECT_EQ(h.Read(15), "0") << "no new readings while stopped";
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

    h.Write(284);
    EXPECT_EQ(h.Read(280), "1000,0");
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

TEST_P(Faults, ShortDelayIsWaitedFor) {
    Harness patient(GetParam(), 1000);
    patient.instrument->InjectFault(sim::ParseFault("delay:60@id=168"));
    EXPECT_EQ(patient.Read(168), "C");
}

TEST_P(Faults, LateReplyTimesOutAndIsNeverTakenForTheNextOne) {
    Plan("delay:250@id=285");
    AutomationError e = ErrorOf([&] { h.Read(285); });
    EXPECT_EQ(e.Number(), comm::kCommTimeout);
    EXPECT_NE(e.Description().find("did not reply to setting 285"), std::string::npos);
    // The late "DEMAND" arrives while the next request waits; it must be skipped.
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    ExpectUsable();
}

TEST_P(Faults, NoReplyTimesOut) {
    Plan("noreply@id=12");
    AutomationError e = ErrorOf([&] { h.Read(12, {{Param::kChannel, "1"}}); });
    EXPECT_EQ(e.Number(), comm::kCommTimeout);
    ExpectUsable();
}

TEST_P(Faults, GarbageIsAMalformedReply) {
    Plan("garbage@id=168");
    AutomationError e = ErrorOf([&] { h.Read(168); });
    EXPECT_EQ(e.Number(), comm::kCommMalformedReply);
    EXPECT_NE(e.Description().find("not in the expected form"), std::string::npos);
    EXPECT_NE(e.Description().find("\\x02"), std::string::npos) << "control bytes are shown";
    ExpectUsable();
}

TEST_P(Faults, DroppedLinkIsReportedAndReopened) {
    Plan("drop@id=169");
    AutomationError e = ErrorOf([&] { h.Write(169, {{Param::kValue, "F"}}); });
    EXPECT_EQ(e.Number(), comm::kCommLinkDropped);
    EXPECT_NE(e.Description().find("dropped"), std::string::npos);
    EXPECT_FALSE(h.comm->IsOpen());
    ExpectUsable();  // the write was lost on the way: still C
    h.Write(169, {{Param::kValue, "F"}});
    EXPECT_EQ(h.Read(168), "F");
}

TEST_P(Faults, ErrorReplyNamesTheInstrumentsCode) {
    Plan("error:6@id=280");
    AutomationError e = ErrorOf([&] { h.Read(280); });
    EXPECT_EQ(e.Number(), comm::kCommInstrumentErrorBase + 6);
    EXPECT_NE(e.Description().find("simulated fault"), std::string::npos);
    EXPECT_NE(e.Description().find("instrument error 6"), std::string::npos);
    EXPECT_EQ(h.Read(280), "700,300");
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

TEST_P(Faults, TransferThatNeverBeginsRaises) {
    Plan("noreply@id=278");
    EXPECT_EQ(ErrorOf([&] { h.comm->Transfer(278, 300, ""); }).Number(), comm::kCommTimeout);
    Plan("garbage@id=278");
    EXPECT_EQ(ErrorOf([&] { h.comm->Transfer(278, 300, ""); }).Number(), comm::kCommMalformedReply);
    Plan("error:5@id=279");
    EXPECT_EQ(ErrorOf([&] { h.comm->Transfer(279, 300, "1"); }).Number(),
              comm::kCommInstrumentErrorBase + 5);
    Plan("drop@id=278");
    EXPECT_EQ(ErrorOf([&] { h.comm->Transfer(278, 300, ""); }).Number(), comm::kCommLinkDropped);
    EXPECT_EQ(Lines(h.comm->Transfer(278, 300, "").text).size(), 300u);
}

TEST_P(Faults, FaultByRequestNumberHitsThatRequestOnly) {
    uint64_t next = h.instrument->RequestCount() + 1;
    Plan("noreply@req=" + std::to_string(next + 1));
    EXPECT_EQ(h.Read(168), "C");
    EXPECT_EQ(ErrorOf([&] { h.Read(168); }).Number(), comm::kCommTimeout);
    EXPECT_EQ(h.Read(168), "C");
    EXPECT_EQ(h.instrument->PendingFaults(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Links, Contract,
                         ::testing::Values(LinkKind::kEmbedded, LinkKind::kPty, LinkKind::kTcp),
                         LinkName);
INSTANTIATE_TEST_SUITE_P(Links, Faults,
                         ::testing::Values(LinkKind::kEmbedded, LinkKind::kPty, LinkKind::kTcp),
                         LinkName);

}  // namespace
}  // namespace vesk::test
