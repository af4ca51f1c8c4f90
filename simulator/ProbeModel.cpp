#include "simulator/ProbeModel.h"

#include <algorithm>
#include <array>

namespace vesk::sim {

namespace {

constexpr std::array<ConversionCode, 20> kCodes = {{
    {"ITS", probes::kConvITS90, 4},       {"ITS5", probes::kConvITS90Subrange5, 4},
    {"CVD", probes::kConvCVD, 4},         {"TRES", probes::kConvThermistorRT, 4},
    {"RPRT", probes::kConvOhms, 4},       {"RTHM", probes::kConvThermistorOhms, 4},
    {"PT", probes::kConvPT100, 4},        {"V", probes::kConvVolts, 4},
    {"B", probes::kConvThermocouple, 0},  {"C", probes::kConvThermocouple, 1},
    {"E", probes::kConvThermocouple, 2},  {"J", probes::kConvThermocouple, 3},
    {"K", probes::kConvThermocouple, 4},  {"L", probes::kConvThermocouple, 5},
    {"M", probes::kConvThermocouple, 6},  {"N", probes::kConvThermocouple, 7},
    {"R", probes::kConvThermocouple, 8},  {"S", probes::kConvThermocouple, 9},
    {"T", probes::kConvThermocouple, 10}, {"U", probes::kConvThermocouple, 11},
}};

double Param(const ProbeState& probe, const std::string& name, double fallback = 0.0) {
    auto it = probe.params.find(name);
    return it == probe.params.end() ? fallback : it->second;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

probes::ConversionSpec StandardPlatinum() {
    probes::ConversionSpec conv;
    conv.type = probes::kConvCVD;
    conv.coefficients = {100.0, 0.00385, 1.507, 0.111};
    return conv;
}

probes::ConversionSpec StandardThermistor() {
    probes::ConversionSpec conv;
    conv.type = probes::kConvThermistorRT;
    conv.coefficients = {-4.0, 4000.0, 0.0, 0.0};
    return conv;
}

probes::ConversionSpec StandardTypeK() {
    probes::ConversionSpec conv;
    conv.type = probes::kConvThermocouple;
    conv.tcType = 4;
    return conv;
}

}  // namespace

std::optional<ConversionCode> FindConversionCode(std::string_view code) {
    for (const ConversionCode& c : kCodes) {
        if (c.code == code) {
            return c;
        }
    }
    return std::nullopt;
}

bool MeasuresVoltage(const ProbeState& probe) {
    auto code = FindConversionCode(probe.conversion);
    return code && (code->type == probes::kConvThermocouple || code->type == probes::kConvVolts);
}

bool ShowsRaw(const ProbeState& probe) {
    auto code = FindConversionCode(probe.conversion);
    return !code || code->type == probes::kConvOhms || code->type == probes::kConvVolts ||
           code->type == probes::kConvThermistorOhms;
}

std::vector<std::pair<std::string, double>> DefaultCoefficients(std::string_view code) {
    auto c = FindConversionCode(code);
    if (!c) {
        return {};
    }
    switch (c->type) {
        case probes::kConvITS90:
        case probes::kConvITS90Subrange5:
            return {{"RTPW", 100.0}, {"A4", 0}, {"B4", 0}, {"A", 0}, {"B", 0}, {"C", 0}, {"D", 0}};
        case probes::kConvCVD:
            return {{"R0", 100.0}, {"A", 0.00385}, {"B", 1.507}, {"C", 0.111}};
        case probes::kConvPT100:
            return {{"R0", 100.0}};
        case probes::kConvThermistorRT:
            return {{"B0", -4.0}, {"B1", 4000.0}, {"B2", 0}, {"B3", 0}};
        case probes::kConvThermocouple:
            return {{"C0", 0}, {"C1", 0}, {"C2", 0}, {"C3", 0}};
        default:
            return {};
    }
}

bool IsCoefficientName(std::string_view name) {
    if (name == "RTPW" || name == "R0") {
        return true;
    }
    if (name.empty() || name.size() > 3 || name[0] < 'A' || name[0] > 'D') {
        return false;
    }
    return std::all_of(name.begin() + 1, name.end(), IsDigit);
}

bool IsParameterName(std::string_view name) {
    return IsCoefficientName(name) || name == "MINOP" || name == "MAXOP" || name == "RJTYPE" ||
           name == "RJTEMP";
}

probes::ConversionSpec SpecOf(const ProbeState& probe) {
    probes::ConversionSpec conv;
    auto code = FindConversionCode(probe.conversion);
    if (!code) {
        return conv;
    }
    conv.type = code->type;
    conv.tcType = code->tcType;
    switch (code->type) {
        case probes::kConvITS90:
        case probes::kConvITS90Subrange5: {
            conv.rtpw = Param(probe, "RTPW", 100.0);
            // The low range is whichever "A<n>"/"B<n>" pair the probe holds.
            for (const auto& [name, value] : probe.params) {
                if (name.size() >= 2 && name[0] == 'A' && IsDigit(name[1])) {
                    conv.lowRange = std::stoi(name.substr(1));
                }
            }
            std::string n = std::to_string(conv.lowRange);
            conv.low = {Param(probe, "A" + n), Param(probe, "B" + n)};
            conv.highRange = code->type == probes::kConvITS90 ? 6 : 7;
            conv.high = {Param(probe, "A"), Param(probe, "B"), Param(probe, "C"),
                         Param(probe, "D")};
            break;
        }
        case probes::kConvCVD:
            conv.coefficients = {Param(probe, "R0", 100.0), Param(probe, "A"), Param(probe, "B"),
                                 Param(probe, "C")};
            break;
        case probes::kConvPT100:
            conv.coefficients = {Param(probe, "R0", 100.0)};
            break;
        case probes::kConvThermistorRT:
            conv.coefficients = {Param(probe, "B0"), Param(probe, "B1"), Param(probe, "B2"),
                                 Param(probe, "B3")};
            break;
        case probes::kConvThermocouple:
            conv.coefficients = {Param(probe, "C0"), Param(probe, "C1"), Param(probe, "C2"),
                                 Param(probe, "C3")};
            break;
        default:
            break;
    }
    return conv;
}

double RawAt(const ProbeState& probe, double celsius) {
    probes::ConversionSpec conv = SpecOf(probe);
    switch (conv.type) {
        case probes::kConvOhms:
        case -1:
            return probes::RawFromTemperature(StandardPlatinum(), celsius);
        case probes::kConvThermistorOhms:
            return probes::RawFromTemperature(StandardThermistor(), celsius);
        case probes::kConvVolts:
            return probes::RawFromTemperature(StandardTypeK(), celsius);
        default:
            return probes::RawFromTemperature(conv, celsius);
    }
}

}  // namespace vesk::sim
