#pragma once
// The statistics panel's model: one window of statistics per live channel, all under the
// window and limits the user picked. A channel whose unit changes starts again, so that
// degrees and ohms never meet in one mean.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "components/statistics/WindowStatistics.h"

namespace vesk::gui {

class StatisticsBoard {
  public:
    void Add(int16_t channel, Millis time, double value, const std::string& unit);
    void Clear();

    Millis Window() const { return window_; }
    void Window(Millis window);
    const stats::Limits& Limits() const { return limits_; }
    void SetLimits(const stats::Limits& limits);

    std::vector<int16_t> Channels() const;
    // Null for a channel without readings.
    const stats::WindowStatistics* Of(int16_t channel) const;
    std::string Unit(int16_t channel) const;
    // For the status column: "stable for 4 min 05 s", "unstable: drift", "collecting: 3 min
    // 20 s of 10 min 00 s".
    std::string StatusText(int16_t channel, Millis now) const;

  private:
    struct Track {
        stats::WindowStatistics stats;
        std::string unit;
    };
    Millis window_ = stats::WindowStatistics::kDefaultWindow;
    stats::Limits limits_;
    std::map<int16_t, Track> tracks_;
};

}  // namespace vesk::gui
