// The command table and the line format both sides share.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Protocol.h"

namespace vesk::test {
namespace {

using namespace vesk::comm;

class Params : public ParamLookup {
  public:
    std::map<Param, std::string> values;
    const std::string* Find(Param param) const override {
        auto it = values.find(param);
        return it == values.end() ? nullptr : &it->second;
    }
};

TEST(CommandTable, ServesEverySettingTheLibraryUses) {
    const std::set<int32_t> used = {0,   2,   3,   4,   5,   10,  11,  12,  13,  14,  15,  18,
                                    23,  32,  33,  39,  40,  41,  43,  46,  47,  56,  57,  66,
                                    67,  72,  73,  77,  78,  79,  80,  81,  82,  83,  88,  122,
                                    123, 126, 127, 130, 131, 134, 135, 144, 145, 168, 169, 278,
                                    279, 280, 283, 284, 285, 286, 304, 305, 306};
    std::set<int32_t> ids;
    std::set<std::string_view> mnemonics;
    for (const SettingCommand& c : SettingTable()) {
        EXPECT_TRUE(ids.insert(c.id).second) << "identifier twice: " << c.id;
        EXPECT_TRUE(mnemonics.insert(c.mnemonic).second) << "command twice: " << c.mnemonic;
        EXPECT_EQ(FindMnemonic(c.mnemonic), &c);
        EXPECT_TRUE(IsWireText(c.mnemonic));
        EXPECT_EQ(c.mnemonic.find(' '), std::string_view::npos);
    }
    EXPECT_EQ(ids, used);
    EXPECT_EQ(FindMnemonic("unit?"), FindSetting(168)) << "people type in lower case";
    EXPECT_EQ(FindSetting(1), nullptr);
}

TEST(CommandTable, ReadsAndWritesPairUp) {
    // A reading and its writing command share a name, the read with a question mark.
    const std::vector<std::pair<int32_t, int32_t>> pairs = {
        {32, 33},   {46, 47},   {56, 57},   {66, 67},   {72, 73},   {78, 79},   {80, 81},  {82, 83},
        {122, 123}, {126, 127}, {130, 131}, {134, 135}, {144, 145}, {168, 169}, {304, 305}};
    for (auto [read, write] : pairs) {
        const SettingCommand* r = FindSetting(read);
        const SettingCommand* w = FindSetting(write);
        ASSERT_TRUE(r && w);
        EXPECT_EQ(r->access, Access::kRead);
        EXPECT_EQ(w->access, Access::kWrite);
        EXPECT_EQ(std::string(r->mnemonic), std::string(w->mnemonic) + "?");
    }
}

TEST(RequestLine, ValuesTravelIntactWhateverTheyHold) {
    const SettingCommand& par = *FindSetting(135);
    for (const std::string& value :
         std::vector<std::string>{"25.5", "A B", "a,b", "say \"hi\"", "", "-1.5E-05", "(x)", "'"}) {
        Params p;
        p.values = {{Param::kChannel, "2"}, {Param::kParamName, "RTPW"}, {Param::kValue, value}};
        std::string line = FormatRequest(42, par, p);
        auto parsed = ParseCommandLine(line);
        ASSERT_TRUE(parsed) << line;
        EXPECT_EQ(parsed->tag, 42u);
        EXPECT_EQ(parsed->mnemonic, "PROB:PAR");
        ASSERT_EQ(parsed->args.size(), 3u) << line;
        EXPECT_EQ(parsed->args[0], "2");
        EXPECT_EQ(parsed->args[1], "RTPW");
        EXPECT_EQ(parsed->args[2], value) << line;
    }
}

TEST(RequestLine, MissingParametersKeepTheirPlace) {
    Params p;
    p.values = {{Param::kValue, "7"}};
    std::string line = FormatRequest(1, *FindSetting(135), p);
    EXPECT_EQ(line, "1 PROB:PAR ,,7");
    auto parsed = ParseCommandLine(line);
    ASSERT_TRUE(parsed);
    ASSERT_EQ(parsed->args.size(), 3u);
    EXPECT_FALSE(parsed->args[0]);
    EXPECT_FALSE(parsed->args[1]);
    EXPECT_EQ(parsed->args[2], "7");
    // Trailing missing parameters are left off, an empty value is not missing.
    EXPECT_EQ(FormatRequest(2, *FindSetting(169), Params{}), "2 UNIT");
    Params empty;
    empty.values = {{Param::kValue, ""}};
    EXPECT_EQ(FormatRequest(3, *FindSetting(286), empty), "3 LOG:LAB \"\"");
}

TEST(RequestLine, ChannelListTravelsAsOneGroup) {
    Params p;
    p.values = {{Param::kChannelList, "1,2"}};
    std::string line = FormatRequest(5, *FindSetting(47), p);
    EXPECT_EQ(line, "5 SCAN:LIST (@1,2)");
    auto parsed = ParseCommandLine(line);
    ASSERT_TRUE(parsed);
    ASSERT_EQ(parsed->args.size(), 1u);
    EXPECT_EQ(parsed->args[0], "(@1,2)");
    p.values = {{Param::kChannelList, "1)"}};
    EXPECT_THROW(FormatRequest(5, *FindSetting(47), p), AutomationError);
}

TEST(RequestLine, TextTheLineCannotCarryIsRefusedBeforeSending) {
    for (const std::string& value : std::vector<std::string>{
             "a\nb", "tab\there", "\xC3\xA9t\xC3\xA9", std::string("nul\0x", 5)}) {
        Params p;
        p.values = {{Param::kValue, value}};
        try {
            FormatRequest(1, *FindSetting(286), p);
            ADD_FAILURE() << "accepted " << Printable(value);
        } catch (const AutomationError& e) {
            EXPECT_EQ(e.Number(), kCommBadParameter);
            EXPECT_NE(e.Description().find("Value parameter of setting 286"), std::string::npos);
        }
    }
}

TEST(CommandLine, ReadsWhatPeopleTypeAndRefusesNoise) {
    auto untagged = ParseCommandLine("  unit  F ");
    ASSERT_TRUE(untagged);
    EXPECT_FALSE(untagged->tag);
    EXPECT_EQ(untagged->mnemonic, "UNIT");
    EXPECT_EQ(untagged->args, (std::vector<std::optional<std::string>>{"F"}));
    auto spaced = ParseCommandLine("9 CAL:REF 2 , 101.5");
    ASSERT_TRUE(spaced);
    EXPECT_EQ(spaced->args, (std::vector<std::optional<std::string>>{"2", "101.5"}));
    std::string why;
    EXPECT_FALSE(ParseCommandLine("1 LOG:LAB \"open", &why));
    EXPECT_NE(why.find("unterminated"), std::string::npos);
    EXPECT_FALSE(ParseCommandLine("1 SCAN:LIST (@1,2", &why));
    EXPECT_FALSE(ParseCommandLine("1 LOG:LAB \"a\"b", &why));
    EXPECT_FALSE(ParseCommandLine(std::string("1 UNIT\x01"), &why));
    EXPECT_FALSE(ParseCommandLine("   ", &why));
}

TEST(ReplyLine, OnlyTaggedPrintableLinesAreReplies) {
    auto ok = ParseReplyLine("17 Vesk Scientific,4710,A1,1.1");
    ASSERT_TRUE(ok);
    EXPECT_EQ(ok->tag, 17u);
    EXPECT_EQ(ok->payload, "Vesk Scientific,4710,A1,1.1");
    auto empty = ParseReplyLine("3 ");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->payload, "");
    for (const std::string& bad : std::vector<std::string>{"C", "0 C", "123456 C", "x1 C", "17",
                                                           "-1 C", "17\tC", "17 \xFF"}) {
        EXPECT_FALSE(ParseReplyLine(bad)) << Printable(bad);
    }
}

TEST(ReplyLine, ErrorRepliesAndMarkers) {
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
    EXPECT_FALSE(ParseMarker("#BEGIN", kBeginMarker));
    EXPECT_FALSE(ParseMarker("#BEGIN -1", kBeginMarker));
    EXPECT_FALSE(ParseMarker("#BEGIN 3x", kBeginMarker));
    EXPECT_FALSE(ParseMarker("#BEGINNING 3", kBeginMarker));
    AutomationError refused = InstrumentErrorFor(4, "passcode required", "setting 23 (SYST:SNUM)");
    EXPECT_EQ(refused.Number(), kCommInstrumentErrorBase + 4);
    EXPECT_EQ(refused.Description(),
              "The instrument refused setting 23 (SYST:SNUM): passcode required (instrument "
              "error 4)");
}

}  // namespace
}  // namespace vesk::test
