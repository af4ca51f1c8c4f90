#pragma once
// Statistics of one channel's readings over a moving time window, and whether the channel is
// stable: the standard deviation and the drift over a whole window both under limits the user
// sets. Toolkit-neutral and standard C++ only, so that the desktop app, the command-line tool
// and the Python module judge a bath the same way.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>

namespace vesk::stats {

// Milliseconds since the epoch, as readings are stamped.
using TimeMs = int64_t;

struct Limits {
    double maxStdDev = 0.001;           // in the readings' unit
    double maxDriftPerMinute = 0.0005;  // in the readings' unit per minute, either sign
};

struct Summary {
    size_t count = 0;
    double minimum = 0.0;
    double maximum = 0.0;
    double mean = 0.0;
    double stdDev = 0.0;          // sample standard deviation of the readings (n - 1)
    double driftPerMinute = 0.0;  // slope of the least-squares line through them
    TimeMs first = 0;             // time of the oldest reading in the window
    TimeMs last = 0;              // and of the newest
};

enum class Stability {
    kCollecting,  // the readings do not yet cover a whole window
    kUnstable,
    kStable,
};

// "collecting", "unstable", "stable".
const char* StabilityName(Stability state);

class WindowStatistics {
  public:
    static constexpr TimeMs kDefaultWindow = 10 * 60 * 1000;

    explicit WindowStatistics(TimeMs window = kDefaultWindow, Limits limits = {});

    // Takes a reading. One older than the newest is refused (false) so that a clock step
    // never mixes two runs; the readings older than the window are dropped.
    bool Add(TimeMs time, double value);
    // Forgets every reading (a new unit, another probe).
    void Clear();

    TimeMs Window() const { return window_; }
    // A new window length (at least one second); judged again at once.
    void Window(TimeMs window);
    const Limits& GetLimits() const { return limits_; }
    void SetLimits(const Limits& limits);

    // Nothing before the first reading.
    std::optional<Summary> Current() const;
    Stability State() const { return state_; }
    // Time of the reading from which the channel has been stable without a break.
    std::optional<TimeMs> StableSince() const { return stableSince_; }
    // How long it has been stable at now; 0 when it is not.
    TimeMs StableFor(TimeMs now) const;
    // The readings reach back a whole window.
    bool Covered() const;

  private:
    struct Point {
        TimeMs time;
        double value;
    };
    void Judge();

    TimeMs window_;
    Limits limits_;
    std::deque<Point> points_;
    std::optional<TimeMs> firstSeen_;  // oldest reading since Clear, dropped or not
    std::optional<Summary> summary_;
    Stability state_ = Stability::kCollecting;
    std::optional<TimeMs> stableSince_;
};

// "12 s", "4 min 05 s", "2 h 03 min": how long, for people.
std::string DurationText(TimeMs duration);

}  // namespace vesk::stats
