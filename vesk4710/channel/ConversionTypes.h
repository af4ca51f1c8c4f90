#pragma once
// Conversion type numbers (shared with the probe component), their display names, the
// instrument's text codes, the probe family of each type and the thermocouple letters.
#include <cstdint>
#include <string>
#include <string_view>

namespace vesk {

// Conversion type numbers this instrument supports (the probe component knows more).
inline constexpr int32_t kConvNone = -1;
inline constexpr int32_t kConvITS90 = 0;
inline constexpr int32_t kConvCVD = 2;
inline constexpr int32_t kConvThermistor = 6;
inline constexpr int32_t kConvPRTOhms = 10;
inline constexpr int32_t kConvVolts = 11;
inline constexpr int32_t kConvITS90Subrange5 = 17;
inline constexpr int32_t kConvThermistorOhms = 18;
inline constexpr int32_t kConvPT100 = 19;
inline constexpr int32_t kConvThermocouple = 20;

// Thermocouple index passed where no thermocouple is involved ("K").
inline constexpr int32_t kDefaultTCType = 4;

// Probe families.
inline constexpr int32_t kFamilyUnknown = -1;
inline constexpr int32_t kFamilyPRT = 0;
inline constexpr int32_t kFamilyThermistor = 1;
inline constexpr int32_t kFamilyTC = 2;

// Display name of any conversion type number (-1 "<keep existing>", unknown "<unknown>").
std::string ConversionTypeName(int32_t conversionType);

// True for the types the instrument has a code and a coefficient set for.
bool IsSupportedConversionType(int32_t conversionType);

// The code written to the instrument; empty for types without one and for thermocouple
// indexes outside 0..11.
std::string ConversionTypeCode(int32_t conversionType, int32_t tcType);

struct ConversionCode {
    int32_t conversionType = kConvNone;
    int32_t tcType = kDefaultTCType;
};
// Decodes the instrument's (upper-cased) code; substring tests in a fixed order, exact
// comparison for the thermocouple letters.
ConversionCode ConversionTypeFromCode(std::string_view code);

// Probe family of a conversion type (-1 for anything unsupported).
int32_t ProbeFamilyOf(int32_t conversionType);
// "PRT", "Thermistor", "TC", otherwise "<unknown>".
std::string ProbeFamilyName(int32_t family);

// Thermocouple letter as the instrument codes it (0..11), empty otherwise.
std::string ThermocoupleCode(int32_t tcType);
// Thermocouple name shown while writing (0..12, 12 is "AuPt"), empty otherwise.
std::string ThermocoupleName(int32_t tcType);

// Upper-cases ASCII letters only, so replies are handled the same in every locale.
std::string UpperAscii(std::string_view text);

}  // namespace vesk
