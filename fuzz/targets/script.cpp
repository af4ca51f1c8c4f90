// The script command's reader: any bytes as a script, read with the tool's line bound and taken
// apart line by line as the tool does. A line is refused only with an AutomationError quoting a
// short printable excerpt at most; words written back read back the same.
#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "apps/vesk4710/Script.h"
#include "fuzz/support/FuzzSupport.h"

using namespace vesk;

namespace {

void CheckRefusal(const AutomationError& e) {
    const std::string& text = e.Description();
    if (text.size() > 400 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7f; })) {
        fuzz::Fail("a refusal quotes too much or unprintable text: " + text.substr(0, 400));
    }
}

// The words as a script would write them: quoted ones with \ before " and \.
std::string Written(const std::vector<cli::Token>& words) {
    std::string out;
    for (const auto& w : words) {
        out += w.quoted ? "\"" : "";
        for (char c : w.text) {
            out += (w.quoted && (c == '"' || c == '\\') ? "\\" : "") + std::string(1, c);
        }
        out += w.quoted ? "\" " : " ";
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    cli::ScriptReader script(in, "fuzz");
    std::string line;
    for (bool read = true; read;) {
        std::vector<cli::Token> words;
        try {
            read = false;
            if (!script.Next(line)) {
                break;
            }
            if (line.size() > cli::kMaxScriptLine) {
                fuzz::Fail("a line beyond the bound was read");
            }
            read = true;
            words = cli::Tokenize(line);
            cli::ParseScriptLine(line);
        } catch (const AutomationError& e) {
            CheckRefusal(e);  // a line the reader refused stops the script
        }
        const auto back = cli::Tokenize(Written(words));
        if (!std::equal(back.begin(), back.end(), words.begin(), words.end(),
                        [](const auto& a, const auto& b) {
                            return a.text == b.text && a.quoted == b.quoted;
                        })) {
            fuzz::Fail("the words of '" + line + "' read back differently");
        }
    }
    return 0;
}
