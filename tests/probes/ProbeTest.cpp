// The probe object: one coefficient set per conversion type, and its changed flag.
#include <gtest/gtest.h>

#include <cmath>

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
};

TEST_F(ProbeTest, EachTypeCarriesItsPhysicalCoefficientSetWithSensibleDefaults) {
    // A new probe has no conversion, and an empty set refuses every index.
    EXPECT_EQ(probe->ConversionType(), -1);
    IConversion& none = probe->ActiveConversion();
    EXPECT_EQ(none.LowRange().NumCoefficients(), 0);
    EXPECT_EQ(none.HighRange().NumCoefficients(), 0);
    EXPECT_EQ(test::Raised([&] { none.Coefficients(0); }).Number(), kErrSubscriptOutOfRange);
    EXPECT_EQ(test::Raised([&] { none.Coefficients(0, 1.0); }).Number(), kErrSubscriptOutOfRange);
    EXPECT_FALSE(probe->Changed());
    for (int32_t type : {-1, 1, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 18}) {
        EXPECT_EQ(Select(type).NumCoefficients(), 0) << type;
    }

    // Each family starts from its standard set: the thermocouple as type K.
    EXPECT_EQ(Select(kConvThermocouple).TCType(), 4);

    // Room temperature must come out of every default set the channel can start from.
    for (int32_t type : {kConvCVD, kConvPT100, kConvThermistorRT, kConvThermocouple, kConvITS90,
                         kConvITS90Subrange5}) {
        const auto spec = SpecFrom(Select(type), type);
        EXPECT_NEAR(TemperatureFromRaw(spec, RawFromTemperature(spec, 23.5)), 23.5, 1e-6) << type;
    }
    const auto ptSpec = SpecFrom(Select(kConvPT100), kConvPT100);
    EXPECT_NEAR(RawFromTemperature(ptSpec, 100.0), 138.5055, 5e-5);
    // The default Callendar-Van Dusen set is the standard platinum curve.
    const auto cvdSpec = SpecFrom(Select(kConvCVD), kConvCVD);
    EXPECT_NEAR(RawFromTemperature(cvdSpec, 100.0), 138.5055, 5e-4);
    EXPECT_NEAR(RawFromTemperature(cvdSpec, -100.0), 60.2558, 5e-4);
}

TEST_F(ProbeTest, SwitchingTypeKeepsEachTypesCoefficients) {
    Select(kConvCVD).Coefficients(0, 99.98);
    IConversion& its = Select(kConvITS90);
    its.RTPW(25.4);
    its.HighRange().Coefficients(3, 1.5e-5);
    Select(kConvThermocouple).TCType(10);

    EXPECT_EQ(Select(kConvCVD).Coefficients(0), 99.98);
    EXPECT_EQ(Select(kConvITS90).RTPW(), 25.4);
    EXPECT_EQ(probe->ActiveConversion().HighRange().Coefficients(3), 1.5e-5);
    EXPECT_EQ(Select(kConvThermocouple).TCType(), 10);
    EXPECT_EQ(&probe->ConversionOf(kConvCVD), &Select(kConvCVD));
    // The snapshot follows the active set.
    const auto spec = SpecFrom(Select(kConvITS90), kConvITS90);
    EXPECT_EQ(spec.rtpw, 25.4);
    EXPECT_EQ(spec.highRange, 6);
    ASSERT_EQ(spec.high.size(), 4u);
    EXPECT_EQ(spec.high[3], 1.5e-5);
}

TEST_F(ProbeTest, ValueEditsMarkChangedOnlyWhenTheyChangeSomething) {
    IConversion& cvd = Select(kConvCVD);
    cvd.Coefficients(0, cvd.Coefficients(0));
    cvd.UsePolynomial(cvd.UsePolynomial());
    cvd.RTPW(cvd.RTPW());
    probe->Serial("");
    probe->ConversionType(kConvCVD);
    EXPECT_FALSE(probe->Changed());

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
    probe->Changed(false);
    EXPECT_FALSE(probe->Changed());
}

TEST_F(ProbeTest, ValueFormatIsOneOrPerIndex) {
    IConversion& cvd = Select(kConvCVD);
    const int32_t first = 0;  // a literal 0 would also convert to a format text
    EXPECT_EQ(cvd.ValueFormat(first), "##0.0000");
    EXPECT_EQ(cvd.ValueFormat(1), "0.000000000");
    cvd.ValueFormat("0.0000000E-00");  // one format for all indexes
    for (int32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(cvd.ValueFormat(i), "0.0000000E-00");
    }
    cvd.ValueFormat(2, "0.0000");
    EXPECT_EQ(cvd.ValueFormat(2), "0.0000");
    EXPECT_EQ(cvd.ValueFormat(3), "0.0000000E-00");
    EXPECT_EQ(cvd.ValueFormat(), "0.0000000E-00");
    EXPECT_EQ(test::Raised([&] { cvd.ValueFormat(4); }).Number(), kErrSubscriptOutOfRange);
    EXPECT_EQ(test::Raised([&] { cvd.ValueFormat(-1, "0"); }).Number(), kErrSubscriptOutOfRange);
}

TEST_F(ProbeTest, RangeNumberPicksTheCoefficientCount) {
    IConversionRange& high = Select(kConvITS90).HighRange();
    high.Coefficients(0, 1e-4);
    high.Coefficients(1, 2e-5);
    high.Coefficients(3, 3e-6);
    high.Range(7);
    ASSERT_EQ(high.NumCoefficients(), 3);
    EXPECT_EQ(high.Coefficients(0), 1e-4);  // leading values survive
    EXPECT_EQ(high.Coefficients(1), 2e-5);
    high.Range(11);
    EXPECT_EQ(high.NumCoefficients(), 1);
    high.Range(6);
    ASSERT_EQ(high.NumCoefficients(), 4);
    EXPECT_EQ(high.Coefficients(3), 0.0);  // the dropped d does not come back
    IConversionRange& low = probe->ActiveConversion().LowRange();
    low.Range(1);
    EXPECT_EQ(low.NumCoefficients(), 7);
    // The way a channel pins a range: limits first, then the range.
    high.MinRange(7);
    high.MaxRange(7);
    high.Range(7);
    EXPECT_EQ(high.MinRange(), 7);
    EXPECT_EQ(high.NumCoefficients(), 3);
    // -1: the range is not in use, and has no coefficients.
    high.Range(-1);
    EXPECT_EQ(high.NumCoefficients(), 0);
}

TEST_F(ProbeTest, BadInputIsRefusedAndNothingIsLost) {
    IConversion& its = Select(kConvITS90);
    its.RTPW(25.5);
    its.HighRange().Coefficients(0, 1e-4);
    probe->Changed(false);
    EXPECT_EQ(test::Raised([&] { its.HighRange().Range(12); }).Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { its.HighRange().Range(-2); }).Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { its.RTPW(std::nan("")); }).Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { its.HighRange().Coefficients(0, INFINITY); }).Number(),
              kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { its.HighRange().Coefficients(4, 1.0); }).Number(),
              kErrSubscriptOutOfRange);
    EXPECT_EQ(test::Raised([&] { its.TCType(13); }).Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { probe->ConversionType(21); }).Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { probe->ConversionType(-2); }).Number(), kErrInvalidProcedureCall);
    EXPECT_EQ(test::Raised([&] { probe->ConversionOf(99); }).Number(), kErrInvalidProcedureCall);
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
