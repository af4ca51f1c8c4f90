#pragma once
// Coefficient sets of the probe component: one Conversion per conversion type number, each
// with an ITS-90 low and high range. Edits of values (not of formats or paths) raise the
// owning probe's changed flag.
#include <cstdint>
#include <string>
#include <vector>

#include "vesk4710/platform/IProbe.h"

namespace vesk::probes {

class ConversionRange : public IConversionRange {
  public:
    // range 0 is "no deviation function" (no coefficients).
    ConversionRange(int32_t range, int32_t minRange, int32_t maxRange, bool& changed);

    double Coefficients(int32_t index) const override;
    void Coefficients(int32_t index, double value) override;
    int32_t NumCoefficients() const override;
    std::string ValueFormat() const override { return format_; }
    void ValueFormat(const std::string& format) override { format_ = format; }
    int32_t Range() const override { return range_; }
    // Resizes the set to the subrange's count, keeping the leading values.
    void Range(int32_t range) override;
    int32_t MinRange() const override { return minRange_; }
    void MinRange(int32_t range) override;
    int32_t MaxRange() const override { return maxRange_; }
    void MaxRange(int32_t range) override;
    bool AllowChangeRange() const override { return allowChange_; }
    void AllowChangeRange(bool allow) override { allowChange_ = allow; }
    bool ShowCoefRange() const override { return showCoef_; }
    void ShowCoefRange(bool show) override { showCoef_ = show; }

  private:
    std::vector<double> values_;
    std::string format_ = "0.0000000E-00";
    int32_t range_;
    int32_t minRange_;
    int32_t maxRange_;
    bool allowChange_ = true;
    bool showCoef_ = true;
    bool& changed_;
};

class Conversion : public IConversion {
  public:
    // Sets up the coefficient count and defaults of the given conversion type (-1..20).
    Conversion(int32_t type, bool& changed);

    double Coefficients(int32_t index) const override;
    void Coefficients(int32_t index, double value) override;
    int32_t NumCoefficients() const override;
    std::string ValueFormat() const override { return format_; }
    // Sets the one format and clears formats given per index.
    void ValueFormat(const std::string& format) override;
    std::string ValueFormat(int32_t index) const override;
    void ValueFormat(int32_t index, const std::string& format) override;
    bool UsePolynomial() const override { return usePolynomial_; }
    void UsePolynomial(bool use) override;
    double RTPW() const override { return rtpw_; }
    void RTPW(double value) override;
    std::string RTPWFormat() const override { return rtpwFormat_; }
    void RTPWFormat(const std::string& format) override { rtpwFormat_ = format; }
    IConversionRange& LowRange() override { return low_; }
    IConversionRange& HighRange() override { return high_; }
    std::string FilePath() const override { return filePath_; }
    void FilePath(const std::string& path) override { filePath_ = path; }
    int32_t TCType() const override { return tcType_; }
    // 0..11 are the letters B..U, 12 the gold-platinum pair the instrument also knows.
    void TCType(int32_t type) override;

  private:
    void CheckIndex(int32_t index) const;

    std::vector<double> values_;
    std::string format_ = "0.0000000E-00";
    std::vector<std::string> formats_;  // per index; empty text falls back to format_
    bool usePolynomial_ = true;
    double rtpw_ = 100.0;
    std::string rtpwFormat_ = "##0.00000";
    ConversionRange low_;
    ConversionRange high_;
    std::string filePath_;
    int32_t tcType_ = 4;
    bool& changed_;
};

}  // namespace vesk::probes
