// The command table and the line format both sides share.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/DeviceAddress.h"
#include "components/comm/Protocol.h"
#include "components/comm/Text.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {
namespace {

using namespace vesk::comm;
using enum Param;

using Args = std::vector<std::optional<std::string>>;

class Params : public ParamLookup {
  public:
    std::map<Param, std::string> values;
    const std::string* Find(Param param) const override {
        auto it = values.find(param);
        return it == values.end() ? nullptr : &it->second;
    }
};

std::string Format(uint32_t tag, int32_t id, std::map<Param, std::string> values) {
    Params p;
    p.values = std::move(values);
    return FormatRequest(tag, *FindSetting(id), p);
}

TEST(RequestLine, ParametersKeepTheirPlaceAndValuesTravelIntact) {
    struct Case {
        int32_t id;
        std::map<Param, std::string> values;
        std::string line;
        Args args;
    };
    std::vector<Case> cases = {
        {SET_PARAMETER_WRITE,
         {{kValue, "7"}},
         "42 PROB:PAR ,,7",
         {std::nullopt, std::nullopt, "7"}},
        // Trailing missing parameters are left off, an empty value is not missing.
        {SET_UNITS_WRITE, {}, "42 UNIT", {}},
        {SET_LOGGING_LABEL_WRITE, {{kValue, ""}}, "42 LOG:LAB \"\"", {""}},
        {SET_SCAN_LIST_WRITE, {{kChannelList, "1,2"}}, "42 SCAN:LIST (@1,2)", {"(@1,2)"}},
    };
    for (const std::string value : {"25.5", "A B", "a,b", "say \"hi\"", "-1.5E-05", "(x)", "'"}) {
        cases.push_back({SET_PARAMETER_WRITE,
                         {{kChannel, "2"}, {kParamName, "RTPW"}, {kValue, value}},
                         "",
                         {"2", "RTPW", value}});
    }
    for (const Case& c : cases) {
        const std::string line = Format(42, c.id, c.values);
        EXPECT_TRUE(c.line.empty() || line == c.line) << line;
        auto parsed = ParseCommandLine(line);
        ASSERT_TRUE(parsed) << line;
        EXPECT_EQ(parsed->tag, 42u);
        EXPECT_EQ(parsed->mnemonic, FindSetting(c.id)->mnemonic);
        EXPECT_EQ(parsed->args, c.args) << line;
    }
}

TEST(RequestLine, TextTheLineCannotCarryIsRefusedBeforeSending) {
    const std::string endless(kMaxLineLength + 9, 'x');
    const std::string holds = "The Value parameter of setting 286 holds characters";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a\nb", holds},
        {"tab\there", holds},
        {"\xC3\xA9t\xC3\xA9", holds},
        {std::string("nul\0x", 5), holds},
        {endless, "The request for setting 286 would be longer than the 4096 bytes"}};
    for (const auto& [value, says] : cases) {
        const AutomationError e = Raised([&] {
            Format(1, SET_LOGGING_LABEL_WRITE, {{kValue, value}});
        });
        EXPECT_EQ(e.Number(), kCommBadParameter) << Printable(value);
        EXPECT_NE(e.Description().find(says), std::string::npos) << e.Description();
    }
    EXPECT_EQ(Raised([&] {
                  Format(5, SET_SCAN_LIST_WRITE, {{kChannelList, "1)"}});
              }).Number(),
              kCommBadParameter);
}

TEST(CommandLine, ReadsWhatPeopleTypeAndRefusesNoise) {
    auto untagged = ParseCommandLine("  unit  F ");
    ASSERT_TRUE(untagged);
    EXPECT_FALSE(untagged->tag);
    EXPECT_EQ(untagged->mnemonic, "UNIT");
    EXPECT_EQ(untagged->args, (Args{"F"}));
    EXPECT_EQ(ParseCommandLine("9 CAL:REF 2 , 101.5")->args, (Args{"2", "101.5"}));
    std::string why;
    EXPECT_FALSE(ParseCommandLine("1 LOG:LAB \"open", &why));
    EXPECT_NE(why.find("unterminated"), std::string::npos);
    for (const std::string bad : {"1 SCAN:LIST (@1,2", "1 LOG:LAB \"a\"b", "1 UNIT\x01", "   "}) {
        EXPECT_FALSE(ParseCommandLine(bad, &why)) << bad;
    }
}

