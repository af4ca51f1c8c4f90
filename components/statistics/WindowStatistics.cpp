#include "components/statistics/WindowStatistics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vesk::stats {

namespace {

constexpr TimeMs kMinWindow = 1000;
constexpr double kMsPerMinute = 60'000.0;

}  // namespace

const char* StabilityName(Stability state) {
    switch (state) {
        case Stability::kStable:
            return "stable";
        case Stability::kUnstable:
            return "unstable";
        case Stability::kCollecting:
            break;
    }
    return "collecting";
}

WindowStatistics::WindowStatistics(TimeMs window, Limits limits)
    : window_(std::max(window, kMinWindow)), limits_(limits) {}

bool WindowStatistics::Add(TimeMs time, double value) {
    if (!std::isfinite(value) || (!points_.empty() && time < points_.back().time)) {
        return false;
    }
    if (!firstSeen_) {
        firstSeen_ = time;
    }
    points_.push_back({time, value});
    Judge();
    return true;
}

void WindowStatistics::Clear() {
    points_.clear();
    firstSeen_.reset();
    summary_.reset();
    state_ = Stability::kCollecting;
    stableSince_.reset();
}

void WindowStatistics::Window(TimeMs window) {
    window_ = std::max(window, kMinWindow);
    if (!points_.empty()) {
        Judge();
    }
}

void WindowStatistics::SetLimits(const Limits& limits) {
    limits_ = limits;
    if (!points_.empty()) {
        Judge();
    }
}

std::optional<Summary> WindowStatistics::Current() const {
    return summary_;
}

bool WindowStatistics::Covered() const {
    return !points_.empty() && firstSeen_ && *firstSeen_ <= points_.back().time - window_;
}

TimeMs WindowStatistics::StableFor(TimeMs now) const {
    return stableSince_ ? std::max<TimeMs>(now - *stableSince_, 0) : 0;
}

void WindowStatistics::Judge() {
    const TimeMs newest = points_.back().time;
    while (points_.front().time < newest - window_) {
        points_.pop_front();
    }
    // Two passes about the means keep mK noise on a 150 degree reading exact in doubles.
    Summary s;
    s.count = points_.size();
    s.first = points_.front().time;
    s.last = newest;
    s.minimum = s.maximum = points_.front().value;
    double sumValue = 0.0;
    double sumTime = 0.0;
    for (const Point& p : points_) {
        s.minimum = std::min(s.minimum, p.value);
        s.maximum = std::max(s.maximum, p.value);
        sumValue += p.value;
        sumTime += static_cast<double>(p.time - s.first);
    }
    const auto n = static_cast<double>(s.count);
    s.mean = sumValue / n;
    const double meanTime = sumTime / n;
    double sv = 0.0;
    double st = 0.0;
    double stv = 0.0;
    for (const Point& p : points_) {
        const double dv = p.value - s.mean;
        const double dt = static_cast<double>(p.time - s.first) - meanTime;
        sv += dv * dv;
        st += dt * dt;
        stv += dt * dv;
    }
    if (s.count > 1) {
        s.stdDev = std::sqrt(sv / (n - 1.0));
        s.driftPerMinute = st > 0.0 ? stv / st * kMsPerMinute : 0.0;
    }
    summary_ = s;

    Stability now = Stability::kCollecting;
    if (Covered() && s.count > 1) {
        const bool quiet = s.stdDev <= limits_.maxStdDev &&
                           std::abs(s.driftPerMinute) <= limits_.maxDriftPerMinute;
        now = quiet ? Stability::kStable : Stability::kUnstable;
    }
    if (now == Stability::kStable && state_ != Stability::kStable) {
        stableSince_ = newest;
    } else if (now != Stability::kStable) {
        stableSince_.reset();
    }
    state_ = now;
}

std::string DurationText(TimeMs duration) {
    const int64_t seconds = std::max<TimeMs>(duration, 0) / 1000;
    char text[48];
    if (seconds < 60) {
        std::snprintf(text, sizeof text, "%lld s", static_cast<long long>(seconds));
    } else if (seconds < 3600) {
        std::snprintf(text, sizeof text, "%lld min %02lld s", static_cast<long long>(seconds / 60),
                      static_cast<long long>(seconds % 60));
    } else {
        std::snprintf(text, sizeof text, "%lld h %02lld min",
                      static_cast<long long>(seconds / 3600),
                      static_cast<long long>(seconds / 60 % 60));
    }
    return text;
}

}  // namespace vesk::stats
