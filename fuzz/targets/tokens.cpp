// Token replacement in message texts: a template from the string table or any text, filled
// from a "|"-separated argument list that may hold anything a user or instrument typed.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/support/modStrings.h"

using namespace vesk;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t mode = in.Byte();
    std::string tmpl = in.Line();
    const std::string args(in.Rest());
    if (mode % 2 == 0) {
        // A real message template of the string table.
        const auto ids = ResStringIds();
        tmpl = LoadResString(ids[static_cast<size_t>(mode / 2) % ids.size()]);
    }

    std::string result;
    fuzz::Guard("ReplaceTokens", [&] { result = ReplaceTokens(tmpl, args); });

    const auto tildes = [](std::string_view s) { return std::count(s.begin(), s.end(), '~'); };
    // Every placeholder is filled: what remains comes from the arguments.
    if (tildes(result) > tildes(args)) {
        fuzz::Fail("ReplaceTokens left a placeholder of '" + tmpl + "' unfilled");
    }
    // Nothing is invented: the result is the template without its placeholders plus (at most)
    // every argument once.
    if (result.size() > tmpl.size() - static_cast<size_t>(tildes(tmpl)) + args.size()) {
        fuzz::Fail("ReplaceTokens made a longer text than its parts");
    }
    // One placeholder and one argument: a plain substitution.
    if (tildes(tmpl) == 1 && args.find('|') == std::string::npos) {
        std::string expected = tmpl;
        expected.replace(expected.find('~'), 1, args);
        if (result != expected) {
            fuzz::Fail("ReplaceTokens('" + tmpl + "', '" + args + "') = '" + result + "'");
        }
    }
    return 0;
}
