// The communications component reading whatever comes down the line: replies, late replies,
// error replies, transfers with their markers, time-outs and dropped links. Only automation
// errors leave it, what it returns is line text, and its trace never shows a passcode.
#include <charconv>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "fuzz/support/FuzzSupport.h"

using namespace vesk;

namespace {

const std::string kPasscode = "Pq7Secret";

// Lines scripted by the fuzz input. A leading '$' stands for the tag of the request just
// written, so that replies can match it; control bytes stand for link events.
class ScriptedLink : public comm::ILink {
  public:
    explicit ScriptedLink(std::deque<std::string>& lines) : lines_(lines) {}
    bool WriteLine(std::string_view line) override {
        if (!comm::IsWireText(line)) {
            fuzz::Fail("the component sent a line that is not wire text");
        }
        std::from_chars(line.data(), line.data() + line.size(), tag_);
        return lines_.empty() || lines_.front() != "\x05";
    }
    comm::ReadResult ReadLine(std::chrono::milliseconds) override {
        if (lines_.empty()) {
            return {comm::ReadStatus::kTimeout, {}};
        }
        std::string line = std::move(lines_.front());
        lines_.pop_front();
        if (line == "\x02") {
            return {comm::ReadStatus::kDropped, {}};
        }
        if (line == "\x03") {
            return {comm::ReadStatus::kTimeout, {}};
        }
        if (line == "\x04") {
            return {comm::ReadStatus::kCancelled, {}};
        }
        if (!line.empty() && line.front() == '$') {
            line = std::to_string(tag_) + line.substr(1);
        }
        return {comm::ReadStatus::kLine, std::move(line)};
    }
    void Cancel() override {}
    std::string Describe() const override { return "fuzz link"; }

  private:
    std::deque<std::string>& lines_;
    uint32_t tag_ = 0;
};

const std::string& TracePath() {
    static const std::string path =
        fuzz::FuzzHost::SharedFiles().GetSpecialFolder(SpecialFolder::Temporary) + "/io.trace";
    return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    std::deque<std::string> ops;
    std::deque<std::string> lines;
    const uint8_t count = in.Byte();
    for (uint8_t i = 0; i < count % 8 && !in.Empty(); ++i) {
        ops.push_back(in.Line());
    }
    while (!in.Empty()) {
        lines.push_back(in.Line());
    }

    std::filesystem::create_directories(std::filesystem::path(TracePath()).parent_path());
    std::filesystem::remove(TracePath());
    comm::CommOptions options;
    options.device = "fuzz";
    options.timeoutMs = 1;
    options.tracePath = TracePath();
    auto link = std::make_shared<ScriptedLink>(lines);
    auto component = comm::Communications::Create(
        options, [link](const comm::LinkRequest&) -> std::shared_ptr<comm::ILink> { return link; });

    const auto table = comm::SettingTable();
    for (const std::string& op : ops) {
        if (op.size() < 2) {
            continue;
        }
        const comm::SettingCommand& command = table[static_cast<uint8_t>(op[0]) % table.size()];
        component->params().ClearAll();
        component->params().Channel(op.substr(2));
        // A passcode of any text the user may type, never to be seen in the trace.
        component->params().Value(command.id == 2 ? kPasscode + op.substr(2) : op.substr(2));
        component->params().paramname("A4");
        fuzz::Guard("the request", [&] {
            switch (command.access) {
                case comm::Access::kRead: {
                    const std::string reply = component->ReadSetting(command.id, op[1] & 1, "");
                    if (!comm::IsWireText(reply)) {
                        fuzz::Fail("ReadSetting returned text that is not wire text");
                    }
                    break;
                }
                case comm::Access::kWrite:
                    component->WriteSetting(command.id);
                    break;
                case comm::Access::kTransfer: {
                    const auto result =
                        component->Transfer(command.id, static_cast<uint8_t>(op[1]), op.substr(2));
                    for (char c : result.text) {
                        if (c != '\r' && !comm::IsWireText(std::string_view(&c, 1))) {
                            fuzz::Fail("a transfer returned a byte that is not wire text");
                        }
                    }
                    if (!result.text.empty() && result.text.back() != '\r') {
                        fuzz::Fail("a transfer's last reading has no line end");
                    }
                    break;
                }
            }
        });
    }
    component.reset();
    // (Unless the input itself carries the text, as a reply or another setting's value.)
    if (std::string_view(reinterpret_cast<const char*>(data), size).find(kPasscode) !=
        std::string_view::npos) {
        return 0;
    }
    std::ifstream trace(TracePath(), std::ios::binary);
    const std::string text((std::istreambuf_iterator<char>(trace)),
                           std::istreambuf_iterator<char>());
    if (text.find(kPasscode) != std::string::npos) {
        fuzz::Fail("the I/O trace shows the passcode");
    }
    return 0;
}
