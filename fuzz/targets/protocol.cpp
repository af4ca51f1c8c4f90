// The line protocol's decoder on both sides: reply lines, error replies and transfer markers as
// the component reads them, command lines as the instrument reads them, and request lines that
// must read back as the very parameters they were made from.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "components/comm/Protocol.h"
#include "fuzz/support/FuzzSupport.h"

using namespace vesk;
using namespace vesk::comm;

namespace {

class Params : public ParamLookup {
  public:
    const std::string* Find(Param param) const override {
        const auto& v = values[static_cast<size_t>(param)];
        return v ? &*v : nullptr;
    }
    std::optional<std::string> values[6];
};

void CheckDecoders(std::string_view line) {
    if (auto reply = ParseReplyLine(line)) {
        if (!IsWireText(line) || reply->tag == 0 || reply->tag > kMaxTag ||
            line.substr(line.find(' ') + 1) != reply->payload) {
            fuzz::Fail("ParseReplyLine accepted '" + Printable(line) + "' wrongly");
        }
        if (auto error = ParseErrorReply(reply->payload)) {
            if (error->code < 0 || error->code > 99) {
                fuzz::Fail("an error reply's code is out of range");
            }
        }
        for (std::string_view marker : {kBeginMarker, kEndMarker}) {
            if (auto n = ParseMarker(reply->payload, marker); n && *n < 0) {
                fuzz::Fail("a transfer marker counted below zero");
            }
        }
    }
    std::string error;
    if (auto command = ParseCommandLine(line, &error)) {
        if (command->mnemonic.empty() || !IsWireText(line)) {
            fuzz::Fail("ParseCommandLine accepted '" + Printable(line) + "'");
        }
        for (char c : command->mnemonic) {
            if (c >= 'a' && c <= 'z') {
                fuzz::Fail("a mnemonic kept lower case");
            }
        }
    } else if (error.empty()) {
        fuzz::Fail("ParseCommandLine refused a line without saying why");
    }
    const std::string shown = Printable(line, 60);
    if (!IsWireText(shown) || shown.size() > 60 + 4 + 3) {
        fuzz::Fail("Printable made '" + shown + "'");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t selector = in.Byte();
    const uint8_t present = in.Byte();
    const auto table = SettingTable();
    const SettingCommand& command = table[selector % table.size()];

    Params params;
    for (size_t i = 0; i < 6; ++i) {
        if (present & (1u << i)) {
            params.values[i] = in.Line();
        }
    }
    const std::string rest(in.Rest());
    CheckDecoders(rest);

    // A request line reads back as its parameters, in table order, trailing gaps dropped.
    const uint32_t tag = 1 + (selector * 389u) % kMaxTag;
    std::string line;
    if (!fuzz::Guard("FormatRequest", [&] { line = FormatRequest(tag, command, params); })) {
        return 0;
    }
    CheckDecoders(line);
    std::string error;
    const auto parsed = ParseCommandLine(line, &error);
    if (!parsed) {
        fuzz::Fail("the request line '" + Printable(line) + "' does not parse: " + error);
    }
    std::vector<std::optional<std::string>> expected;
    for (Param p : command.Args()) {
        const auto& v = params.values[static_cast<size_t>(p)];
        if (v && p == Param::kChannelList) {
            expected.push_back("(@" + *v + ")");
        } else {
            expected.push_back(v);
        }
    }
    while (!expected.empty() && !expected.back()) {
        expected.pop_back();
    }
    if (parsed->tag != tag || parsed->mnemonic != command.mnemonic || parsed->args != expected ||
        FindMnemonic(parsed->mnemonic) != &command) {
        fuzz::Fail("the request line '" + Printable(line) + "' reads back differently");
    }
    return 0;
}
