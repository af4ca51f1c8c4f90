#pragma once
// What a channel's probe reads: the instrument's conversion codes, the coefficient set each
// conversion uses, and the raw value (ohms or millivolts) a probe gives at a temperature.
// The math is the probe component's, so the simulator's raw and converted readings agree
// with what the library computes from them.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "components/probes/TemperatureMath.h"
#include "simulator/InstrumentState.h"

namespace vesk::sim {

struct ConversionCode {
    std::string_view code;
    int32_t type;
    int32_t tcType;
};

// "ITS", "ITS5", "CVD", "TRES", "RPRT", "RTHM", "PT", "V" and the thermocouple letters.
std::optional<ConversionCode> FindConversionCode(std::string_view code);

// A voltage input (thermocouple, volts) rather than a resistance input.
bool MeasuresVoltage(const ProbeState& probe);
// The conversion shows the raw value itself ("Ohms", "Volts").
bool ShowsRaw(const ProbeState& probe);

// Coefficients a conversion starts with when a probe is switched to it and has none.
std::vector<std::pair<std::string, double>> DefaultCoefficients(std::string_view code);

// Parameter names the instrument keeps per channel: coefficients (RTPW, R0, A..D with up to
// two digits) and MINOP, MAXOP, RJTYPE, RJTEMP.
bool IsParameterName(std::string_view name);
// Names that belong to the conversion (protected with it), unlike MINOP and friends.
bool IsCoefficientName(std::string_view name);

probes::ConversionSpec SpecOf(const ProbeState& probe);

// Ohms for a resistance input, millivolts for a voltage input; the "Ohms" and "Volts"
// conversions stand for a standard platinum probe, a standard thermistor and a type K pair.
// Throws AutomationError when the temperature lies outside what the probe can read.
double RawAt(const ProbeState& probe, double celsius);

}  // namespace vesk::sim
