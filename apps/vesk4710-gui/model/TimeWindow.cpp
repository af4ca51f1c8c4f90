#include "apps/vesk4710-gui/model/TimeWindow.h"

#include <algorithm>
#include <cmath>

namespace vesk::gui {

TimeWindow::TimeWindow(Millis span) : span_(Clamp(span)) {}

Millis TimeWindow::Clamp(Millis span) {
    return std::clamp(span, kMinSpan, kMaxSpan);
}

TimeRange TimeWindow::Visible(Millis now, std::optional<Millis> first) const {
    if (!follow_) {
        return {end_ - span_, end_};
    }
    TimeRange r{now - span_, now};
    if (first && *first > r.from) {
        r.from = std::min(*first, now - kMinSpan);
    }
    return r;
}

void TimeWindow::Span(Millis span) {
    span_ = Clamp(span);
}

void TimeWindow::Zoom(double factor, Millis anchor, Millis now, std::optional<Millis> first) {
    if (!(factor > 0.0) || !std::isfinite(factor)) {
        return;
    }
    const TimeRange shown = Visible(now, first);
    const Millis span = Clamp(static_cast<Millis>(std::llround(shown.Span() * factor)));
    if (follow_) {
        span_ = span;
        return;
    }
    const double share = shown.Span() > 0 ? static_cast<double>(anchor - shown.from) /
                                                static_cast<double>(shown.Span())
                                          : 1.0;
    const double at = std::clamp(share, 0.0, 1.0);
    const Millis from = anchor - static_cast<Millis>(std::llround(at * static_cast<double>(span)));
    span_ = span;
    end_ = from + span;
    if (end_ >= now) {
        follow_ = true;
    }
}

void TimeWindow::Pan(Millis delta, Millis now, std::optional<Millis> first) {
    const TimeRange shown = Visible(now, first);
    // A stretched young session pans with the width it is shown at.
    span_ = Clamp(shown.Span());
    end_ = shown.to + delta;
    follow_ = end_ >= now;
}

}  // namespace vesk::gui
