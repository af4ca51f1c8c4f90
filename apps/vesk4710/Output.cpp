// Printing results, notices and errors; text of values and checks of argument text.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

#include "apps/vesk4710/Cli.h"
#include "components/comm/CommErrors.h"
#include "components/comm/Text.h"

namespace vesk::cli {

std::string JsonText(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void Output::Line(std::string_view text) const {
    std::cout << text << '\n' << std::flush;
}

void Output::Json(const nlohmann::json& value) const {
    std::cout << JsonText(value) << '\n' << std::flush;
}

void Output::Notice(std::string_view text) const {
    if (json_) {
        std::cerr << JsonText({{"notice", std::string(text)}}) << '\n' << std::flush;
    } else {
        std::cerr << "vesk4710: " << text << '\n' << std::flush;
    }
}

void Output::Error(int32_t number, const std::string& description,
                   const std::string& source) const {
    if (json_) {
        std::cerr << JsonText(
                         {{"error",
                           {{"number", number}, {"description", description}, {"source", source}}}})
                  << '\n'
                  << std::flush;
        return;
    }
    // The sentence first; the error number and where it arose after it, for a report.
    std::string line = "vesk4710: error: " + description;
    if (const std::string hint = CommErrorHint(number); !hint.empty()) {
        line += " (" + hint + ")";
    }
    std::string origin;
    if (number != 0) {
        origin = "error " + ErrorNumberText(number);
    }
    if (!source.empty() && source != "vesk4710") {
        origin += (origin.empty() ? "" : ", ") + source;
    }
    if (!origin.empty()) {
        line += " [" + origin + "]";
    }
    std::cerr << line << '\n' << std::flush;
}

std::string ErrorNumberText(int32_t number) {
    if (number < 0) {
        return fmt::format("0x{:08X}", static_cast<uint32_t>(number));
    }
    return std::to_string(number);
}

std::string CommErrorHint(int32_t number) {
    switch (number) {
        case comm::kCommTimeout:
            return "the instrument did not answer in time";
        case comm::kCommMalformedReply:
            return "the instrument's reply could not be understood";
        case comm::kCommLinkDropped:
            return "the link to the instrument was dropped";
        case comm::kCommLinkUnavailable:
            return "the link to the instrument could not be opened";
        case comm::kCommCancelled:
            return "the request was cancelled";
        default:
            break;
    }
    if (number > comm::kCommInstrumentErrorBase && number < comm::kCommInstrumentErrorBase + 100) {
        return "the instrument refused the request";
    }
    return {};
}

std::string NumberString(double v) {
    return fmt::format("{}", v);
}

std::string UnitSymbol(int32_t units) {
    switch (units) {
        case UNITS_DEGREESC:
            return "C";
        case UNITS_DEGREESF:
            return "F";
        case kUnitsKelvin:
            return "K";
        case UNITS_RAW_VALUE:
            return "RAW";
        default:
            return "";
    }
}

Date ParseCalDate(const std::string& text) {
    auto d = Date::ParseIso(text);
    if (!d || d->TimePart() != 0.0 || d->Year() < 1900 || d->Year() > 2099) {
        throw UsageError("the calibration date is YYYY-MM-DD, 1900 to 2099");
    }
    if (*d > Date::Today()) {
        throw UsageError("the calibration date cannot be in the future");
    }
    return *d;
}

void CheckLoggingLabel(const std::string& label, size_t maxLength) {
    const bool printable =
        std::all_of(label.begin(), label.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
    if (label.empty() || label.size() > maxLength || !printable) {
        throw UsageError(
            fmt::format("a logging label has 1 to {} printable characters", maxLength));
    }
}

bool ValidSerialText(const std::string& text, size_t maxLength) {
    if (text.empty() || text.size() > maxLength) {
        return false;
    }
    return std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_' || c == '/' || c == '.';
    });
}

std::optional<bool> ParseBool(std::string_view text) {
    const std::string t = Lower(text);
    if (t == "true" || t == "on" || t == "yes" || t == "1") {
        return true;
    }
    if (t == "false" || t == "off" || t == "no" || t == "0") {
        return false;
    }
    return std::nullopt;
}

std::optional<int64_t> ParseInteger(std::string_view text) {
    return comm::ParseWhole<int64_t>(text);
}

std::optional<double> ParseNumber(std::string_view text) {
    const auto v = comm::ParseWhole<double>(text);
    if (!v || !std::isfinite(*v)) {
        return std::nullopt;
    }
    return v;
}

}  // namespace vesk::cli
