#include "simulator/InstrumentState.h"

#include <cstdio>
#include <ctime>
#include <iterator>
#include <stdexcept>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vesk::sim {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ProbeState, serial, calDate, conversion, locked,
                                                params)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Drift, base, amplitude, periodSeconds, noise)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ChannelState, on, resolution, probe, drift)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(LogSeed, count, start, stepSeconds, labels)

// Points and readings are arrays: a log of a thousand readings stays a small file.
void to_json(nlohmann::json& j, const CalPoint& p) {
    j = nlohmann::json::array({p.reference, p.value});
}
void from_json(const nlohmann::json& j, CalPoint& p) {
    p.reference = j.at(0).get<double>();
    p.value = j.at(1).get<double>();
}
void to_json(nlohmann::json& j, const Reading& r) {
    j = nlohmann::json::array({ClockText(r.time), r.channel, r.label, r.value, r.unit});
}
void from_json(const nlohmann::json& j, Reading& r) {
    r.time = ParseClockText(j.at(0).get<std::string>());
    r.channel = j.at(1).get<int32_t>();
    r.label = j.at(2).get<int32_t>();
    r.value = j.at(3).get<double>();
    r.unit = j.at(4).get<std::string>();
}

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(InstrumentState, maker, model, serial, firmware,
                                                passcode, protectConversion, units, interval,
                                                scanMode, scanList, scanSeqDelay, autoPower,
                                                serialDisabled, measuring, stoppedAt, calDate,
                                                calibration, channels, labels, currentLabel,
                                                demandCapacity, autoCapacity, demandLog, autoLog,
                                                autoLogNext, seedLogs)

InstrumentState StateFromJson(const std::string& text) {
    InstrumentState state;
    try {
        nlohmann::json::parse(text).get_to(state);
    } catch (const nlohmann::json::exception& e) {
        throw std::runtime_error(std::string("bad instrument data: ") + e.what());
    }
    if (state.channels.empty() || state.channels.size() > 2) {
        throw std::runtime_error("bad instrument data: one or two channels expected");
    }
    if (state.labels.empty() || state.labels.size() > static_cast<size_t>(kMaxLabels)) {
        throw std::runtime_error("bad instrument data: 1 to 25 labels expected");
    }
    return state;
}

std::string StateToJson(const InstrumentState& state) {
    // One line per setting: readable, yet a full log stays a small file.
    nlohmann::json j = state;
    std::string out = "{\n";
    for (auto it = j.begin(); it != j.end(); ++it) {
        out += " " + nlohmann::json(it.key()).dump() + ": " + it.value().dump();
        out += std::next(it) == j.end() ? "\n" : ",\n";
    }
    return out + "}\n";
}

int64_t ParseClockText(const std::string& text) {
    std::tm tm{};
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c", &y, &mo, &d, &h, &mi, &s, &tail) !=
        6) {
        throw std::runtime_error("bad instrument time \"" + text + "\"");
    }
    tm.tm_year = y - 1900;
    tm.tm_mon = mo - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = s;
    return static_cast<int64_t>(timegm(&tm));
}

std::string ClockText(int64_t seconds) {
    auto t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", tm.tm_year + 1900, tm.tm_mon + 1,
                       tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
}

}  // namespace vesk::sim
