#pragma once
// Trims, and a whole text read as a number, the way every tool reads numbers people and files give
// it: no blanks, no '+', nothing after the digits, nothing out of the type's range.
#include <charconv>
#include <optional>
#include <string_view>

namespace vesk::comm {

// The text without the blanks at either end.
constexpr std::string_view Trim(std::string_view text, std::string_view blanks = " ") {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

template <typename T>
std::optional<T> ParseWhole(std::string_view text) {
    T value{};
    const char* end = text.data() + text.size();
    const auto [stop, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

}  // namespace vesk::comm
