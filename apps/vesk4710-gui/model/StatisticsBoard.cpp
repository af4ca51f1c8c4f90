#include "apps/vesk4710-gui/model/StatisticsBoard.h"

#include <algorithm>
#include <cmath>

namespace vesk::gui {

void StatisticsBoard::Add(int16_t channel, Millis time, double value, const std::string& unit) {
    auto found = tracks_.find(channel);
    if (found == tracks_.end()) {
        found =
            tracks_.emplace(channel, Track{stats::WindowStatistics(window_, limits_), unit}).first;
    } else if (found->second.unit != unit) {
        found->second.stats.Clear();
        found->second.unit = unit;
    }
    found->second.stats.Add(time, value);
}

void StatisticsBoard::Clear() {
    tracks_.clear();
}

void StatisticsBoard::Window(Millis window) {
    window_ = window;
    for (auto& [channel, track] : tracks_) {
        track.stats.Window(window);
    }
}

void StatisticsBoard::SetLimits(const stats::Limits& limits) {
    limits_ = limits;
    for (auto& [channel, track] : tracks_) {
        track.stats.SetLimits(limits);
    }
}

std::vector<int16_t> StatisticsBoard::Channels() const {
    std::vector<int16_t> out;
    for (const auto& [channel, track] : tracks_) {
        out.push_back(channel);
    }
    return out;
}

const stats::WindowStatistics* StatisticsBoard::Of(int16_t channel) const {
    const auto found = tracks_.find(channel);
    return found == tracks_.end() ? nullptr : &found->second.stats;
}

std::string StatisticsBoard::Unit(int16_t channel) const {
    const auto found = tracks_.find(channel);
    return found == tracks_.end() ? std::string() : found->second.unit;
}

std::string StatisticsBoard::StatusText(int16_t channel, Millis now) const {
    const stats::WindowStatistics* s = Of(channel);
    if (s == nullptr || !s->Current()) {
        return "no readings";
    }
    switch (s->State()) {
        case stats::Stability::kStable:
            return "stable for " + stats::DurationText(s->StableFor(now));
        case stats::Stability::kUnstable: {
            const stats::Summary sum = *s->Current();
            std::string why;
            if (sum.stdDev > limits_.maxStdDev) {
                why = "std dev";
            }
            if (std::abs(sum.driftPerMinute) > limits_.maxDriftPerMinute) {
                why += why.empty() ? "drift" : " and drift";
            }
            return "unstable: " + why;
        }
        case stats::Stability::kCollecting:
            break;
    }
    const stats::Summary sum = *s->Current();
    return "collecting: " + stats::DurationText(sum.last - sum.first) + " of " +
           stats::DurationText(window_);
}

}  // namespace vesk::gui
