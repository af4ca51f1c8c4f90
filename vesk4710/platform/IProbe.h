#pragma once
// The probe component: one probe per channel with its serial number, conversion type and
// the active conversion's coefficient set.
#include <cstdint>
#include <memory>
#include <string>

namespace vesk {

class IRegistry;

class IConversionRange {
  public:
    virtual ~IConversionRange() = default;
    virtual double Coefficients(int32_t index) const = 0;
    virtual void Coefficients(int32_t index, double value) = 0;
    virtual int32_t NumCoefficients() const = 0;
    virtual std::string ValueFormat() const = 0;
    virtual void ValueFormat(const std::string& format) = 0;
    virtual int32_t Range() const = 0;
    virtual void Range(int32_t range) = 0;
    virtual int32_t MinRange() const = 0;
    virtual void MinRange(int32_t range) = 0;
    virtual int32_t MaxRange() const = 0;
    virtual void MaxRange(int32_t range) = 0;
    virtual bool AllowChangeRange() const = 0;
    virtual void AllowChangeRange(bool allow) = 0;
    virtual bool ShowCoefRange() const = 0;
    virtual void ShowCoefRange(bool show) = 0;
};

class IConversion {
  public:
    virtual ~IConversion() = default;
    virtual double Coefficients(int32_t index) const = 0;
    virtual void Coefficients(int32_t index, double value) = 0;
    virtual int32_t NumCoefficients() const = 0;
    virtual std::string ValueFormat() const = 0;
    virtual void ValueFormat(const std::string& format) = 0;
    virtual std::string ValueFormat(int32_t index) const = 0;
    virtual void ValueFormat(int32_t index, const std::string& format) = 0;
    virtual bool UsePolynomial() const = 0;
    virtual void UsePolynomial(bool use) = 0;
    virtual double RTPW() const = 0;
    virtual void RTPW(double value) = 0;
    virtual std::string RTPWFormat() const = 0;
    virtual void RTPWFormat(const std::string& format) = 0;
    virtual IConversionRange& LowRange() = 0;
    virtual IConversionRange& HighRange() = 0;
    virtual std::string FilePath() const = 0;
    virtual void FilePath(const std::string& path) = 0;
    virtual int32_t TCType() const = 0;
    virtual void TCType(int32_t type) = 0;
};

class IProbe {
  public:
    virtual ~IProbe() = default;
    virtual void ApplicationPath(const std::string& path) = 0;
    virtual void Registry(std::shared_ptr<IRegistry> registry) = 0;
    virtual bool Changed() const = 0;
    virtual void Changed(bool changed) = 0;
    virtual void FilePath(const std::string& path) = 0;
    virtual std::string FilePath() const = 0;
    virtual std::string Serial() const = 0;
    virtual void Serial(const std::string& serial) = 0;
    // Numeric setting the channel sets to 4 at creation (the database format level).
    virtual void DatabaseLevel(int32_t level) = 0;
    virtual int32_t ConversionType() const = 0;
    virtual void ConversionType(int32_t type) = 0;
    // The coefficient set of the current conversion type.
    virtual IConversion& ActiveConversion() = 0;

    // Read-back of what the channel handed over, for dialogs and tests.
    virtual std::string ApplicationPath() const = 0;
    virtual std::shared_ptr<IRegistry> Registry() const = 0;
    virtual int32_t DatabaseLevel() const = 0;
    // The coefficient set kept for one conversion type (-1..20), active or not.
    virtual IConversion& ConversionOf(int32_t type) = 0;
};

}  // namespace vesk
