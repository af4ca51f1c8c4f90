// The communications component and its line protocol on both sides of the line: whatever
// comes down it (replies, late replies, error replies, transfers with their markers, time-outs
// and dropped links) goes through the reply decoders, and every request line the component
// writes reads back, as the instrument parses it, as the very parameters it was made from.
// Only automation errors leave the component, what it returns is line text, and its trace
// never shows a passcode.
#include <charconv>
#include <filesystem>
#include <optional>
#include <vector>

#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/platform/SettingIds.h"

using namespace vesk;
using namespace vesk::comm;

namespace {

const std::string kPasscode = "Pq7Secret";

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

// Lines scripted by the fuzz input. A leading '$' stands for the tag of the request just
// written, so that replies can match it; control bytes stand for link events.
class ScriptedLink : public ILink {
  public:
    explicit ScriptedLink(std::deque<std::string>& lines) : lines_(lines) {}
    bool WriteLine(std::string_view line) override {
        if (!IsWireText(line)) {
            fuzz::Fail("the component sent a line that is not wire text");
        }
        std::from_chars(line.data(), line.data() + line.size(), tag_);
        CheckDecoders(line);
        std::string error;
        const auto parsed = ParseCommandLine(line, &error);
        if (!parsed) {
            fuzz::Fail("the request line '" + Printable(line) + "' does not parse: " + error);
        }
        // A transfer takes its arguments directly; other requests carry their parameters in
        // table order, trailing gaps dropped.
        if (params && command->access != Access::kTransfer &&
            parsed->mnemonic == command->mnemonic) {
            std::vector<std::optional<std::string>> expected;
            for (Param p : command->Args()) {
                const std::string* v = params->Find(p);
                expected.push_back(
                    v ? std::optional(p == Param::kChannelList ? "(@" + *v + ")" : *v)
                      : std::nullopt);
            }
            while (!expected.empty() && !expected.back()) {
                expected.pop_back();
            }
            if (parsed->tag != tag_ || parsed->args != expected ||
                FindMnemonic(parsed->mnemonic) != command) {
                fuzz::Fail("the request line '" + Printable(line) + "' reads back differently");
            }
        }
        return lines_.empty() || lines_.front() != "\x05";
    }
    ReadResult ReadLine(std::chrono::milliseconds) override {
        if (lines_.empty()) {
            return {ReadStatus::kTimeout, {}};
        }
        std::string line = std::move(lines_.front());
        lines_.pop_front();
        if (line.size() == 1 && line[0] >= 2 && line[0] <= 4) {
            const ReadStatus events[] = {ReadStatus::kDropped, ReadStatus::kTimeout,
                                         ReadStatus::kCancelled};
            return {events[line[0] - 2], {}};
        }
        if (!line.empty() && line.front() == '$') {
            line = std::to_string(tag_) + line.substr(1);
        }
        return {ReadStatus::kLine, std::move(line)};
    }
    void Cancel() override {}
    std::string Describe() const override { return "fuzz link"; }
    const SettingCommand* command = nullptr;
    const ParamLookup* params = nullptr;

  private:
    std::deque<std::string>& lines_;
    uint32_t tag_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    std::deque<std::string> ops, lines;
    const uint8_t count = in.Byte();
    for (uint8_t i = 0; i < count % 8 && !in.Empty(); ++i) {
        ops.push_back(in.Line());
    }
    while (!in.Empty()) {
        lines.push_back(in.Line());
        CheckDecoders(lines.back());
    }

    const std::string trace =
        fuzz::FuzzHost::SharedFiles().GetSpecialFolder(SpecialFolder::Temporary) + "/io.trace";
    std::filesystem::create_directories(std::filesystem::path(trace).parent_path());
    std::filesystem::remove(trace);
    CommOptions options;
    options.device = "fuzz";
    options.timeoutMs = 1;
    options.tracePath = trace;
    auto link = std::make_shared<ScriptedLink>(lines);
    auto component = Communications::Create(
        options, [link](const LinkRequest&) -> std::shared_ptr<ILink> { return link; });

    const auto table = SettingTable();
    for (const std::string& op : ops) {
        if (op.size() < 2) {
            continue;
        }
        const SettingCommand& command = table[static_cast<uint8_t>(op[0]) % table.size()];
        auto& params = component->params();
        params.ClearAll();
        params.Channel(op.substr(2));
        // A passcode of any text the user may type, never to be seen in the trace.
        params.Value(command.id == SET_PASSCODE ? kPasscode + op.substr(2) : op.substr(2));
        params.paramname("A4");
        link->command = &command;
        link->params = &dynamic_cast<const ParamLookup&>(params);
        fuzz::Guard("the request", [&] {
            switch (command.access) {
                case Access::kRead: {
                    const std::string reply = component->ReadSetting(command.id, op[1] & 1, "");
                    if (!IsWireText(reply)) {
                        fuzz::Fail("ReadSetting returned text that is not wire text");
                    }
                    break;
                }
                case Access::kWrite:
                    component->WriteSetting(command.id);
                    break;
                case Access::kTransfer: {
                    const auto result =
                        component->Transfer(command.id, static_cast<uint8_t>(op[1]), op.substr(2));
                    std::string text = result.text;
                    std::erase(text, '\r');
                    if (!IsWireText(text)) {
                        fuzz::Fail("a transfer returned a byte that is not wire text");
                    }
                    if (!result.text.empty() && result.text.back() != '\r') {
                        fuzz::Fail("a transfer's last reading has no line end");
                    }
                    break;
                }
            }
        });
    }
    link->params = nullptr;
    component.reset();
    // (Unless the input itself carries the text, as a reply or another setting's value.)
    if (std::string_view(reinterpret_cast<const char*>(data), size).find(kPasscode) !=
        std::string_view::npos) {
        return 0;
    }
    if (fuzz::FuzzHost::SharedFiles().ReadFile(trace).find(kPasscode) != std::string::npos) {
        fuzz::Fail("the I/O trace shows the passcode");
    }
    return 0;
}
