#pragma once
// Temperature math of the probe component: raw reading <-> temperature for every conversion
// type the instrument supports. Temperatures in degrees Celsius (ITS-90), resistances in ohms,
// thermocouple emf in millivolts. Bad input (out of range, non-finite, missing coefficients)
// raises vesk::AutomationError 5 with a text naming the problem.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vesk {
class IConversion;
}

namespace vesk::probes {

// Conversion type numbers the math handles.
inline constexpr int32_t kConvITS90 = 0;
inline constexpr int32_t kConvCVD = 2;
inline constexpr int32_t kConvThermistorRT = 6;
inline constexpr int32_t kConvOhms = 10;
inline constexpr int32_t kConvVolts = 11;
inline constexpr int32_t kConvITS90Subrange5 = 17;
inline constexpr int32_t kConvThermistorOhms = 18;
inline constexpr int32_t kConvPT100 = 19;
inline constexpr int32_t kConvThermocouple = 20;

inline constexpr double kKelvinOffset = 273.15;

// Snapshot of one coefficient set, decoupled from the probe objects.
// ITS-90 (0, 17): rtpw, lowRange/low (W < 1) and highRange/high (W >= 1). Range numbers are
//   the usual SPRT subranges: 4 = Ar..TPW (a4, b4), 6 = TPW..Ag (a, b, c, d), 7 = TPW..Al
//   (a, b, c). Type 0 starts at 4/6 and type 17 at 4/7; both run the same math.
// CVD (2): coefficients R0 and then alpha, delta, beta when usePolynomial (expanded into the
//   A, B, C polynomial), else A, B, C themselves.
// PT100 (19): coefficients R0 (IEC 60751 A, B, C).
// Thermistor (6): coefficients B0..B3 of ln R = B0 + B1/T + B2/T^2 + B3/T^3, T in kelvin.
// Thermocouple (20): tcType and the deviation C0..C3 (mV, t in Celsius) added to the reference.
// Ohms (10, 18) and Volts (11): raw is passed through.
struct ConversionSpec {
    int32_t type = -1;
    int32_t tcType = 4;
    double rtpw = 100.0;
    std::vector<double> coefficients;
    std::vector<double> low;
    std::vector<double> high;
    int32_t lowRange = 4;
    int32_t highRange = 6;
    bool usePolynomial = true;
};

ConversionSpec SpecFrom(IConversion& conversion, int32_t type);
double RawFromTemperature(const ConversionSpec& spec, double celsius);
double TemperatureFromRaw(const ConversionSpec& spec, double raw);

// ---- ITS-90 platinum resistance thermometer (T90 in kelvin) ----
inline constexpr double kIts90LowestK = 13.8033;
inline constexpr double kIts90TpwK = 273.16;
inline constexpr double kIts90HighestK = 1234.93;
inline constexpr double kIts90AlPointK = 933.473;

double Its90WrLow(double kelvin);   // 13.8033 K .. 273.16 K
double Its90WrHigh(double kelvin);  // 273.15 K .. 1234.93 K
double Its90Wr(double kelvin);      // picks the range at the triple point of water
// The published approximate inverses (within 0.1 mK / 0.13 mK of the exact ones).
double Its90KelvinLowApprox(double wr);
double Its90KelvinHighApprox(double wr);
// Exact inverse of Its90Wr (Newton, started from the approximations).
double Its90KelvinFromWr(double wr);

// Subranges 1..11 (0: no deviation, the reference function itself).
// 1..4 and 5 serve below the triple point of water, 5..11 above it.
int32_t Its90CoefficientCount(int32_t subrange);
bool Its90SubrangeCoversLow(int32_t subrange);
bool Its90SubrangeCoversHigh(int32_t subrange);
// Deviation W - Wr at the measured ratio w; missing coefficients count as zero.
double Its90Deviation(int32_t subrange, std::span<const double> coefficients, double w);
// W of a calibrated thermometer at a temperature, and back.
double Its90W(const ConversionSpec& spec, double kelvin);
double Its90KelvinFromW(const ConversionSpec& spec, double w);

// ---- Callendar-Van Dusen / IEC 60751 ----
struct CvdCoefficients {
    double r0 = 100.0;
    double a = 3.9083e-3;
    double b = -5.775e-7;
    double c = -4.183e-12;  // applies below 0 degC only
};
inline constexpr double kCvdLowestC = -200.0;
inline constexpr double kCvdHighestC = 850.0;
CvdCoefficients CvdFromAlphaDeltaBeta(double r0, double alpha, double delta, double beta);
double CvdResistance(const CvdCoefficients& k, double celsius);
double CvdTemperature(const CvdCoefficients& k, double ohms);

// ---- Thermistor, ln R = B0 + B1/T + B2/T^2 + B3/T^3 ----
// Temperatures are solved for between these limits, where real thermistors are used.
inline constexpr double kThermistorLowestC = -100.0;
inline constexpr double kThermistorHighestC = 400.0;
double ThermistorResistance(std::span<const double> b, double celsius);
double ThermistorTemperature(std::span<const double> b, double ohms);

// ---- Thermocouples, index 0..11 = B C E J K L M N R S T U ----
inline constexpr int32_t kThermocoupleTypeCount = 12;
std::string ThermocoupleLetter(int32_t tcType);  // "" outside 0..11
bool ThermocoupleHasReference(int32_t tcType);   // B E J K N R S T
double ThermocoupleLowestC(int32_t tcType);
double ThermocoupleHighestC(int32_t tcType);
double ThermocoupleEmf(int32_t tcType, double celsius);  // reference function, mV
// Published inverse polynomial (fit, within its error band of the reference function).
double ThermocoupleTemperatureApprox(int32_t tcType, double millivolts);
// Exact inverse of the reference function plus a deviation polynomial c0 + c1 t + c2 t^2 + ...
double ThermocoupleTemperature(int32_t tcType, double millivolts,
                               std::span<const double> deviation = {});

}  // namespace vesk::probes
