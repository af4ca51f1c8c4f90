#pragma once
// The user's locale in expectations: the suites run under a period- and a comma-decimal locale.
#include <cstdlib>
#include <string>

#include "vesk4710/support/UserLocale.h"

namespace vesk::test {

// The expected text with "." standing for the user's decimal separator.
inline std::string L(std::string text) {
    const std::string sep = LocaleDecimalSeparator();
    for (size_t pos = 0; (pos = text.find('.', pos)) != std::string::npos; pos += sep.size()) {
        text.replace(pos, 1, sep);
    }
    return text;
}

// Whether the suite runs under the comma-decimal locale (named by the test runner, or by
// LC_ALL when run by hand).
inline bool CommaLocale() {
    const char* loc = std::getenv("VESK_TEST_LOCALE");
    if (loc == nullptr || *loc == '\0') {
        loc = std::getenv("LC_ALL");
    }
    return loc != nullptr && std::string(loc).rfind("de_DE", 0) == 0;
}

}  // namespace vesk::test
