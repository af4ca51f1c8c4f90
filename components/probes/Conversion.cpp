#include "components/probes/Conversion.h"

#include <cmath>

#include "components/probes/MathSupport.h"
#include "components/probes/TemperatureMath.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/MarkChanged.h"

namespace vesk::probes {

namespace {

constexpr const char* kSource = "vesk4710.probes.Conversion";

// -1 marks a range not in use, as the channel's reads and writes treat it: no coefficients.
constexpr int32_t kRangeNotInUse = -1;

int32_t CoefficientCount(int32_t range) {
    return range == kRangeNotInUse ? 0 : Its90CoefficientCount(range);
}

void CheckSubrange(int32_t range) {
    if (CoefficientCount(range) < 0) {
        throw AutomationError(kErrInvalidProcedureCall,
                              "ITS-90 subrange " + detail::Num(range) +
                                  " does not exist (-1 not in use, 0 for none, 1 to 11)",
                              kSource);
    }
}

void CheckValue(double value) {
    if (!std::isfinite(value)) {
        throw AutomationError(kErrInvalidProcedureCall, "A coefficient must be a finite number",
                              kSource);
    }
}

void CheckIndexIn(int32_t index, size_t size) {
    if (index < 0 || static_cast<size_t>(index) >= size) {
        throw AutomationError::Runtime(kErrSubscriptOutOfRange, kSource);
    }
}

}  // namespace

// ---------------- ConversionRange ----------------

ConversionRange::ConversionRange(int32_t range, int32_t minRange, int32_t maxRange, bool& changed)
    : values_(static_cast<size_t>(CoefficientCount(range)), 0.0),
      range_(range),
      minRange_(minRange),
      maxRange_(maxRange),
      changed_(changed) {}

double ConversionRange::Coefficients(int32_t index) const {
    CheckIndexIn(index, values_.size());
    return values_[static_cast<size_t>(index)];
}

void ConversionRange::Coefficients(int32_t index, double value) {
    CheckIndexIn(index, values_.size());
    CheckValue(value);
    MarkChanged(changed_, values_[static_cast<size_t>(index)], value);
}

int32_t ConversionRange::NumCoefficients() const {
    return static_cast<int32_t>(values_.size());
}

void ConversionRange::Range(int32_t range) {
    CheckSubrange(range);
    if (range != range_) {
        changed_ = true;
        range_ = range;
        values_.resize(static_cast<size_t>(CoefficientCount(range)), 0.0);
    }
}

void ConversionRange::MinRange(int32_t range) {
    CheckSubrange(range);
    minRange_ = range;
}

void ConversionRange::MaxRange(int32_t range) {
    CheckSubrange(range);
    maxRange_ = range;
}

// ---------------- Conversion ----------------

namespace {
// Ranges of the ITS-90 types; other types carry empty ranges.
int32_t LowRangeOf(int32_t type) {
    return type == kConvITS90 || type == kConvITS90Subrange5 ? 4 : 0;
}
int32_t HighRangeOf(int32_t type) {
    return type == kConvITS90 ? 6 : (type == kConvITS90Subrange5 ? 7 : 0);
}
}  // namespace

Conversion::Conversion(int32_t type, bool& changed)
    : low_(LowRangeOf(type), LowRangeOf(type) ? 1 : 0, 5, changed),
      high_(HighRangeOf(type), HighRangeOf(type) ? 5 : 0, 11, changed),
      changed_(changed) {
    switch (type) {
        case kConvCVD:
            // R0, alpha, delta, beta of IEC 60751 platinum.
            values_ = {100.0, 0.00385055, 1.499786, 0.108634};
            formats_ = {"##0.0000", "0.000000000", "0.0000", "0.000"};
            break;
        case kConvPT100:
            values_ = {100.0};
            format_ = "##0.0000";
            break;
        case kConvThermistorRT:
            values_ = {-4.0, 4000.0, 0.0, 0.0};
            break;
        case kConvThermocouple:
            values_ = {0.0, 0.0, 0.0, 0.0};
            break;
        default:
            break;
    }
    formats_.resize(values_.size());
}

void Conversion::CheckIndex(int32_t index) const {
    CheckIndexIn(index, values_.size());
}

double Conversion::Coefficients(int32_t index) const {
    CheckIndex(index);
    return values_[static_cast<size_t>(index)];
}

void Conversion::Coefficients(int32_t index, double value) {
    CheckIndex(index);
    CheckValue(value);
    MarkChanged(changed_, values_[static_cast<size_t>(index)], value);
}

int32_t Conversion::NumCoefficients() const {
    return static_cast<int32_t>(values_.size());
}

void Conversion::ValueFormat(const std::string& format) {
    format_ = format;
    for (auto& f : formats_) {
        f.clear();
    }
}

std::string Conversion::ValueFormat(int32_t index) const {
    CheckIndex(index);
    const std::string& own = formats_[static_cast<size_t>(index)];
    return own.empty() ? format_ : own;
}

void Conversion::ValueFormat(int32_t index, const std::string& format) {
    CheckIndex(index);
    formats_[static_cast<size_t>(index)] = format;
}

void Conversion::UsePolynomial(bool use) {
    MarkChanged(changed_, usePolynomial_, use);
}

void Conversion::RTPW(double value) {
    CheckValue(value);
    MarkChanged(changed_, rtpw_, value);
}

void Conversion::TCType(int32_t type) {
    if (type < 0 || type > kThermocoupleTypeCount) {
        throw AutomationError(
            kErrInvalidProcedureCall,
            "Thermocouple type index " + detail::Num(type) + " does not exist (0 to 12)", kSource);
    }
    MarkChanged(changed_, tcType_, type);
}

}  // namespace vesk::probes