TEST(ReplyLine, OnlyTaggedPrintableLinesAreRepliesErrorsAndMarkersStrict) {
    auto ok = ParseReplyLine("17 Vesk Scientific,4710,A1,1.1");
    ASSERT_TRUE(ok);
    EXPECT_EQ(ok->tag, 17u);
    EXPECT_EQ(ok->payload, "Vesk Scientific,4710,A1,1.1");
    EXPECT_EQ(ParseReplyLine("3 ")->payload, "");
    for (const std::string bad :
         {"C", "0 C", "123456 C", "x1 C", "17", "-1 C", "17\tC", "17 \xFF"}) {
        EXPECT_FALSE(ParseReplyLine(bad)) << Printable(bad);
    }
    auto e = ParseErrorReply("!ERR 4 passcode required");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->code, 4);
    EXPECT_EQ(e->text, "passcode required");
    auto odd = ParseErrorReply("!ERR broken");
    ASSERT_TRUE(odd) << "an error reply stays an error even when its code is unreadable";
    EXPECT_EQ(odd->code, 0);
    EXPECT_FALSE(ParseErrorReply("ERR 4 x"));
    EXPECT_EQ(ParseMarker("#BEGIN 300", kBeginMarker), 300);
    EXPECT_EQ(ParseMarker("#END 0", kEndMarker), 0);
    for (const std::string bad : {"#BEGIN", "#BEGIN -1", "#BEGIN 3x", "#BEGINNING 3"}) {
        EXPECT_FALSE(ParseMarker(bad, kBeginMarker)) << bad;
    }
    AutomationError refused = InstrumentErrorFor(4, "passcode required", "setting 23 (SYST:SNUM)");
    EXPECT_EQ(refused.Number(), kCommInstrumentErrorBase + 4);
    EXPECT_EQ(refused.Description(),
              "The instrument refused setting 23 (SYST:SNUM): passcode required (instrument "
              "error 4)");
}

TEST(Tags, FollowTheClockAndStepByOneWhenRequestsComeFaster) {
    // {last, clock, next}: the clock leads when ahead (by less than half round), else one on.
    const std::vector<std::array<uint32_t, 3>> cases = {
        {0, 500, 500}, {10, 5, 11},           {10, 200, 200}, {kMaxTag, 3, 3},
        {2, 99990, 3}, {kMaxTag, kMaxTag, 1}, {10, 60000, 11}};
    for (auto [last, clock, next] : cases) {
        EXPECT_EQ(NextTag(last, clock), next) << last << " " << clock;
    }
    const auto t = std::chrono::steady_clock::time_point(std::chrono::milliseconds(kMaxTag - 1));
    EXPECT_EQ(ClockTag(t), kMaxTag);
    EXPECT_EQ(ClockTag(t + std::chrono::milliseconds(1)), 1u);
}

TEST(Lines, TooLongOnesAreRefusedWholeAndTheirRestDropped) {
    const std::string endless(kMaxLineLength + 9, 'x');
    LineBuffer in("\n");
    in.Append("5 C\r\n" + std::string(kMaxLineLength, 'y') + "\r\n6 " + endless);
    EXPECT_EQ(in.Take(), "5 C");
    EXPECT_EQ(in.Take()->size(), kMaxLineLength);
    EXPECT_EQ(in.Take(), "6 " + endless.substr(0, kMaxLineLength - 1)) << "cut one byte too long";
    in.Append(endless + "\n7 C\n");
    EXPECT_EQ(in.Take(), "7 C") << "the rest of the long line is dropped";
    // A whole overlong line comes out too long to read, never cut to a length that fits.
    in.Append("8 " + endless + "\n9 C\n");
    EXPECT_GT(in.Take()->size(), kMaxLineLength);
    EXPECT_EQ(in.Take(), "9 C");
    EXPECT_FALSE(ParseReplyLine("5 " + endless));
    EXPECT_FALSE(ParseCommandLine("5 LOG:LAB " + endless));
}

TEST(DeviceAddress, EveryToolReadsADeviceTextTheSameWay) {
    struct Row {
        std::string_view device;
        bool simulator;
        std::optional<int32_t> simulatorPort;  // with 7 as the port for a bare "sim"
        std::optional<std::string> host;       // of tcp://HOST:PORT, when it splits
        std::string port;
    };
    const Row rows[] = {
        {"sim", true, 7, std::nullopt, ""},
        {"sim:12", true, 12, std::nullopt, ""},
        {"sim:0", true, std::nullopt, std::nullopt, ""},
        {"sim:x", true, std::nullopt, std::nullopt, ""},
        {"sim:", true, std::nullopt, std::nullopt, ""},
        {"simple", false, std::nullopt, std::nullopt, ""},
        {"/dev/ttyUSB0", false, std::nullopt, std::nullopt, ""},
        {"tcp://host:4710", false, std::nullopt, "host", "4710"},
        {"tcp://[::1]:4710", false, std::nullopt, "::1", "4710"},
        {"tcp://:4710", false, std::nullopt, std::nullopt, ""},
        {"tcp://host:", false, std::nullopt, std::nullopt, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.device));
        EXPECT_EQ(IsSimulatorDevice(row.device), row.simulator);
        EXPECT_EQ(ParseSimulatorPort(row.device, 7), row.simulatorPort);
        const auto split = SplitHostPort(TcpHostPort(row.device).value_or(""));
        EXPECT_EQ(split ? std::optional(split->host) : std::nullopt, row.host);
        EXPECT_EQ(split ? split->port : "", row.port);
    }
}

TEST(Text, WholeNumbers) {
    for (const std::string_view bad : {"", " 1", "1 ", "+1", "1x", "0x1", "70000", "-1"}) {
        EXPECT_EQ(ParseWhole<uint16_t>(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(ParseWhole<uint16_t>("65535"), 65535);
    EXPECT_EQ(ParseWhole<int64_t>("-12"), -12);
    EXPECT_EQ(ParseWhole<double>("-1.25e2"), -125.0);
    EXPECT_EQ(ParseWhole<double>("1.5."), std::nullopt);
}

}  // namespace
}  // namespace vesk::test
