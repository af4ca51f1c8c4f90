#pragma once
// The time span the strip chart shows: following the newest reading, or held where the user
// panned or zoomed to.
#include <optional>

#include "apps/vesk4710-gui/model/ReadingBuffer.h"

namespace vesk::gui {

struct TimeRange {
    Millis from = 0;
    Millis to = 0;
    Millis Span() const { return to - from; }
};

class TimeWindow {
  public:
    static constexpr Millis kMinSpan = 10 * 1000;
    static constexpr Millis kMaxSpan = 24LL * 3600 * 1000;
    static constexpr Millis kDefaultSpan = 10 * 60 * 1000;

    explicit TimeWindow(Millis span = kDefaultSpan);

    // What to show now. Following, a session younger than the span is stretched over the
    // whole width instead of crowding the right edge.
    TimeRange Visible(Millis now, std::optional<Millis> first) const;

    bool Following() const { return follow_; }
    Millis Span() const { return span_; }
    // A new span, clamped; a held window keeps its right edge.
    void Span(Millis span);
    // factor < 1 zooms in. Following keeps the right edge at now; a held window keeps the
    // time under anchor where it is on the screen.
    void Zoom(double factor, Millis anchor, Millis now, std::optional<Millis> first);
    // Moves the window by delta (negative: back in time). Reaching now resumes following.
    void Pan(Millis delta, Millis now, std::optional<Millis> first);
    // Back to the newest readings.
    void Follow() { follow_ = true; }

  private:
    static Millis Clamp(Millis span);

    Millis span_;
    bool follow_ = true;
    Millis end_ = 0;
};

}  // namespace vesk::gui
