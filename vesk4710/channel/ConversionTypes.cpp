#include "vesk4710/channel/ConversionTypes.h"

#include <array>

#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int32_t kResKeepExisting = 182;
constexpr int32_t kResUnknown = 183;

constexpr std::array<std::string_view, 21> kConversionNames = {"ITS-90",
                                                               "IPTS-68",
                                                               "Callendar-Van Dusen",
                                                               "High-Temp. PRT",
                                                               "Polynomial",
                                                               "T(R)",
                                                               "R(T)",
                                                               "Polynomial",
                                                               "Table",
                                                               "Thermocouple Type",
                                                               "Ohms",
                                                               "Volts",
                                                               "IEC-751",
                                                               "YSI-400",
                                                               "W(T90)",
                                                               "Ratio",
                                                               "PT100",
                                                               "ITS-90 Subrange 5",
                                                               "Ohms",
                                                               "PT100",
                                                               "Thermocouple Type"};

constexpr std::array<std::string_view, 13> kThermocoupleLetters = {
    "B", "C", "E", "J", "K", "L", "M", "N", "R", "S", "T", "U", "AuPt"};
// The instrument has no code for the thirteenth entry.
constexpr int32_t kCodedThermocouples = 12;

}  // namespace

std::string ConversionTypeName(int32_t conversionType) {
    if (conversionType == kConvNone) {
        return LoadResString(kResKeepExisting);
    }
    if (conversionType < 0 || conversionType >= static_cast<int32_t>(kConversionNames.size())) {
        return LoadResString(kResUnknown);
    }
    return std::string(kConversionNames[static_cast<size_t>(conversionType)]);
}

bool IsSupportedConversionType(int32_t conversionType) {
    switch (conversionType) {
        case kConvITS90:
        case kConvCVD:
        case kConvThermistor:
        case kConvPRTOhms:
        case kConvVolts:
        case kConvITS90Subrange5:
        case kConvThermistorOhms:
        case kConvPT100:
        case kConvThermocouple:
            return true;
        default:
            return false;
    }
}

std::string ConversionTypeCode(int32_t conversionType, int32_t tcType) {
    switch (conversionType) {
        case kConvITS90:
            return "ITS";
        case kConvCVD:
            return "CVD";
        case kConvThermistor:
            return "TRES";
        case kConvPRTOhms:
            return "RPRT";
        case kConvVolts:
            return "V";
        case kConvITS90Subrange5:
            return "ITS5";
        case kConvThermistorOhms:
            return "RTHM";
        case kConvPT100:
            return "PT";
        case kConvThermocouple:
            return ThermocoupleCode(tcType);
        default:
            return {};
    }
}

ConversionCode ConversionTypeFromCode(std::string_view code) {
    auto contains = [code](std::string_view part) {
        return code.find(part) != std::string_view::npos;
    };
    // Order matters: "ITS5" before "ITS", "PT" before the thermocouple letters.
    if (contains("ITS5")) {
        return {kConvITS90Subrange5, kDefaultTCType};
    }
    if (contains("ITS")) {
        return {kConvITS90, kDefaultTCType};
    }
    if (contains("PT")) {
        return {kConvPT100, kDefaultTCType};
    }
    if (contains("CVD")) {
        return {kConvCVD, kDefaultTCType};
    }
    if (contains("RPRT")) {
        return {kConvPRTOhms, kDefaultTCType};
    }
    if (contains("TRES")) {
        return {kConvThermistor, kDefaultTCType};
    }
    if (contains("RTHM")) {
        return {kConvThermistorOhms, kDefaultTCType};
    }
    for (int32_t i = 0; i < kCodedThermocouples; ++i) {
        if (code == kThermocoupleLetters[static_cast<size_t>(i)]) {
            return {kConvThermocouple, i};
        }
    }
    if (contains("V")) {
        return {kConvVolts, kDefaultTCType};
    }
    return {kConvNone, kDefaultTCType};
}

int32_t ProbeFamilyOf(int32_t conversionType) {
    switch (conversionType) {
        case kConvITS90:
        case kConvCVD:
        case kConvPRTOhms:
        case kConvITS90Subrange5:
        case kConvPT100:
            return kFamilyPRT;
        case kConvThermistor:
        case kConvThermistorOhms:
            return kFamilyThermistor;
        case kConvVolts:
        case kConvThermocouple:
            return kFamilyTC;
        default:
            return kFamilyUnknown;
    }
}

std::string ProbeFamilyName(int32_t family) {
    switch (family) {
        case kFamilyPRT:
            return "PRT";
        case kFamilyThermistor:
            return "Thermistor";
        case kFamilyTC:
            return "TC";
        default:
            return LoadResString(kResUnknown);
    }
}

std::string ThermocoupleCode(int32_t tcType) {
    if (tcType < 0 || tcType >= kCodedThermocouples) {
        return {};
    }
    return std::string(kThermocoupleLetters[static_cast<size_t>(tcType)]);
}

std::string ThermocoupleName(int32_t tcType) {
    if (tcType < 0 || tcType >= static_cast<int32_t>(kThermocoupleLetters.size())) {
        return {};
    }
    return std::string(kThermocoupleLetters[static_cast<size_t>(tcType)]);
}

std::string UpperAscii(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return result;
}

}  // namespace vesk
