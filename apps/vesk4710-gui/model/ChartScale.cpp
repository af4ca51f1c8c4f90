#include "apps/vesk4710-gui/model/ChartScale.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <iterator>

namespace vesk::gui {

namespace {

constexpr Millis kSecond = 1000;
constexpr Millis kMinute = 60 * kSecond;
constexpr Millis kHour = 60 * kMinute;
constexpr Millis kTimeSteps[] = {
    kSecond, 2 * kSecond, 5 * kSecond, 10 * kSecond, 15 * kSecond, 30 * kSecond,
    kMinute, 2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
    kHour,   2 * kHour,   3 * kHour,   6 * kHour,    12 * kHour,   24 * kHour,
};

Millis FloorDiv(Millis a, Millis b) {
    Millis q = a / b;
    return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

}  // namespace

ValueTicks TicksFor(double low, double high, int target) {
    ValueTicks t;
    if (!(high > low) || target < 1 || !std::isfinite(low) || !std::isfinite(high)) {
        return t;
    }
    const double raw = (high - low) / target;
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    const double norm = raw / magnitude;
    const double factor = norm < 1.5 ? 1.0 : norm < 3.0 ? 2.0 : norm < 7.0 ? 5.0 : 10.0;
    t.step = factor * magnitude;
    // Ticks are computed as whole multiples of the step so that none drifts off round.
    const double firstIndex = std::ceil(low / t.step - 1e-9);
    const double lastIndex = std::floor(high / t.step + 1e-9);
    t.count = static_cast<int>(lastIndex - firstIndex) + 1;
    t.first = firstIndex * t.step;
    t.decimals = std::max(0, static_cast<int>(-std::floor(std::log10(t.step) + 1e-9)));
    return t;
}

std::pair<double, double> AxisRange(double low, double high, int target) {
    double span = high - low;
    if (!(span > 0.0)) {
        // A flat line: a band of a thousandth of its size, at least a millikelvin's worth.
        const double band = std::max(std::abs(high) * 1e-5, 1e-3);
        low -= band;
        high += band;
        span = high - low;
    }
    const ValueTicks t = TicksFor(low - span * 0.05, high + span * 0.05, target);
    if (t.step <= 0.0) {
        return {low, high};
    }
    return {std::floor(low / t.step + 1e-9) * t.step, std::ceil(high / t.step - 1e-9) * t.step};
}

TimeTicks TimeTicksFor(Millis from, Millis to, int target, int32_t utcOffsetSeconds) {
    TimeTicks t;
    if (to <= from || target < 1) {
        return t;
    }
    const Millis span = to - from;
    t.step = kTimeSteps[std::size(kTimeSteps) - 1];
    for (Millis step : kTimeSteps) {
        if (span / step <= target) {
            t.step = step;
            break;
        }
    }
    t.label = t.step < kMinute    ? TimeLabel::kSeconds
              : span > 24 * kHour ? TimeLabel::kDayAndTime
                                  : TimeLabel::kMinutes;
    // Round in local time: 15:00, not the UTC hour that happens to be 15:30 here.
    const Millis offset = Millis{utcOffsetSeconds} * kSecond;
    for (Millis tick = (FloorDiv(from + offset - 1, t.step) + 1) * t.step - offset; tick <= to;
         tick += t.step) {
        t.times.push_back(tick);
    }
    return t;
}

int32_t LocalUtcOffset(Millis time) {
    const auto seconds = static_cast<std::time_t>(FloorDiv(time, kSecond));
    std::tm local{};
    localtime_r(&seconds, &local);
    return static_cast<int32_t>(local.tm_gmtoff);
}

}  // namespace vesk::gui
