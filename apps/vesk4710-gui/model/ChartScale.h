#pragma once
// Where a chart puts its ticks: round values (1, 2 or 5 times a power of ten) on a value
// axis, and whole seconds, minutes or hours of local time on the time axis, so that a
// technician reads 25.005 and 15:01:00, never 25.0037 and 15:00:17.
#include <cstdint>
#include <utility>
#include <vector>

#include "apps/vesk4710-gui/model/ReadingBuffer.h"

namespace vesk::gui {

struct ValueTicks {
    double first = 0.0;
    double step = 0.0;
    int count = 0;
    int decimals = 0;  // places that tell neighbouring ticks apart, and no more
    double At(int i) const { return first + step * i; }
};

// About target ticks inside [low, high], at the step nearest to a target-th of the range.
ValueTicks TicksFor(double low, double high, int target);
// The range an axis shows for readings between low and high: a little wider, ending on ticks;
// a flat line gets a band around it.
std::pair<double, double> AxisRange(double low, double high, int target);

enum class TimeLabel { kSeconds, kMinutes, kDayAndTime };

struct TimeTicks {
    std::vector<Millis> times;
    Millis step = 0;
    TimeLabel label = TimeLabel::kSeconds;  // "HH:mm:ss", "HH:mm" or "dd HH:mm"
};

// Ticks on round local times within [from, to], at most target of them. utcOffsetSeconds is
// the local offset (east positive); tests pass it, the chart the one in force.
TimeTicks TimeTicksFor(Millis from, Millis to, int target, int32_t utcOffsetSeconds);
// The local UTC offset at a time.
int32_t LocalUtcOffset(Millis time);

}  // namespace vesk::gui
