#pragma once
// Text helpers of the tool that need nothing but the standard library (the script reader and
// its fuzz target use them without the rest of the tool).
#include <string>
#include <string_view>

namespace vesk::cli {

// ASCII lower case; other bytes stay as they are.
inline std::string Lower(std::string_view text) {
    std::string out(text);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return out;
}

}  // namespace vesk::cli
