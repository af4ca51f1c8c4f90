#pragma once
// A whole text read as a number, the way every tool reads numbers people and files give it:
// no blanks, no '+', nothing after the digits, nothing out of the type's range.
#include <charconv>
#include <optional>
#include <string_view>

namespace vesk::comm {

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
