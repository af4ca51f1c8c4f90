// Temperature math against published tables, calibration use and round trips.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "components/probes/TemperatureMath.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::probes {
namespace {

constexpr double kTenthMilliKelvin = 1e-4;

// Runs fn and expects an AutomationError 5 whose text contains `needle`.
void ExpectInvalid(const std::function<void()>& fn, const std::string& needle = {}) {
    const AutomationError e = test::Raised(fn);
    EXPECT_EQ(e.Number(), kErrInvalidProcedureCall);
    EXPECT_NE(e.Description().find(needle), std::string::npos) << e.Description();
}

// Gauss-Jordan elimination for the small, well-conditioned calibration systems below.
std::vector<double> SolveLinear(std::vector<std::vector<double>> m, std::vector<double> x) {
    const size_t n = x.size();
    for (size_t col = 0; col < n; ++col) {
        for (size_t r = 0; r < n; ++r) {
            const double f = r == col ? 0.0 : m[r][col] / m[col][col];
            for (size_t c = col; c < n; ++c) {
                m[r][c] -= f * m[col][c];
            }
            x[r] -= f * x[col];
        }
    }
    for (size_t i = 0; i < n; ++i) {
        x[i] /= m[i][i];
    }
    return x;
}

ConversionSpec Conv(int32_t type, std::vector<double> coefficients = {}) {
    return {.type = type, .coefficients = std::move(coefficients)};
}

// The largest error of temperature -> raw -> temperature over [from, to].
double WorstRoundTrip(const ConversionSpec& s, double from, double to, double step) {
    double worst = 0;
    for (double t = from; t <= to; t += step) {
        worst = std::max(worst, std::abs(TemperatureFromRaw(s, RawFromTemperature(s, t)) - t));
    }
    return worst;
}

struct FixedPoint {
    double kelvin, wr;
};
// Defining fixed points with their reference ratios.
const FixedPoint kFixedPoints[] = {
    {13.8033, 0.00119007},  {24.5561, 0.00844974}, {54.3584, 0.09171804},  {83.8058, 0.21585975},
    {234.3156, 0.84414211}, {273.16, 1.00000000},  {302.9146, 1.11813889}, {429.7485, 1.60980185},
    {505.078, 1.89279768},  {692.677, 2.56891730}, {933.473, 3.37600860},  {1234.93, 4.28642053}};

TEST(Its90Reference, ReproducesFixedPointRatiosAndInvertsExactly) {
    for (const auto& p : kFixedPoints) {
        EXPECT_NEAR(Its90Wr(p.kelvin), p.wr, 1.5e-8) << p.kelvin << " K";
        // The ratios are printed to 1e-8, which near 14 K is worth 8 uK.
        EXPECT_NEAR(Its90KelvinFromWr(p.wr), p.kelvin, 1e-5) << p.kelvin << " K";
    }
    // Between the fixed points, on both sides of the triple point of water.
    EXPECT_NEAR(Its90Wr(150), 0.498397724, 1e-9);
    EXPECT_NEAR(Its90Wr(350), 1.302905075, 1e-9);
    EXPECT_NEAR(Its90Wr(800), 2.937269575, 1e-9);
    for (double t = kIts90LowestK; t <= kIts90HighestK; t += 0.731) {
        EXPECT_NEAR(Its90KelvinFromWr(Its90Wr(t)), t, 1e-7) << t;
    }
    EXPECT_NEAR(Its90KelvinFromWr(Its90Wr(kIts90HighestK)), kIts90HighestK, 1e-7);
}

constexpr double kRtpw = 25.5;
constexpr double kArK = 83.8058, kHgK = 234.3156, kGaK = 302.9146, kSnK = 505.078, kZnK = 692.677,
                 kAlK = 933.473, kAgK = 1234.93;

ConversionSpec Its90Spec(int32_t type, int32_t lowRange, std::vector<double> low, int32_t highRange,
                         std::vector<double> high) {
    return {.type = type,
            .rtpw = kRtpw,
            .low = std::move(low),
            .high = std::move(high),
            .lowRange = lowRange,
            .highRange = highRange};
}

double Celsius(double kelvin) {
    return kelvin - kKelvinOffset;
}

TEST(Its90Calibration, Subranges4And5ReadTheirFixedPoints) {
    const double wAr = Its90Wr(kArK) + 3.1e-5, wHg = Its90Wr(kHgK) - 0.8e-5;
    auto row4 = [](double w) { return std::vector<double>{w - 1, (w - 1) * std::log(w)}; };
    const auto ab = SolveLinear({row4(wAr), row4(wHg)}, {wAr - Its90Wr(kArK), wHg - Its90Wr(kHgK)});
    const auto r4 = Its90Spec(kConvITS90, 4, ab, 6, {0, 0, 0, 0});
    EXPECT_NEAR(TemperatureFromRaw(r4, wAr * kRtpw), Celsius(kArK), 1e-6);
    EXPECT_NEAR(TemperatureFromRaw(r4, wHg * kRtpw), Celsius(kHgK), 1e-6);
    EXPECT_NEAR(RawFromTemperature(r4, Celsius(kArK)), wAr * kRtpw, 1e-8);
    // The two reference functions meet at the triple point within 1.2 uK.
    EXPECT_NEAR(TemperatureFromRaw(r4, kRtpw), 0.01, 2e-6);

    // Subrange 5 spans the triple point.
    const double wHg5 = Its90Wr(kHgK) - 2e-5, wGa = Its90Wr(kGaK) + 1.5e-5;
    auto row5 = [](double w) { return std::vector<double>{w - 1, std::pow(w - 1, 2)}; };
    const auto ab5 =
        SolveLinear({row5(wHg5), row5(wGa)}, {wHg5 - Its90Wr(kHgK), wGa - Its90Wr(kGaK)});
    const auto r5 = Its90Spec(kConvITS90, 5, ab5, 5, ab5);
    EXPECT_NEAR(TemperatureFromRaw(r5, wHg5 * kRtpw), Celsius(kHgK), 1e-6);
    EXPECT_NEAR(TemperatureFromRaw(r5, wGa * kRtpw), Celsius(kGaK), 1e-6);
}

TEST(Its90Calibration, Subrange7And6ReadTheirFixedPoints) {
    const double wSn = Its90Wr(kSnK) + 4e-5, wZn = Its90Wr(kZnK) + 7e-5, wAl = Its90Wr(kAlK) + 9e-5,
                 wAg = Its90Wr(kAgK) + 1.6e-4;
    // Subrange 7 from Sn, Zn, Al; subrange 6 adds d from Ag.
    auto row = [](double w) {
        return std::vector<double>{w - 1, std::pow(w - 1, 2), std::pow(w - 1, 3)};
    };
    const auto abc = SolveLinear({row(wSn), row(wZn), row(wAl)},
                                 {wSn - Its90Wr(kSnK), wZn - Its90Wr(kZnK), wAl - Its90Wr(kAlK)});
    const double u = wAg - 1;
    const double d = (wAg - Its90Wr(kAgK) - (abc[0] * u + abc[1] * u * u + abc[2] * u * u * u)) /
                     std::pow(wAg - wAl, 2);
    const auto r7 = Its90Spec(kConvITS90Subrange5, 4, {0, 0}, 7, abc);
    const auto r6 = Its90Spec(kConvITS90, 4, {0, 0}, 6, {abc[0], abc[1], abc[2], d});
    // d acts above the aluminium point only.
    for (auto [w, k] : {std::pair{wSn, kSnK}, {wZn, kZnK}, {wAl, kAlK}}) {
        EXPECT_NEAR(TemperatureFromRaw(r7, w * kRtpw), Celsius(k), 1e-6);
        EXPECT_NEAR(TemperatureFromRaw(r6, w * kRtpw), Celsius(k), 1e-6);
    }
    EXPECT_NEAR(TemperatureFromRaw(r6, wAg * kRtpw), Celsius(kAgK), 1e-6);
    EXPECT_NEAR(RawFromTemperature(r6, Celsius(kAgK)), wAg * kRtpw, 1e-8);
}

TEST(Its90Calibration, RoundTripsWithinATenthOfAMillikelvinAndRefusesWhatItCannotConvert) {
    const auto s0 = Its90Spec(kConvITS90, 4, {-1.2e-4, 3.4e-5}, 6, {-2.1e-4, 1.3e-5, -4e-6, 2e-5});
    const auto s17 = Its90Spec(kConvITS90Subrange5, 4, {2e-4, -1e-5}, 7, {1.1e-4, -2e-5, 3e-6});
    EXPECT_LT(WorstRoundTrip(s0, Celsius(kArK), 961.78, 0.613), kTenthMilliKelvin);
    EXPECT_LT(WorstRoundTrip(s17, Celsius(kArK), 660.323, 0.613), kTenthMilliKelvin);

    const auto spec = Its90Spec(kConvITS90, 4, {0, 0}, 6, {0, 0, 0, 0});
    for (double celsius : {1000.0, -260.0}) {
        ExpectInvalid([&] { RawFromTemperature(spec, celsius); }, "outside");
    }
    ExpectInvalid([&] { TemperatureFromRaw(spec, 4.3 * kRtpw); }, "outside");
    ExpectInvalid([&] { TemperatureFromRaw(spec, -1.0); });
    ExpectInvalid([&] { TemperatureFromRaw(spec, std::nan("")); }, "finite");
    auto zeroRtpw = spec;
    zeroRtpw.rtpw = 0;
    ExpectInvalid([&] { TemperatureFromRaw(zeroRtpw, 10.0); }, "RTPW");
    // A high-temperature subrange cannot serve below the triple point, nor the reverse.
    auto wrongLow = Its90Spec(kConvITS90, 7, {0, 0, 0}, 6, {0, 0, 0, 0});
    ExpectInvalid([&] { RawFromTemperature(wrongLow, -50.0); }, "subrange 7");
    EXPECT_NO_THROW(RawFromTemperature(wrongLow, 50.0));
    auto wrongHigh = Its90Spec(kConvITS90, 4, {0, 0}, 3, {0, 0, 0});
    ExpectInvalid([&] { TemperatureFromRaw(wrongHigh, 1.5 * kRtpw); }, "subrange 3");
}

struct Reading {
    double celsius, value;
};

TEST(PlatinumResistance, Pt100MatchesThePublishedTableWithinItsRange) {
    const Reading table[] = {{-200, 18.5201}, {-100, 60.2558}, {0, 100.0},      {100, 138.5055},
                             {200, 175.8560}, {400, 247.0920}, {600, 313.7080}, {850, 390.4811}};
    const auto pt100 = Conv(kConvPT100, {100.0});
    for (auto [t, r] : table) {
        EXPECT_NEAR(RawFromTemperature(pt100, t), r, 5e-5) << t;
        EXPECT_NEAR(TemperatureFromRaw(pt100, r), t, 2e-4) << t;
    }
    // A Pt1000 scales.
    EXPECT_NEAR(RawFromTemperature(Conv(kConvPT100, {1000.0}), 100), 1385.055, 5e-4);
    for (auto [t, r] : {Reading{-210, 10.0}, {900, 400.0}}) {
        ExpectInvalid([&] { RawFromTemperature(pt100, t); }, "outside");
        ExpectInvalid([&] { TemperatureFromRaw(pt100, r); }, "outside");
    }
}

TEST(PlatinumResistance, CvdFormsAgreeWithTheStandardRoundTripAndNeedAFullSet) {
    const CvdCoefficients iec;
    ConversionSpec abc = Conv(kConvCVD, {100.0, iec.a, iec.b, iec.c});
    abc.usePolynomial = false;
    // alpha = A + 100 B, delta and beta from the same standard constants.
    const double alpha = iec.a + 100 * iec.b;
    ConversionSpec adb = Conv(kConvCVD, {100.0, alpha, -1e4 * iec.b / alpha, -1e8 * iec.c / alpha});
    adb.usePolynomial = true;
    for (double t = -200; t <= 850; t += 12.5) {
        const double expected = CvdResistance(iec, t);
        EXPECT_NEAR(RawFromTemperature(abc, t), expected, 1e-9) << t;
        EXPECT_NEAR(RawFromTemperature(adb, t), expected, 1e-9) << t;
    }
    EXPECT_NEAR(RawFromTemperature(abc, 100), 138.5055, 5e-5);
    // An incomplete set or a zero R0 is refused.
    const auto partial = Conv(kConvCVD, {100.0, 0.00385});
    const auto noR0 = Conv(kConvCVD, {0.0, 0.00385, 1.507, 0.111});
    ExpectInvalid([&] { RawFromTemperature(partial, 10); }, "four coefficients");
    ExpectInvalid([&] { TemperatureFromRaw(noR0, 100); }, "R0");
    // A typical calibrated probe, and the standard curve, round trip.
    EXPECT_LT(WorstRoundTrip(Conv(kConvCVD, {99.97, 0.00385, 1.507, 0.111}), -200, 850, 0.377),
              kTenthMilliKelvin);
    EXPECT_LT(WorstRoundTrip(Conv(kConvPT100, {100.0}), -200, 850, 0.377), kTenthMilliKelvin);
}

TEST(Thermistor, ConvertsRoundTripsAndRefusesImpossibleReadings) {
    // ln R = B0 + B1/T + ... fitted to a common 10 kOhm part reproduces the part's table.
    const auto fitted = Conv(kConvThermistorRT, {-5.037212, 4.462261e3, -2.401645e4, -1.189430e7});
    for (auto [t, r] : {Reading{0.0, 32650.4}, {25.0, 9999.9}, {50.0, 3601.0}, {100.0, 678.4}}) {
        EXPECT_NEAR(RawFromTemperature(fitted, t) / r, 1.0, 1e-4) << t;
        EXPECT_NEAR(TemperatureFromRaw(fitted, r), t, 2e-3) << t;
    }
    const auto beta = Conv(kConvThermistorRT, {-4.0, 4000.0, 0.0, 0.0});
    EXPECT_LT(WorstRoundTrip(fitted, -50, 150, 0.193), kTenthMilliKelvin);
    EXPECT_LT(WorstRoundTrip(beta, -50, 150, 0.193), kTenthMilliKelvin);
    // Resistance falls with temperature; impossible readings are refused.
    EXPECT_GT(RawFromTemperature(beta, 0), RawFromTemperature(beta, 10));
    for (double ohms : {0.0, -5.0, 1e30}) {
        ExpectInvalid([&] { TemperatureFromRaw(beta, ohms); }, "outside");
    }
    ExpectInvalid([&] { RawFromTemperature(beta, -300); }, "absolute zero");
    ExpectInvalid([&] { RawFromTemperature(Conv(kConvThermistorRT), 25); }, "B0");
}

int32_t Index(char letter) {
    for (int32_t i = 0; i < kThermocoupleTypeCount; ++i) {
        if (ThermocoupleLetter(i) == std::string(1, letter)) {
            return i;
        }
    }
    return -1;
}

struct Emf {
    char letter;
    double celsius, mv;
};

TEST(Thermocouple, MatchesPublishedTableValuesAndJoinsPiecesContinuously) {
    const Emf table[] = {
        {'B', 350, 0.596},     {'E', 350, 24.964},  {'J', 350, 19.090},  {'K', 350, 14.293},
        {'N', 350, 11.136},    {'R', 350, 2.896},   {'S', 350, 2.786},   {'T', 350, 17.819},
        {'T', -270, -6.258},   {'T', -260, -6.232}, {'T', -250, -6.180}, {'T', -200, -5.603},
        {'T', -100, -3.379},   {'T', -50, -1.819},  {'T', -40, -1.475},  {'K', 1372, 54.886},
        {'K', 500, 20.644},    {'J', 1200, 69.553}, {'E', 1000, 76.373}, {'N', 1300, 47.513},
        {'R', 1768.1, 21.103}, {'B', 1820, 13.820}, {'T', 400, 20.872},  {'B', 0, 0},
        {'E', 0, 0},           {'J', 0, 0},         {'K', 0, 0},         {'N', 0, 0},
        {'R', 0, 0},           {'S', 0, 0},         {'T', 0, 0}};
    for (const Emf& e : table) {
        EXPECT_NEAR(ThermocoupleEmf(Index(e.letter), e.celsius), e.mv, e.mv == 0 ? 1e-8 : 6e-4)
            << e.letter << " " << e.celsius;
    }
    const Emf joins[] = {{'J', 760.0},   {'K', 0.0},    {'R', 1064.18}, {'R', 1664.5},
                         {'S', 1064.18}, {'S', 1664.5}, {'B', 630.615}, {'E', 0.0}};
    for (const Emf& j : joins) {
        const int32_t i = Index(j.letter);
        EXPECT_NEAR(ThermocoupleEmf(i, j.celsius - 1e-9), ThermocoupleEmf(i, j.celsius + 1e-9),
                    1e-7)
            << j.letter;
    }
}

TEST(Thermocouple, RoundTripsWithinATenthOfAMillikelvinWithDeviation) {
    for (const char* l = "BEJKNRST"; *l; ++l) {
        ConversionSpec s = Conv(kConvThermocouple);
        s.tcType = Index(*l);
        const double lo = *l == 'B' ? 50.0 : ThermocoupleLowestC(s.tcType);
        const double hi = ThermocoupleHighestC(s.tcType);
        for (const auto& dev :
             {std::vector<double>{0, 0, 0, 0}, std::vector<double>{0.002, -1e-5, 2e-9, -1e-12}}) {
            s.coefficients = dev;
            EXPECT_LT(WorstRoundTrip(s, lo, hi, (hi - lo) / 997), kTenthMilliKelvin) << *l;
            // The deviation adds to the reference emf.
            EXPECT_NEAR(RawFromTemperature(s, 300) - ThermocoupleEmf(s.tcType, 300),
                        dev[0] + dev[1] * 300 + dev[2] * 9e4 + dev[3] * 2.7e7, 1e-12)
                << *l;
        }
    }
}

TEST(Thermocouple, LettersWithoutReferenceFunctionsAreRefused) {
    ConversionSpec s = Conv(kConvThermocouple);
    for (char l : {'C', 'L', 'M', 'U'}) {
        s.tcType = Index(l);
        EXPECT_FALSE(ThermocoupleHasReference(s.tcType));
        ExpectInvalid([&] { RawFromTemperature(s, 100); }, std::string("type ") + l);
        ExpectInvalid([&] { TemperatureFromRaw(s, 1.0); }, std::string("type ") + l);
    }
    s.tcType = 12;
    ExpectInvalid([&] { RawFromTemperature(s, 100); }, "index 12");
    s.tcType = Index('K');
    ExpectInvalid([&] { RawFromTemperature(s, 1400); }, "outside");
    ExpectInvalid([&] { TemperatureFromRaw(s, 60.0); }, "outside");
    ExpectInvalid([&] { ThermocoupleTemperatureApprox(s.tcType, -6.0); }, "outside");
}

TEST(ConversionTypes, OhmsAndVoltsPassTheRawValueThroughOthersHaveNoMath) {
    for (int32_t type : {kConvOhms, kConvVolts, kConvThermistorOhms}) {
        EXPECT_EQ(TemperatureFromRaw(Conv(type), 123.456), 123.456);
        EXPECT_EQ(RawFromTemperature(Conv(type), -0.5), -0.5);
    }
    for (int32_t type : {-1, 1, 3, 4, 5, 7, 8, 9, 12, 13, 14, 15, 16, 21, -2}) {
        ExpectInvalid([&] { TemperatureFromRaw(Conv(type), 100.0); }, "no temperature conversion");
        ExpectInvalid([&] { RawFromTemperature(Conv(type), 0.0); }, "no temperature conversion");
    }
}

}  // namespace
}  // namespace vesk::probes
