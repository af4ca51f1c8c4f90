#include "components/probes/TemperatureMath.h"

#include <array>
#include <cmath>

#include "components/probes/MathSupport.h"
#include "vesk4710/platform/IProbe.h"

namespace vesk::probes {

using detail::Fail;
using detail::Num;
using detail::Poly;
using detail::RequireFinite;
using detail::Solve;

namespace {

// Readings a hair beyond the scale's ends (rounding of the defining values) still convert.
constexpr double kEdge = 1e-3;

// ITS-90 reference-function constants.
constexpr std::array<double, 13> kA = {
    -2.13534729, 3.18324720, -1.80143597, 0.71727204, 0.50344027, -0.61899395, -0.05332322,
    0.28021362,  0.10715224, -0.29302865, 0.04459872, 0.11868632, -0.05248134};
constexpr std::array<double, 16> kB = {0.183324722,  0.240975303,  0.209108771, 0.190439972,
                                       0.142648498,  0.077993465,  0.012475611, -0.032267127,
                                       -0.075291522, -0.056470670, 0.076201285, 0.123893204,
                                       -0.029201193, -0.091173542, 0.001317696, 0.026025526};
constexpr std::array<double, 10> kC = {2.78157254,  1.64650916, -0.13714390, -0.00649767,
                                       -0.00234444, 0.00511868, 0.00187982,  -0.00204472,
                                       -0.00046122, 0.00045724};
constexpr std::array<double, 10> kD = {439.932854, 472.418020, 37.684494, 7.472018, 2.920828,
                                       0.005184,   -0.963864,  -0.188732, 0.191203, 0.049025};

double At(std::span<const double> c, size_t i) {
    return i < c.size() ? c[i] : 0.0;
}

// ln Wr and its slope in T, low range.
void LowLnWr(double kelvin, double& value, double& slope) {
    const double x = (std::log(kelvin / kIts90TpwK) + 1.5) / 1.5;
    double dx = 0;
    Poly(kA, x, value, dx);
    slope = dx / (1.5 * kelvin);
}

void HighWr(double kelvin, double& value, double& slope) {
    const double y = (kelvin - 754.15) / 481.0;
    double dy = 0;
    Poly(kC, y, value, dy);
    slope = dy / 481.0;
}

void CheckKelvin(double kelvin) {
    RequireFinite(kelvin, "The temperature");
    if (kelvin < kIts90LowestK - kEdge || kelvin > kIts90HighestK + kEdge) {
        Fail("The temperature " + Num(kelvin - kKelvinOffset) +
             " degC is outside the ITS-90 platinum resistance range (-259.3467 to 961.78 degC)");
    }
}

// The thermometer's own W at the aluminium point, for the subrange 6 d term.
double WAtAluminium(std::span<const double> c) {
    const double wr = Its90WrHigh(kIts90AlPointK);
    double w = wr;
    for (int i = 0; i < 100; ++i) {
        const double u = w - 1;
        const double f = w - (At(c, 0) * u + At(c, 1) * u * u + At(c, 2) * u * u * u) - wr;
        const double df = 1 - (At(c, 0) + 2 * At(c, 1) * u + 3 * At(c, 2) * u * u);
        const double next = w - f / df;
        if (std::abs(next - w) < 1e-15) {
            return next;
        }
        w = next;
    }
    return w;
}

void CheckRange(int32_t range, bool low) {
    if (low ? !Its90SubrangeCoversLow(range) : !Its90SubrangeCoversHigh(range)) {
        Fail(std::string("ITS-90 subrange ") + Num(range) + " does not cover temperatures " +
             (low ? "below" : "above") + " the triple point of water");
    }
}

double DeviationFor(const ConversionSpec& spec, double w) {
    const bool low = w < 1.0;
    const int32_t range = low ? spec.lowRange : spec.highRange;
    CheckRange(range, low);
    return Its90Deviation(range, low ? spec.low : spec.high, w);
}

void RequireRtpw(double rtpw) {
    RequireFinite(rtpw, "RTPW");
    if (rtpw <= 0) {
        Fail("RTPW must be greater than zero (it is " + Num(rtpw) + ")");
    }
}

CvdCoefficients CvdOf(const ConversionSpec& spec) {
    const auto& c = spec.coefficients;
    for (double v : c) {
        RequireFinite(v, "A Callendar-Van Dusen coefficient");
    }
    if (c.size() < 4) {
        Fail("Callendar-Van Dusen needs four coefficients (R0, A, B, C)");
    }
    if (spec.usePolynomial) {
        return CvdFromAlphaDeltaBeta(c[0], c[1], c[2], c[3]);
    }
    return CvdCoefficients{c[0], c[1], c[2], c[3]};
}

CvdCoefficients Pt100Of(const ConversionSpec& spec) {
    CvdCoefficients k;
    if (!spec.coefficients.empty()) {
        k.r0 = spec.coefficients[0];
    }
    RequireFinite(k.r0, "PT100 R0");
    return k;
}

}  // namespace

// ---------------- ITS-90 ----------------

double Its90WrLow(double kelvin) {
    double v = 0, s = 0;
    LowLnWr(kelvin, v, s);
    return std::exp(v);
}

double Its90WrHigh(double kelvin) {
    double v = 0, s = 0;
    HighWr(kelvin, v, s);
    return v;
}

double Its90Wr(double kelvin) {
    CheckKelvin(kelvin);
    return kelvin < kIts90TpwK ? Its90WrLow(kelvin) : Its90WrHigh(kelvin);
}

double Its90KelvinLowApprox(double wr) {
    double v = 0, s = 0;
    Poly(kB, (std::pow(wr, 1.0 / 6.0) - 0.65) / 0.35, v, s);
    return v * kIts90TpwK;
}

double Its90KelvinHighApprox(double wr) {
    double v = 0, s = 0;
    Poly(kD, (wr - 2.64) / 1.64, v, s);
    return v + kKelvinOffset;
}

double Its90KelvinFromWr(double wr) {
    RequireFinite(wr, "The resistance ratio");
    const std::string outside =
        "The resistance ratio W = " + Num(wr) + " is outside the ITS-90 platinum resistance range";
    if (wr <= 0) {
        Fail(outside);
    }
    if (wr < 1.0) {
        // Solve in ln Wr, which is what the low-range function is written in.
        auto f = [](double t, double& v, double& s) { LowLnWr(t, v, s); };
        return Solve(f, std::log(wr), kIts90LowestK - kEdge, kIts90TpwK, Its90KelvinLowApprox(wr),
                     1e-10, outside);
    }
    auto f = [](double t, double& v, double& s) { HighWr(t, v, s); };
    return Solve(f, wr, kIts90TpwK - 0.01, kIts90HighestK + kEdge, Its90KelvinHighApprox(wr), 1e-10,
                 outside);
}

int32_t Its90CoefficientCount(int32_t subrange) {
    switch (subrange) {
        case 0:
            return 0;
        case 1:
            return 7;  // a, b, c1..c5
        case 2:
            return 5;  // a, b, c1..c3
        case 3:
            return 3;  // a, b, c1
        case 4:
        case 5:
        case 8:
        case 9:
            return 2;
        case 6:
            return 4;  // a, b, c, d
        case 7:
            return 3;
        case 10:
        case 11:
            return 1;
        default:
            return -1;
    }
}

bool Its90SubrangeCoversLow(int32_t subrange) {
    return subrange >= 0 && subrange <= 5;
}
bool Its90SubrangeCoversHigh(int32_t subrange) {
    return subrange == 0 || (subrange >= 5 && subrange <= 11);
}

double Its90Deviation(int32_t subrange, std::span<const double> c, double w) {
    const double u = w - 1;
    const double a = At(c, 0), b = At(c, 1);
    switch (subrange) {
        case 0:
            return 0;
        case 1:
        case 2:
        case 3: {
            // a(W-1) + b(W-1)^2 + sum ci (ln W)^(i+n); n = 2, 0, 1 with 5, 3, 1 terms.
            const int n = subrange == 1 ? 2 : (subrange == 2 ? 0 : 1);
            const int terms = subrange == 1 ? 5 : (subrange == 2 ? 3 : 1);
            const double lw = std::log(w);
            double sum = a * u + b * u * u;
            for (int i = 1; i <= terms; ++i) {
                sum += At(c, static_cast<size_t>(i + 1)) * std::pow(lw, i + n);
            }
            return sum;
        }
        case 4:
            return a * u + b * u * std::log(w);
        case 5:
        case 8:
        case 9:
            return a * u + b * u * u;
        case 6:
        case 7: {
            double sum = a * u + b * u * u + At(c, 2) * u * u * u;
            if (subrange == 6 && At(c, 3) != 0) {
                // d corrects only above the aluminium point, measured on this thermometer.
                const double w660 = WAtAluminium(c);
                if (w > w660) {
                    sum += At(c, 3) * (w - w660) * (w - w660);
                }
            }
            return sum;
        }
        case 10:
        case 11:
            return a * u;
        default:
            Fail("ITS-90 subrange " + Num(subrange) + " does not exist (1 to 11)");
    }
}

double Its90W(const ConversionSpec& spec, double kelvin) {
    const double wr = Its90Wr(kelvin);
    for (double v : kelvin < kIts90TpwK ? spec.low : spec.high) {
        RequireFinite(v, "An ITS-90 deviation coefficient");
    }
    // W - dW(W) = Wr; dW is small, so Newton from Wr converges in a few steps.
    double w = wr;
    for (int i = 0; i < 100; ++i) {
        const double h = 1e-7;
        const double f = w - DeviationFor(spec, w) - wr;
        const double wp = w + h, wm = w - h;
        const double df = 1 - (Its90Deviation(wp < 1 ? spec.lowRange : spec.highRange,
                                              wp < 1 ? spec.low : spec.high, wp) -
                               Its90Deviation(wm < 1 ? spec.lowRange : spec.highRange,
                                              wm < 1 ? spec.low : spec.high, wm)) /
                                  (2 * h);
        if (!(df > 0)) {
            break;
        }
        const double next = w - f / df;
        if (std::abs(next - w) < 1e-14) {
            return next;
        }
        w = next;
    }
    Fail("The ITS-90 deviation coefficients give no resistance ratio at " +
         Num(kelvin - kKelvinOffset) + " degC");
}

double Its90KelvinFromW(const ConversionSpec& spec, double w) {
    RequireFinite(w, "The resistance ratio");
    if (w <= 0) {
        Fail("The resistance ratio W = " + Num(w) + " must be greater than zero");
    }
    for (double v : w < 1 ? spec.low : spec.high) {
        RequireFinite(v, "An ITS-90 deviation coefficient");
    }
    return Its90KelvinFromWr(w - DeviationFor(spec, w));
}

// ---------------- Callendar-Van Dusen ----------------

CvdCoefficients CvdFromAlphaDeltaBeta(double r0, double alpha, double delta, double beta) {
    return CvdCoefficients{r0, alpha * (1 + delta / 100.0), -alpha * delta / 1e4,
                           -alpha * beta / 1e8};
}

namespace {
void CvdValue(const CvdCoefficients& k, double t, double& r, double& slope) {
    r = k.r0 * (1 + k.a * t + k.b * t * t);
    slope = k.r0 * (k.a + 2 * k.b * t);
    if (t < 0) {
        r += k.r0 * k.c * (t - 100) * t * t * t;
        slope += k.r0 * k.c * (4 * t * t * t - 300 * t * t);
    }
}
}  // namespace

double CvdResistance(const CvdCoefficients& k, double celsius) {
    RequireFinite(celsius, "The temperature");
    if (!(k.r0 > 0)) {
        Fail("R0 must be greater than zero (it is " + Num(k.r0) + ")");
    }
    if (celsius < kCvdLowestC - 1e-9 || celsius > kCvdHighestC + 1e-9) {
        Fail("The temperature " + Num(celsius) +
             " degC is outside the platinum resistance range (-200 to 850 degC)");
    }
    double r = 0, s = 0;
    CvdValue(k, celsius, r, s);
    return r;
}

double CvdTemperature(const CvdCoefficients& k, double ohms) {
    RequireFinite(ohms, "The resistance");
    if (!(k.r0 > 0)) {
        Fail("R0 must be greater than zero (it is " + Num(k.r0) + ")");
    }
    const std::string outside = "The resistance " + Num(ohms) +
                                " ohm is outside the platinum resistance range (-200 to 850 degC)";
    auto f = [&k](double t, double& v, double& s) { CvdValue(k, t, v, s); };
    if (ohms >= k.r0) {
        // Closed form above 0 degC; C does not apply there.
        double t = 0;
        if (k.b == 0) {
            t = (ohms / k.r0 - 1) / k.a;
        } else {
            const double disc = k.a * k.a - 4 * k.b * (1 - ohms / k.r0);
            if (disc < 0) {
                Fail(outside);
            }
            t = (-k.a + std::sqrt(disc)) / (2 * k.b);
        }
        if (!std::isfinite(t) || t > kCvdHighestC + 1e-9 || t < 0) {
            return Solve(f, ohms, 0, kCvdHighestC, 0.5 * kCvdHighestC, 1e-11, outside);
        }
        return t;
    }
    return Solve(f, ohms, kCvdLowestC, 0, (ohms / k.r0 - 1) / k.a, 1e-11, outside);
}

// ---------------- Thermistor ----------------

namespace {
void CheckThermistor(std::span<const double> b) {
    for (double v : b) {
        RequireFinite(v, "A thermistor coefficient");
    }
    if (b.size() < 2) {
        Fail("The thermistor R(T) conversion needs the coefficients B0 to B3");
    }
}

void LnR(std::span<const double> b, double kelvin, double& v, double& s) {
    const double u = 1 / kelvin;
    v = At(b, 0) + u * (At(b, 1) + u * (At(b, 2) + u * At(b, 3)));
    const double dvdu = At(b, 1) + u * (2 * At(b, 2) + u * 3 * At(b, 3));
    s = -dvdu * u * u;
}
}  // namespace

double ThermistorResistance(std::span<const double> b, double celsius) {
    RequireFinite(celsius, "The temperature");
    CheckThermistor(b);
    if (celsius <= -kKelvinOffset) {
        Fail("The temperature " + Num(celsius) + " degC is below absolute zero");
    }
    double v = 0, s = 0;
    LnR(b, celsius + kKelvinOffset, v, s);
    const double r = std::exp(v);
    if (!std::isfinite(r)) {
        Fail("The thermistor resistance at " + Num(celsius) + " degC is out of range");
    }
    return r;
}

double ThermistorTemperature(std::span<const double> b, double ohms) {
    RequireFinite(ohms, "The resistance");
    CheckThermistor(b);
    const std::string outside =
        "The resistance " + Num(ohms) + " ohm is outside the thermistor's range (-100 to 400 degC)";
    if (ohms <= 0) {
        Fail(outside);
    }
    const double target = std::log(ohms);
    // Start from the beta model: 1/T = (ln R - B0) / B1.
    const double guess = At(b, 1) != 0 ? At(b, 1) / (target - At(b, 0)) : 0.0;
    auto f = [b](double t, double& v, double& s) { LnR(b, t, v, s); };
    return Solve(f, target, kThermistorLowestC + kKelvinOffset, kThermistorHighestC + kKelvinOffset,
                 guess, 1e-11, outside) -
           kKelvinOffset;
}

// ---------------- Conversion dispatch ----------------

ConversionSpec SpecFrom(IConversion& conversion, int32_t type) {
    ConversionSpec spec;
    spec.type = type;
    spec.tcType = conversion.TCType();
    spec.rtpw = conversion.RTPW();
    spec.usePolynomial = conversion.UsePolynomial();
    const int32_t n = conversion.NumCoefficients();
    for (int32_t i = 0; i < n; ++i) {
        spec.coefficients.push_back(conversion.Coefficients(i));
    }
    IConversionRange& low = conversion.LowRange();
    IConversionRange& high = conversion.HighRange();
    spec.lowRange = low.Range();
    spec.highRange = high.Range();
    for (int32_t i = 0; i < low.NumCoefficients(); ++i) {
        spec.low.push_back(low.Coefficients(i));
    }
    for (int32_t i = 0; i < high.NumCoefficients(); ++i) {
        spec.high.push_back(high.Coefficients(i));
    }
    return spec;
}

namespace {
[[noreturn]] void NoConversion(int32_t type) {
    Fail("Conversion type " + Num(type) + " has no temperature conversion");
}
}  // namespace

double RawFromTemperature(const ConversionSpec& spec, double celsius) {
    RequireFinite(celsius, "The temperature");
    switch (spec.type) {
        case kConvITS90:
        case kConvITS90Subrange5:
            RequireRtpw(spec.rtpw);
            return spec.rtpw * Its90W(spec, celsius + kKelvinOffset);
        case kConvCVD:
            return CvdResistance(CvdOf(spec), celsius);
        case kConvPT100:
            return CvdResistance(Pt100Of(spec), celsius);
        case kConvThermistorRT:
            return ThermistorResistance(spec.coefficients, celsius);
        case kConvThermocouple: {
            double emf = ThermocoupleEmf(spec.tcType, celsius);
            double power = 1;
            for (double c : spec.coefficients) {
                RequireFinite(c, "A thermocouple deviation coefficient");
                emf += c * power;
                power *= celsius;
            }
            return emf;
        }
        case kConvOhms:
        case kConvVolts:
        case kConvThermistorOhms:
            return celsius;
        default:
            NoConversion(spec.type);
    }
}

double TemperatureFromRaw(const ConversionSpec& spec, double raw) {
    RequireFinite(raw, "The raw reading");
    switch (spec.type) {
        case kConvITS90:
        case kConvITS90Subrange5:
            RequireRtpw(spec.rtpw);
            return Its90KelvinFromW(spec, raw / spec.rtpw) - kKelvinOffset;
        case kConvCVD:
            return CvdTemperature(CvdOf(spec), raw);
        case kConvPT100:
            return CvdTemperature(Pt100Of(spec), raw);
        case kConvThermistorRT:
            return ThermistorTemperature(spec.coefficients, raw);
        case kConvThermocouple:
            return ThermocoupleTemperature(spec.tcType, raw, spec.coefficients);
        case kConvOhms:
        case kConvVolts:
        case kConvThermistorOhms:
            return raw;
        default:
            NoConversion(spec.type);
    }
}

}  // namespace vesk::probes
