// Thermocouple reference functions and their published inverses (mV, degC, reference junction
// at 0 degC).
#include <array>
#include <cmath>
#include <vector>

#include "components/probes/MathSupport.h"
#include "components/probes/TemperatureMath.h"

namespace vesk::probes {

using detail::Fail;
using detail::Num;
using detail::Poly;
using detail::RequireFinite;
using detail::Solve;

namespace {

struct Piece {
    double lo, hi;  // degC for forward pieces, mV for inverse pieces
    std::vector<double> c;
};

struct Table {
    std::vector<Piece> forward;
    std::vector<Piece> inverse;  // ordered by rising emf; later pieces win in overlaps
    bool kExponential = false;
};

const std::array<const char*, kThermocoupleTypeCount> kLetters = {"B", "C", "E", "J", "K", "L",
                                                                  "M", "N", "R", "S", "T", "U"};

Table MakeB() {
    return {
        {{0,
          630.615,
          {0, -2.4650818346E-4, 5.9040421171E-6, -1.3257931636E-9, 1.5668291901E-12,
           -1.694452924E-15, 6.2990347094E-19}},
         {630.615,
          1820,
          {-3.8938168621E+0, 2.857174747E-2, -8.4885104785E-5, 1.5785280164E-7, -1.6835344864E-10,
           1.1109794013E-13, -4.4515431033E-17, 9.8975640821E-21, -9.3791330289E-25}}},
        {{0.291,
          2.431,
          {9.8423321E+1, 6.99715E+2, -8.4765304E+2, 1.0052644E+3, -8.3345952E+2, 4.5508542E+2,
           -1.5523037E+2, 2.988675E+1, -2.474286E+0}},
         {2.431,
          13.820,
          {2.1315071E+2, 2.8510504E+2, -5.2742887E+1, 9.9160804E+0, -1.2965303E+0, 1.119587E-1,
           -6.0625199E-3, 1.8661696E-4, -2.4878585E-6}}}};
}

Table MakeE() {
    return {{{-270,
              0,
              {0, 5.8665508708E-2, 4.5410977124E-5, -7.7998048686E-7, -2.5800160843E-8,
               -5.9452583057E-10, -9.3214058667E-12, -1.0287605534E-13, -8.0370123621E-16,
               -4.3979497391E-18, -1.6414776355E-20, -3.9673619516E-23, -5.5827328721E-26,
               -3.4657842013E-29}},
             {0,
              1000,
              {0, 5.866550871E-2, 4.5032275582E-5, 2.8908407212E-8, -3.3056896652E-10,
               6.502440327E-13, -1.9197495504E-16, -1.2536600497E-18, 2.1489217569E-21,
               -1.4388041782E-24, 3.5960899481E-28}}},
            {{-8.825,
              0,
              {0, 1.6977288E+1, -4.351497E-1, -1.5859697E-1, -9.2502871E-2, -2.6084314E-2,
               -4.1360199E-3, -3.403403E-4, -1.156489E-5}},
             {0,
              76.373,
              {0, 1.7057035E+1, -2.3301759E-1, 6.5435585E-3, -7.3562749E-5, -1.7896001E-6,
               8.4036165E-8, -1.3735879E-9, 1.0629823E-11, -3.2447087E-14}}}};
}

Table MakeJ() {
    return {{{-210,
              760,
              {0, 5.0381187815E-2, 3.047583693E-5, -8.568106572E-8, 1.3228195295E-10,
               -1.7052958337E-13, 2.0948090697E-16, -1.2538395336E-19, 1.5631725697E-23}},
             {760,
              1200,
              {2.9645625681E+2, -1.4976127786E+0, 3.1787103924E-3, -3.1847686701E-6,
               1.5720819004E-9, -3.0691369056E-13}}},
            {{-8.095,
              0,
              {0, 1.9528268E+1, -1.2286185E+0, -1.0752178E+0, -5.9086933E-1, -1.7256713E-1,
               -2.8131513E-2, -2.396337E-3, -8.3823321E-5}},
             {0,
              42.919,
              {0, 1.978425E+1, -2.001204E-1, 1.036969E-2, -2.549687E-4, 3.585153E-6, -5.344285E-8,
               5.09989E-10}},
             {42.919,
              69.553,
              {-3.11358187E+3, 3.00543684E+2, -9.9477323E+0, 1.7027663E-1, -1.43033468E-3,
               4.73886084E-6}}}};
}

Table MakeK() {
    Table t{{{-270,
              0,
              {0, 3.9450128025E-2, 2.3622373598E-5, -3.2858906784E-7, -4.9904828777E-9,
               -6.7509059173E-11, -5.7410327428E-13, -3.1088872894E-15, -1.0451609365E-17,
               -1.9889266878E-20, -1.6322697486E-23}},
             {0,
              1372,
              {-1.7600413686E-2, 3.8921204975E-2, 1.8558770032E-5, -9.9457592874E-8,
               3.1840945719E-10, -5.6072844889E-13, 5.6075059059E-16, -3.2020720003E-19,
               9.7151147152E-23, -1.2104721275E-26}}},
            {{-5.891,
              0,
              {0, 2.5173462E+1, -1.1662878E+0, -1.0833638E+0, -8.977354E-1, -3.7342377E-1,
               -8.6632643E-2, -1.0450598E-2, -5.1920577E-4}},
             {0,
              20.644,
              {0, 2.508355E+1, 7.860106E-2, -2.503131E-1, 8.31527E-2, -1.228034E-2, 9.804036E-4,
               -4.41303E-5, 1.057734E-6, -1.052755E-8}},
             {20.644,
              54.886,
              {-1.318058E+2, 4.830222E+1, -1.646031E+0, 5.464731E-2, -9.650715E-4, 8.802193E-6,
               -3.11081E-8}}}};
    t.kExponential = true;
    return t;
}

Table MakeN() {
    return {{{-270,
              0,
              {0, 2.6159105962E-2, 1.0957484228E-5, -9.3841111554E-8, -4.6412039759E-11,
               -2.6303357716E-12, -2.2653438003E-14, -7.6089300791E-17, -9.3419667835E-20}},
             {0,
              1300,
              {0, 2.5929394601E-2, 1.571014188E-5, 4.3825627237E-8, -2.5261169794E-10,
               6.4311819339E-13, -1.0063471519E-15, 9.9745338992E-19, -6.0863245607E-22,
               2.0849229339E-25, -3.0682196151E-29}}},
            {{-3.990,
              0,
              {0, 3.8436847E+1, 1.1010485E+0, 5.2229312E+0, 7.2060525E+0, 5.8488586E+0,
               2.7754916E+0, 7.7075166E-1, 1.1582665E-1, 7.3138868E-3}},
             {0,
              20.613,
              {0, 3.86896E+1, -1.08267E+0, 4.70205E-2, -2.12169E-6, -1.17272E-4, 5.3928E-6,
               -7.98156E-8}},
             {20.613,
              47.513,
              {1.972485E+1, 3.300943E+1, -3.915159E-1, 9.855391E-3, -1.274371E-4, 7.767022E-7}}}};
}

Table MakeR() {
    return {{{-50,
              1064.18,
              {0, 5.28961729765E-3, 1.39166589782E-5, -2.38855693017E-8, 3.56916001063E-11,
               -4.62347666298E-14, 5.00777441034E-17, -3.73105886191E-20, 1.57716482367E-23,
               -2.81038625251E-27}},
             {1064.18,
              1664.5,
              {2.95157925316E+0, -2.52061251332E-3, 1.59564501865E-5, -7.64085947576E-9,
               2.05305291024E-12, -2.93359668173E-16}},
             {1664.5,
              1768.1,
              {1.52232118209E+2, -2.68819888545E-1, 1.71280280471E-4, -3.45895706453E-8,
               -9.34633971046E-15}}},
            {{-0.226,
              1.923,
              {0, 1.889138E+2, -9.383529E+1, 1.3068619E+2, -2.270358E+2, 3.5145659E+2, -3.89539E+2,
               2.8239471E+2, -1.2607281E+2, 3.1353611E+1, -3.3187769E+0}},
             {1.923,
              13.228,
              {1.334584505E+1, 1.472644573E+2, -1.844024844E+1, 4.031129726E+0, -6.24942836E-1,
               6.468412046E-2, -4.458750426E-3, 1.994710149E-4, -5.31340179E-6, 6.481976217E-8}},
             {11.361,
              19.739,
              {-8.199599416E+1, 1.553962042E+2, -8.342197663E+0, 4.279433549E-1, -1.19157791E-2,
               1.492290091E-4}},
             {19.739,
              21.103,
              {3.406177836E+4, -7.023729171E+3, 5.582903813E+2, -1.952394635E+1, 2.560740231E-1}}}};
}

Table MakeS() {
    return {{{-50,
              1064.18,
              {0, 5.40313308631E-3, 1.2593428974E-5, -2.32477968689E-8, 3.22028823036E-11,
               -3.31465196389E-14, 2.55744251786E-17, -1.25068871393E-20, 2.71443176145E-24}},
             {1064.18,
              1664.5,
              {1.32900444085E+0, 3.34509311344E-3, 6.54805192818E-6, -1.64856259209E-9,
               1.29989605174E-14}},
             {1664.5,
              1768.1,
              {1.46628232636E+2, -2.58430516752E-1, 1.63693574641E-4, -3.30439046987E-8,
               -9.43223690612E-15}}},
            {{-0.235,
              1.874,
              {0, 1.8494946E+2, -8.00504062E+1, 1.0223743E+2, -1.52248592E+2, 1.88821343E+2,
               -1.59085941E+2, 8.2302788E+1, -2.34181944E+1, 2.7978626E+0}},
             {1.874,
              11.950,
              {1.291507177E+1, 1.466298863E+2, -1.534713402E+1, 3.145945973E+0, -4.163257839E-1,
               3.187963771E-2, -1.2916375E-3, 2.183475087E-5, -1.447379511E-7, 8.211272125E-9}},
             {10.332,
              17.536,
              {-8.087801117E+1, 1.621573104E+2, -8.536869453E+0, 4.719686976E-1, -1.441693666E-2,
               2.08161889E-4}},
             {17.536,
              18.693,
              {5.333875126E+4, -1.235892298E+4, 1.092657613E+3, -4.265693686E+1, 6.24720542E-1}}}};
}

Table MakeT() {
    return {
        {{-270,
          0,
          {0, 3.8748106364E-2, 4.4194434347E-5, 1.1844323105E-7, 2.0032973554E-8, 9.0138019559E-10,
           2.2651156593E-11, 3.6071154205E-13, 3.8493939883E-15, 2.8213521925E-17, 1.4251594779E-19,
           4.8768662286E-22, 1.079553927E-24, 1.3945027062E-27, 7.9795153927E-31}},
         {0,
          400,
          {0, 3.8748106364E-2, 3.329222788E-5, 2.0618243404E-7, -2.1882256846E-9, 1.0996880928E-11,
           -3.0815758772E-14, 4.547913529E-17, -2.7512901673E-20}}},
        {{-5.603,
          0,
          {0, 2.5949192E+1, -2.1316967E-1, 7.9018692E-1, 4.2527777E-1, 1.3304473E-1, 2.0241446E-2,
           1.2668171E-3}},
         {0,
          20.872,
          {0, 2.5928E+1, -7.602961E-1, 4.637791E-2, -2.165394E-3, 6.048144E-5, -7.293422E-7}}}};
}

// Index 0..11; letters without published functions keep an empty table.
const std::array<Table, kThermocoupleTypeCount>& Tables() {
    static const std::array<Table, kThermocoupleTypeCount> tables = {
        MakeB(), Table{}, MakeE(), MakeJ(), MakeK(), Table{},
        Table{}, MakeN(), MakeR(), MakeS(), MakeT(), Table{}};
    return tables;
}

const Table& TableFor(int32_t tcType) {
    if (tcType < 0 || tcType >= kThermocoupleTypeCount) {
        Fail("Thermocouple type index " + Num(tcType) + " does not exist (0 to 11)");
    }
    const Table& t = Tables()[static_cast<size_t>(tcType)];
    if (t.forward.empty()) {
        Fail(std::string("Thermocouple type ") + kLetters[static_cast<size_t>(tcType)] +
             " has no published reference function; its temperature cannot be converted");
    }
    return t;
}

void Emf(const Table& t, double celsius, double& value, double& slope) {
    const Piece* piece = &t.forward.back();
    for (const Piece& p : t.forward) {
        if (celsius < p.hi) {
            piece = &p;
            break;
        }
    }
    Poly(piece->c, celsius, value, slope);
    if (t.kExponential && celsius >= 0) {
        constexpr double a0 = 1.185976E-1, a1 = -1.183432E-4, a2 = 1.269686E+2;
        const double e = a0 * std::exp(a1 * (celsius - a2) * (celsius - a2));
        value += e;
        slope += e * 2 * a1 * (celsius - a2);
    }
}

// Type B falls slightly below zero up to about 42 degC; the inverse uses the rising branch
// above its minimum.
double LowestInvertible(const Table& t, double lowest) {
    if (t.forward.front().c.size() > 1 && t.forward.front().c[1] < 0) {
        auto slope = [&t](double x, double& v, double& s) {
            double e = 0;
            Emf(t, x, e, v);
            const double h = 1e-4;
            double e1 = 0, s1 = 0;
            Emf(t, x + h, e1, s1);
            s = (s1 - v) / h;
        };
        return Solve(slope, 0.0, lowest, 200.0, 20.0, 1e-10, "no minimum");
    }
    return lowest;
}

}  // namespace

std::string ThermocoupleLetter(int32_t tcType) {
    if (tcType < 0 || tcType >= kThermocoupleTypeCount) {
        return {};
    }
    return kLetters[static_cast<size_t>(tcType)];
}

bool ThermocoupleHasReference(int32_t tcType) {
    return tcType >= 0 && tcType < kThermocoupleTypeCount &&
           !Tables()[static_cast<size_t>(tcType)].forward.empty();
}

double ThermocoupleLowestC(int32_t tcType) {
    return TableFor(tcType).forward.front().lo;
}
double ThermocoupleHighestC(int32_t tcType) {
    return TableFor(tcType).forward.back().hi;
}

double ThermocoupleEmf(int32_t tcType, double celsius) {
    const Table& t = TableFor(tcType);
    RequireFinite(celsius, "The temperature");
    if (celsius < t.forward.front().lo - 1e-9 || celsius > t.forward.back().hi + 1e-9) {
        Fail("The temperature " + Num(celsius) +
             " degC is outside the range of thermocouple type " + ThermocoupleLetter(tcType) +
             " (" + Num(t.forward.front().lo) + " to " + Num(t.forward.back().hi) + " degC)");
    }
    double v = 0, s = 0;
    Emf(t, celsius, v, s);
    return v;
}

double ThermocoupleTemperatureApprox(int32_t tcType, double millivolts) {
    const Table& t = TableFor(tcType);
    RequireFinite(millivolts, "The emf");
    for (auto it = t.inverse.rbegin(); it != t.inverse.rend(); ++it) {
        if (millivolts >= it->lo - 5e-4 && millivolts <= it->hi + 5e-4) {
            double v = 0, s = 0;
            Poly(it->c, millivolts, v, s);
            return v;
        }
    }
    Fail("The emf " + Num(millivolts) +
         " mV is outside the published inverse range of thermocouple type " +
         ThermocoupleLetter(tcType));
}

double ThermocoupleTemperature(int32_t tcType, double millivolts,
                               std::span<const double> deviation) {
    const Table& t = TableFor(tcType);
    RequireFinite(millivolts, "The emf");
    for (double c : deviation) {
        RequireFinite(c, "A thermocouple deviation coefficient");
    }
    static const std::array<double, kThermocoupleTypeCount> lowest = [] {
        std::array<double, kThermocoupleTypeCount> out{};
        for (size_t i = 0; i < out.size(); ++i) {
            const Table& tab = Tables()[i];
            out[i] = tab.forward.empty() ? 0 : LowestInvertible(tab, tab.forward.front().lo);
        }
        return out;
    }();
    auto f = [&t, deviation](double x, double& v, double& s) {
        Emf(t, x, v, s);
        double dv = 0, ds = 0;
        Poly(deviation, x, dv, ds);
        v += dv;
        s += ds;
    };
    double guess = 0;
    try {
        double dev0 = deviation.empty() ? 0 : deviation[0];
        guess = ThermocoupleTemperatureApprox(tcType, millivolts - dev0);
    } catch (const AutomationError&) {
        guess = 0.5 * (t.forward.front().lo + t.forward.back().hi);
    }
    const double lo = lowest[static_cast<size_t>(tcType)];
    const double hi = t.forward.back().hi;
    return Solve(f, millivolts, lo, hi, guess, 1e-11,
                 "The emf " + Num(millivolts) + " mV is outside the range of thermocouple type " +
                     ThermocoupleLetter(tcType) + " (" + Num(lo) + " to " + Num(hi) + " degC)");
}

}  // namespace vesk::probes
