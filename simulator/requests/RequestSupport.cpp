#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "components/comm/Text.h"
#include "simulator/requests/RequestsInternal.h"

namespace vesk::sim {

using comm::InstrumentError;
using comm::Param;

namespace {

constexpr int32_t kCalendarFirstYear = 1900;
constexpr int32_t kCalendarLastYear = 2099;

uint64_t SplitMix(uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

bool IsLeapYear(int32_t y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

}  // namespace

int32_t Code(InstrumentError e) {
    return static_cast<int32_t>(e);
}

std::string Upper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

std::optional<double> StrictNumber(std::string_view text) {
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    const auto value = comm::ParseWhole<double>(text);
    if (!value || !std::isfinite(*value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<int32_t> StrictInt(std::string_view text) {
    return comm::ParseWhole<int32_t>(text);
}

std::optional<std::string> NormalizedDate(std::string_view text) {
    int32_t parts[3] = {};
    for (int i = 0; i < 3; ++i) {
        size_t comma = text.find(',');
        if ((i < 2) != (comma != std::string_view::npos)) {
            return std::nullopt;
        }
        auto n = StrictInt(text.substr(0, comma));
        if (!n) {
            return std::nullopt;
        }
        parts[i] = *n;
        text = i < 2 ? text.substr(comma + 1) : std::string_view{};
    }
    auto [y, m, d] = parts;
    static constexpr int32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (y < kCalendarFirstYear || y > kCalendarLastYear || m < 1 || m > 12 || d < 1 ||
        d > kDays[m - 1] + ((m == 2 && IsLeapYear(y)) ? 1 : 0)) {
        return std::nullopt;
    }
    return fmt::format("{},{},{}", y, m, d);
}

std::string Number(double value) {
    return fmt::format("{}", value);
}

std::string ValueText(const Reading& r) {
    return r.unit == "V" ? fmt::format("{:.7f}", r.value) : fmt::format("{:.4f}", r.value);
}

bool ValidSerial(std::string_view text, size_t maxLength) {
    return text.size() <= maxLength && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '/' || c == '.';
           });
}

bool ValidLabel(std::string_view text) {
    return !text.empty() && text.size() <= kMaxLabelLength &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' || c == '_';
           });
}

std::optional<std::string> RequestArgs::Get(Param param) const {
    auto params = setting_.Args();
    for (size_t i = 0; i < params.size() && i < command_.args.size(); ++i) {
        if (params[i] != param) {
            continue;
        }
        // The last parameter takes the rest of the line: a person may type
        // CAL:DATE 2024,3,7 without the quotes.
        std::optional<std::string> value = command_.args[i];
        if (i + 1 == params.size()) {
            for (size_t j = i + 1; value && j < command_.args.size(); ++j) {
                *value += "," + command_.args[j].value_or("");
            }
        }
        return value;
    }
    return std::nullopt;
}

std::string RequestArgs::Require(Param param) const {
    auto value = Get(param);
    if (!value) {
        throw SimError{Code(InstrumentError::kMissingParameter),
                       "missing " + std::string(comm::ParamName(param))};
    }
    return *value;
}

double RequestArgs::RequireNumber(Param param) const {
    std::string text = Require(param);
    auto n = StrictNumber(text);
    if (!n) {
        throw SimError{Code(InstrumentError::kInvalidValue), "not a number: " + text};
    }
    return *n;
}

int32_t RequestArgs::RequireInt(Param param, int32_t low, int32_t high) const {
    std::string text = Require(param);
    auto n = StrictInt(text);
    if (!n || *n < low || *n > high) {
        throw SimError{Code(InstrumentError::kInvalidValue),
                       fmt::format("{} out of range ({} to {})", text, low, high)};
    }
    return *n;
}

double Noise(uint64_t seed, int32_t channel, int64_t second) {
    uint64_t h = SplitMix(seed ^ SplitMix(static_cast<uint64_t>(channel) * 0x632BE59BD9B4E019ull ^
                                          static_cast<uint64_t>(second)));
    return static_cast<double>(h >> 11) / static_cast<double>(1ull << 52) - 1.0;
}

double InUnits(double celsius, std::string_view units) {
    if (units == "F") {
        return celsius * 9.0 / 5.0 + 32.0;
    }
    if (units == "K") {
        return celsius + 273.15;
    }
    return celsius;
}

}  // namespace vesk::sim
