// The script command's reader: any bytes as a script, read with the tool's line bound and taken
// apart line by line as the tool does. A line is refused only with an AutomationError that
// quotes a short printable excerpt at most; words written back read back the same.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "apps/vesk4710/Script.h"
#include "fuzz/support/FuzzSupport.h"

using namespace vesk;

namespace {

std::string Written(const cli::Token& t) {
    if (!t.quoted) {
        return t.text;
    }
    std::string out = "\"";
    for (char c : t.text) {
        out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return out + "\"";
}

void CheckRefusal(const AutomationError& e) {
    const std::string& text = e.Description();
    const bool printable =
        std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
    if (text.size() > 400 || !printable || e.Number() == 0) {
        fuzz::Fail("a refusal quotes too much or unprintable text: " + text.substr(0, 400));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    cli::ScriptReader script(in, "fuzz");
    std::string line;
    for (;;) {
        try {
            if (!script.Next(line)) {
                break;
            }
        } catch (const AutomationError& e) {
            CheckRefusal(e);
            break;
        }
        if (line.size() > cli::kMaxScriptLine) {
            fuzz::Fail("a line beyond the bound was read");
        }
        std::vector<cli::Token> words;
        std::optional<cli::ScriptLine> parsed;
        try {
            words = cli::Tokenize(line);
            parsed = cli::ParseScriptLine(line);
        } catch (const AutomationError& e) {
            CheckRefusal(e);
            continue;
        }
        if (parsed &&
            (!cli::IsMemberName(parsed->member) ||
             (parsed->verb != "get" && parsed->verb != "set" && parsed->verb != "call"))) {
            fuzz::Fail("the line '" + line + "' was taken for a call of " + parsed->member);
        }
        std::string again;
        for (const auto& w : words) {
            again += Written(w) + " ";
        }
        const auto back = cli::Tokenize(again);
        const auto same = [](const cli::Token& a, const cli::Token& b) {
            return a.text == b.text && a.quoted == b.quoted;
        };
        if (!std::equal(back.begin(), back.end(), words.begin(), words.end(), same)) {
            fuzz::Fail("the words of '" + line + "' read back differently from '" + again + "'");
        }
    }
    return 0;
}
