// The probe object: one coefficient set per conversion type, and its changed flag.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "components/probes/Probe.h"
#include "components/probes/TemperatureMath.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::probes {
namespace {

class ProbeTest : public ::testing::Test {
  protected:
    std::shared_ptr<Probe> probe = Probe::Create();

    IConversion& Select(int32_t type) {
        probe->ConversionType(type);
        probe->Changed(false);
        return probe->ActiveConversion();
    }
    int32_t Refusal(const std::function<void()>& fn) { return test::Raised(fn).Number(); }
};

TEST_F(ProbeTest, EachTypeKeepsItsOwnCoefficientSetStartingFromTheStandardOne) {
    // A new probe has no conversion, and an empty set refuses every index.
    EXPECT_EQ(probe->ConversionType(), -1);
    IConversion& none = probe->ActiveConversion();
    EXPECT_EQ(none.HighRange().NumCoefficients(), 0);
    EXPECT_EQ(Refusal([&] { none.Coefficients(0, 1.0); }), kErrSubscriptOutOfRange);
    EXPECT_FALSE(probe->Changed());

    // Room temperature must come out of every default set the channel can start from; the
    // thermocouple starts as type K, the platinum sets as the standard curve.
    EXPECT_EQ(Select(kConvThermocouple).TCType(), 4);
    for (int32_t type : {kConvCVD, kConvPT100, kConvThermistorRT, kConvThermocouple, kConvITS90,
                         kConvITS90Subrange5}) {
        const auto spec = SpecFrom(Select(type), type);
        EXPECT_NEAR(TemperatureFromRaw(spec, RawFromTemperature(spec, 23.5)), 23.5, 1e-6) << type;
    }
    EXPECT_NEAR(RawFromTemperature(SpecFrom(Select(kConvPT100), kConvPT100), 100.0), 138.5055,
                5e-5);
    const auto cvdSpec = SpecFrom(Select(kConvCVD), kConvCVD);
    EXPECT_NEAR(RawFromTemperature(cvdSpec, -100.0), 60.2558, 5e-4);

    // Switching type keeps each type's values, and the snapshot follows the active set.
    Select(kConvCVD).Coefficients(0, 99.98);
    IConversion& its = Select(kConvITS90);
    its.RTPW(25.4);
    its.HighRange().Coefficients(3, 1.5e-5);
    Select(kConvThermocouple).TCType(10);
    EXPECT_EQ(Select(kConvCVD).Coefficients(0), 99.98);
    EXPECT_EQ(Select(kConvThermocouple).TCType(), 10);
    EXPECT_EQ(&probe->ConversionOf(kConvCVD), &Select(kConvCVD));
    const auto spec = SpecFrom(Select(kConvITS90), kConvITS90);
    EXPECT_EQ(spec.rtpw, 25.4);
    EXPECT_EQ(spec.highRange, 6);
    EXPECT_EQ(spec.high, (std::vector<double>{0, 0, 0, 1.5e-5}));
}

TEST_F(ProbeTest, ValueEditsMarkChangedOnlyWhenTheyChangeSomething) {
    IConversion& cvd = Select(kConvCVD);
    cvd.Coefficients(0, cvd.Coefficients(0));
    cvd.UsePolynomial(cvd.UsePolynomial());
    cvd.RTPW(cvd.RTPW());
    probe->Serial("");
    probe->ConversionType(kConvCVD);
    // Formats, paths and the numeric setting are not probe data.
    cvd.ValueFormat("0.00");
    cvd.ValueFormat(1, "0.000");
    cvd.RTPWFormat("0.0");
    cvd.FilePath("/db");
    probe->FilePath("/db");
    probe->ApplicationPath("/app");
    probe->DatabaseLevel(4);
    cvd.LowRange().ValueFormat("0.0");
    cvd.LowRange().AllowChangeRange(false);
    EXPECT_FALSE(probe->Changed());

    const std::vector<std::function<void()>> edits = {
        [&] { cvd.Coefficients(2, 1.6); },
        [&] { cvd.UsePolynomial(false); },
        [&] { probe->ConversionOf(kConvITS90).RTPW(25.0); },
        [&] { probe->ConversionOf(kConvITS90).LowRange().Coefficients(0, 1e-5); },
        [&] { probe->ConversionOf(kConvITS90).HighRange().Range(7); },
        [&] { probe->ConversionOf(kConvThermocouple).TCType(3); },
        [&] { probe->Serial("A1234"); },
        [&] { probe->ConversionType(kConvPT100); },
    };
    for (size_t i = 0; i < edits.size(); ++i) {
        probe->Changed(false);
        edits[i]();
        EXPECT_TRUE(probe->Changed()) << "edit " << i;
    }
}

TEST_F(ProbeTest, RangeNumberPicksTheCoefficientCount) {
    IConversionRange& high = Select(kConvITS90).HighRange();
    high.Coefficients(0, 1e-4);
    high.Coefficients(3, 3e-6);
    high.Range(7);
    ASSERT_EQ(high.NumCoefficients(), 3);
    EXPECT_EQ(high.Coefficients(0), 1e-4);  // leading values survive
    high.Range(11);
    EXPECT_EQ(high.NumCoefficients(), 1);
    high.Range(6);
    ASSERT_EQ(high.NumCoefficients(), 4);
    EXPECT_EQ(high.Coefficients(3), 0.0);  // the dropped d does not come back
    IConversionRange& low = probe->ActiveConversion().LowRange();
    low.Range(1);
    EXPECT_EQ(low.NumCoefficients(), 7);
    // -1: the range is not in use, and has no coefficients.
    high.Range(-1);
    EXPECT_EQ(high.NumCoefficients(), 0);
}

TEST_F(ProbeTest, BadInputIsRefusedAndNothingIsLost) {
    IConversion& its = Select(kConvITS90);
    its.RTPW(25.5);
    its.HighRange().Coefficients(0, 1e-4);
    probe->Changed(false);
    const std::vector<std::function<void()>> invalid = {
        [&] { its.HighRange().Range(12); },
        [&] { its.HighRange().Range(-2); },
        [&] { its.RTPW(std::nan("")); },
        [&] { its.HighRange().Coefficients(0, INFINITY); },
        [&] { its.TCType(13); },
        [&] { probe->ConversionType(21); },
        [&] { probe->ConversionType(-2); },
        [&] { probe->ConversionOf(99); },
    };
    for (size_t i = 0; i < invalid.size(); ++i) {
        EXPECT_EQ(Refusal(invalid[i]), kErrInvalidProcedureCall) << i;
    }
    EXPECT_EQ(Refusal([&] { its.HighRange().Coefficients(4, 1.0); }), kErrSubscriptOutOfRange);
    EXPECT_EQ(probe->ConversionType(), kConvITS90);
    EXPECT_EQ(its.RTPW(), 25.5);
    EXPECT_EQ(its.HighRange().Range(), 6);
    EXPECT_EQ(its.HighRange().Coefficients(0), 1e-4);
    EXPECT_EQ(its.TCType(), 4);
    EXPECT_FALSE(probe->Changed());
    its.TCType(12);  // the gold-platinum pair is a valid index for the instrument
    EXPECT_EQ(its.TCType(), 12);
}

}  // namespace
}  // namespace vesk::probes
