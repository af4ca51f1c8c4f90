#pragma once
// The readings of a live session, per channel, kept for the retention time: what the strip
// chart draws and the CSV export writes. Knows nothing of any toolkit.
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vesk::gui {

// Milliseconds since the epoch, the time base of readings and of the chart.
using Millis = int64_t;

struct Sample {
    Millis time = 0;
    double value = 0.0;
    uint16_t unit = 0;  // index into the buffer's unit texts
};

class ReadingBuffer {
  public:
    static constexpr Millis kDefaultRetention = 4LL * 3600 * 1000;

    explicit ReadingBuffer(Millis retention = kDefaultRetention);

    Millis Retention() const { return retention_; }
    void Retention(Millis retention);

    // Readings arrive in time order per channel; an older one than the last is refused
    // (false), so that a clock step never folds the plot back on itself.
    bool Add(int16_t channel, Millis time, double value, const std::string& unit);
    // Forgets what is older than now minus the retention.
    void Prune(Millis now);
    void Clear();

    std::vector<int16_t> Channels() const;
    size_t Count() const;
    size_t Count(int16_t channel) const;
    // Every sample of the channel still kept, any unit.
    const std::vector<Sample>& Samples(int16_t channel) const;
    // The samples of the channel in its current unit: a change of units starts the plot
    // anew while the older readings stay for the export.
    std::span<const Sample> PlotSamples(int16_t channel) const;
    std::string Unit(int16_t channel) const;
    std::optional<Sample> Latest(int16_t channel) const;
    std::optional<Millis> FirstTime() const;
    // Smallest and largest value in the current unit within [from, to].
    std::optional<std::pair<double, double>> ValueRange(int16_t channel, Millis from,
                                                        Millis to) const;

    // Every reading kept, oldest first; channels in number order at equal times.
    void ForEachInTimeOrder(
        const std::function<void(int16_t, const Sample&, const std::string& unit)>& each) const;

  private:
    struct Track {
        std::vector<Sample> samples;
        uint16_t unit = 0;
    };
    uint16_t UnitIndex(const std::string& unit);
    const std::string& UnitText(uint16_t index) const { return units_[index]; }

    Millis retention_;
    std::map<int16_t, Track> tracks_;
    std::vector<std::string> units_;
};

// Local time as "YYYY-MM-DDTHH:MM:SS.mmm".
std::string IsoLocalTime(Millis time);
// The decimal places of a value's shortest exact text: 25.007 has 3, 150 has 0. A display
// that pads to the most a channel has shown keeps the instrument's trailing zeros without
// rounding any reading.
int32_t DecimalsOf(double value);

}  // namespace vesk::gui
