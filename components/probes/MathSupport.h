#pragma once
// Helpers shared by the temperature-math sources: error raising, number text, polynomials and
// a bracketed Newton solver.
#include <charconv>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>

#include "vesk4710/support/AutomationError.h"

namespace vesk::probes::detail {

inline constexpr const char* kMathSource = "vesk4710.probes";

// Locale-independent, so messages read the same under any user locale.
inline std::string Num(double v) {
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::general, 10);
    return std::string(buf, r.ptr);
}

[[noreturn]] inline void Fail(std::string text) {
    throw AutomationError(kErrInvalidProcedureCall, std::move(text), kMathSource);
}

inline void RequireFinite(double v, std::string_view what) {
    if (!std::isfinite(v)) {
        Fail(std::string(what) + " is not a finite number");
    }
}

// Value and derivative of sum c[i] x^i.
template <class C>
void Poly(const C& c, double x, double& value, double& slope) {
    value = 0;
    slope = 0;
    for (size_t i = c.size(); i-- > 0;) {
        slope = slope * x + value;
        value = value * x + c[i];
    }
}

// Solves f(x) = target on [lo, hi] for a monotonic f. fd(x, &value, &slope). Newton steps,
// falling back to bisection whenever a step leaves the bracket. Throws with outOfRange when
// the target lies outside f's values on the bracket.
template <class F>
double Solve(F fd, double target, double lo, double hi, double guess, double xTolerance,
             const std::string& outOfRange) {
    double flo = 0, fhi = 0, slope = 0;
    fd(lo, flo, slope);
    fd(hi, fhi, slope);
    const bool increasing = fhi >= flo;
    const double yTol = 1e-12 * (std::abs(target) + 1.0);
    auto below = [&](double y) { return increasing ? y < target : y > target; };
    if ((increasing && (target < flo - yTol || target > fhi + yTol)) ||
        (!increasing && (target > flo + yTol || target < fhi - yTol))) {
        Fail(outOfRange);
    }
    if (std::abs(flo - target) <= yTol) {
        return lo;
    }
    if (std::abs(fhi - target) <= yTol) {
        return hi;
    }
    double x = (guess > lo && guess < hi) ? guess : 0.5 * (lo + hi);
    for (int i = 0; i < 200; ++i) {
        double y = 0;
        fd(x, y, slope);
        if (y == target) {
            return x;
        }
        if (below(y)) {
            lo = x;
        } else {
            hi = x;
        }
        double next = slope != 0 ? x - (y - target) / slope : lo - 1;
        if (!(next > lo && next < hi)) {
            next = 0.5 * (lo + hi);
        }
        if (std::abs(next - x) <= xTolerance || hi - lo <= xTolerance) {
            return next;
        }
        x = next;
    }
    return x;
}

}  // namespace vesk::probes::detail
