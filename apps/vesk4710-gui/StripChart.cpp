#include "apps/vesk4710-gui/StripChart.h"

#include <QDateTime>
#include <QKeyEvent>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "ui/qt/QtControls.h"

namespace vesk::gui {

namespace {

constexpr double kZoomStep = 1.25;
constexpr double kPanStep = 0.2;
constexpr double kTick = 4.0;
constexpr double kGap = 6.0;

// Colours that stay apart for colour-blind readers and on paper.
QColor PaletteColor(int16_t channel) {
    static const QColor kColors[] = {
        QColor(0, 114, 178), QColor(213, 94, 0),   QColor(0, 158, 115),   QColor(204, 121, 167),
        QColor(230, 159, 0), QColor(86, 180, 233), QColor(120, 120, 120), QColor(0, 0, 0)};
    constexpr int kCount = static_cast<int>(std::size(kColors));
    return kColors[((channel - 1) % kCount + kCount) % kCount];
}

}  // namespace

StripChart::StripChart(std::function<Millis()> clock, QWidget* parent)
    : QWidget(parent), clock_(std::move(clock)) {
    setObjectName("chart");
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(360, 240);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setToolTip(tr("Drag to pan, wheel to zoom, double-click to follow the newest readings"));
}

void StripChart::Sync(const ReadingBuffer& buffer, const std::vector<ChannelInfo>& channels) {
    buffer_ = &buffer;
    channels_ = channels;
    first_ = buffer.FirstTime();
    update();
}

void StripChart::UpdateRange() {
    update();
}

void StripChart::Clear() {
    buffer_ = nullptr;
    channels_.clear();
    first_.reset();
    update();
}

void StripChart::SetMode(AxisMode mode) {
    mode_ = mode;
    update();
}

bool StripChart::SavePng(const QString& path) {
    return grab().save(path, "PNG");
}

std::vector<int16_t> StripChart::Drawn() const {
    std::vector<int16_t> out;
    if (buffer_ == nullptr) {
        return out;
    }
    for (const ChannelInfo& ch : channels_) {
        if (ch.live && !buffer_->PlotSamples(ch.number).empty()) {
            out.push_back(ch.number);
        }
    }
    std::sort(out.begin(), out.end());
    return out;
}

std::optional<std::pair<double, double>> StripChart::RangeOf(const std::vector<int16_t>& channels,
                                                             const TimeRange& shown) const {
    std::optional<std::pair<double, double>> range;
    for (int16_t ch : channels) {
        auto r = buffer_->ValueRange(ch, shown.from, shown.to);
        if (!r) {
            // Nothing inside the window: the newest reading keeps the axis where the line is.
            if (const auto latest = buffer_->Latest(ch)) {
                r = std::make_pair(latest->value, latest->value);
            }
        }
        if (r) {
            range = range ? std::make_pair(std::min(range->first, r->first),
                                           std::max(range->second, r->second))
                          : *r;
        }
    }
    return range;
}

QString StripChart::TimeText(Millis time, TimeLabel label) const {
    const QDateTime t = QDateTime::fromMSecsSinceEpoch(time);
    switch (label) {
        case TimeLabel::kSeconds:
            return t.toString("HH:mm:ss");
        case TimeLabel::kMinutes:
            return t.toString("HH:mm");
        case TimeLabel::kDayAndTime:
            break;
    }
    return t.toString("MM-dd HH:mm");
}

QString StripChart::ValueText(double value, int decimals) const {
    // No "-0.000" where the axis crosses zero.
    const double shown = std::abs(value) < 0.5 * std::pow(10.0, -decimals) ? 0.0 : value;
    return QLocale().toString(shown, 'f', decimals);
}

StripChart::Layout StripChart::ComputeLayout() const {
    Layout L;
    L.shown = window_.Visible(clock_(), first_);
    const QFontMetricsF fm(font());
    const double lineHeight = fm.height();
    const QRectF area = QRectF(rect()).adjusted(8, 6, -10, -6);
    L.legend = QRectF(area.left(), area.top(), area.width(), lineHeight + 4);
    const double top = L.legend.bottom() + kGap;
    const double bottom = area.bottom() - lineHeight - kTick - 2;

    const std::vector<int16_t> drawn = Drawn();
    std::vector<std::vector<int16_t>> panes;
    if (mode_ == AxisMode::kStacked) {
        for (int16_t ch : drawn) {
            panes.push_back({ch});
        }
    }
    if (panes.empty()) {
        panes.push_back(drawn);
    }
    const double paneGap = lineHeight;
    const double paneHeight =
        std::max(20.0, (bottom - top - paneGap * static_cast<double>(panes.size() - 1)) /
                           static_cast<double>(panes.size()));
    const int valueTarget = std::clamp(static_cast<int>(paneHeight / (lineHeight * 2.2)), 2, 10);

    const auto unitOf = [this](int16_t ch) { return ToQString(buffer_->Unit(ch)); };
    double leftWidth = 0.0;
    double rightWidth = 0.0;
    std::vector<double> leftStack;
    for (size_t i = 0; i < panes.size(); ++i) {
        Pane pane;
        std::vector<std::vector<int16_t>> groups;
        if (mode_ == AxisMode::kPerChannel) {
            for (int16_t ch : panes[i]) {
                groups.push_back({ch});
            }
        } else if (!panes[i].empty()) {
            groups.push_back(panes[i]);
        }
        double paneLeft = 0.0;
        double paneRight = 0.0;
        for (size_t g = 0; g < groups.size(); ++g) {
            Axis axis;
            axis.channels = groups[g];
            axis.left = mode_ != AxisMode::kPerChannel || g % 2 == 0;
            const auto range = RangeOf(axis.channels, L.shown);
            std::tie(axis.low, axis.high) =
                range ? AxisRange(range->first, range->second, valueTarget) : std::pair{0.0, 1.0};
            axis.ticks = TicksFor(axis.low, axis.high, valueTarget);
            if (axis.channels.size() == 1) {
                axis.color = ColorOf(axis.channels.front());
                axis.title =
                    tr("Ch %1 (%2)").arg(axis.channels.front()).arg(unitOf(axis.channels.front()));
            } else {
                axis.color = palette().color(QPalette::WindowText);
                QStringList units;
                for (int16_t ch : axis.channels) {
                    if (!units.contains(unitOf(ch))) {
                        units << unitOf(ch);
                    }
                }
                axis.title = units.join(", ");
            }
            double labels = 0.0;
            for (int t = 0; t < axis.ticks.count; ++t) {
                labels = std::max(
                    labels, fm.horizontalAdvance(ValueText(axis.ticks.At(t), axis.ticks.decimals)));
            }
            const double width = kTick + 3 + labels + kGap + lineHeight;
            // x holds the axis' distance from the plot until the plot is known.
            axis.x = axis.left ? paneLeft : paneRight;
            (axis.left ? paneLeft : paneRight) += width;
            pane.axes.push_back(axis);
        }
        leftWidth = std::max(leftWidth, paneLeft);
        rightWidth = std::max(rightWidth, paneRight);
        pane.plot = QRectF(0, top + static_cast<double>(i) * (paneHeight + paneGap), 0, paneHeight);
        L.panes.push_back(pane);
    }
    const double plotLeft = area.left() + std::max(leftWidth, 10.0);
    const double plotRight = area.right() - std::max(rightWidth, 10.0);
    L.plot = QRectF(QPointF(plotLeft, top), QPointF(plotRight, bottom));
    for (Pane& pane : L.panes) {
        pane.plot.setLeft(plotLeft);
        pane.plot.setRight(plotRight);
        for (Axis& axis : pane.axes) {
            axis.x = axis.left ? plotLeft - axis.x : plotRight + axis.x;
        }
    }
    const double labelWidth = fm.horizontalAdvance("00-00 00:00") + 2 * kGap;
    const int timeTarget = std::max(2, static_cast<int>(L.plot.width() / labelWidth));
    L.time = TimeTicksFor(L.shown.from, L.shown.to, timeTarget, LocalUtcOffset(L.shown.to));
    return L;
}

void StripChart::DrawLine(QPainter& p, int16_t channel, const Pane& pane, const Axis& axis,
                          const TimeRange& shown) const {
    const auto samples = buffer_->PlotSamples(channel);
    const auto before = [](const Sample& s, Millis t) { return s.time < t; };
    auto begin = std::lower_bound(samples.begin(), samples.end(), shown.from, before);
    auto end = std::lower_bound(begin, samples.end(), shown.to + 1, before);
    // One reading either side carries the line to the edges.
    if (begin != samples.begin()) {
        --begin;
    }
    if (end != samples.end()) {
        ++end;
    }
    if (begin == end) {
        return;
    }
    const QRectF& r = pane.plot;
    const double span = static_cast<double>(std::max<Millis>(shown.Span(), 1));
    const double valueSpan = axis.high > axis.low ? axis.high - axis.low : 1.0;
    const auto x = [&](Millis t) {
        return r.left() + static_cast<double>(t - shown.from) / span * r.width();
    };
    const auto y = [&](double v) { return r.bottom() - (v - axis.low) / valueSpan * r.height(); };

    QPolygonF line;
    const auto n = static_cast<double>(end - begin);
    if (n > 2.0 * r.width()) {
        // More readings than pixels: each pixel column keeps its lowest and highest reading.
        int column = -1;
        double low = 0.0;
        double high = 0.0;
        const auto flush = [&] {
            if (column >= 0) {
                line << QPointF(r.left() + column, y(low)) << QPointF(r.left() + column, y(high));
            }
        };
        for (auto it = begin; it != end; ++it) {
            const int c = static_cast<int>(std::floor(x(it->time) - r.left()));
            if (c != column) {
                flush();
                column = c;
                low = high = it->value;
            } else {
                low = std::min(low, it->value);
                high = std::max(high, it->value);
            }
        }
        flush();
    } else {
        for (auto it = begin; it != end; ++it) {
            line << QPointF(x(it->time), y(it->value));
        }
    }
    const QColor color = ColorOf(channel);
    p.setPen(QPen(color, 1.6));
    p.drawPolyline(line);
    if (n * 12.0 < r.width()) {
        // Few readings: each is marked, so that the first one shows at once.
        p.setBrush(color);
        for (const QPointF& point : line) {
            p.drawEllipse(point, 2.5, 2.5);
        }
        p.setBrush(Qt::NoBrush);
    }
}

void StripChart::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(rect(), palette().color(QPalette::Base));
    const Layout L = ComputeLayout();
    const QFontMetricsF fm(font());
    const QColor text = palette().color(QPalette::Text);
    const QColor grid(218, 218, 218);
    const std::vector<int16_t> drawn = Drawn();

    // Legend: a swatch and the channel per line drawn.
    double lx = L.legend.left() + 4;
    for (int16_t ch : drawn) {
        const QString name = tr("Channel %1 (%2)").arg(ch).arg(ToQString(buffer_->Unit(ch)));
        const double mid = L.legend.center().y();
        p.setPen(QPen(ColorOf(ch), 3));
        p.drawLine(QPointF(lx, mid), QPointF(lx + 18, mid));
        p.setPen(text);
        p.drawText(QPointF(lx + 24, mid + fm.ascent() / 2 - 1), name);
        lx += 24 + fm.horizontalAdvance(name) + 18;
    }
    if (!window_.Following()) {
        const QString held = tr("Held: double-click or End follows the newest readings");
        p.setPen(palette().color(QPalette::PlaceholderText));
        p.drawText(L.legend, Qt::AlignRight | Qt::AlignVCenter, held);
    }

    for (size_t i = 0; i < L.panes.size(); ++i) {
        const Pane& pane = L.panes[i];
        const QRectF& r = pane.plot;
        // Grid lines on whole pixels stay crisp instead of blurring into two faint ones.
        const auto crisp = [](double v) { return std::floor(v) + 0.5; };
        p.setPen(QPen(grid, 0));
        for (Millis t : L.time.times) {
            const double x = crisp(r.left() + static_cast<double>(t - L.shown.from) /
                                                  static_cast<double>(L.shown.Span()) * r.width());
            p.drawLine(QPointF(x, r.top()), QPointF(x, r.bottom()));
        }
        if (!pane.axes.empty()) {
            const Axis& a = pane.axes.front();
            for (int t = 0; t < a.ticks.count; ++t) {
                const double y =
                    crisp(r.bottom() - (a.ticks.At(t) - a.low) / (a.high - a.low) * r.height());
                p.drawLine(QPointF(r.left(), y), QPointF(r.right(), y));
            }
        }
        p.setPen(QPen(palette().color(QPalette::Mid), 0));
        p.drawRect(r);

        p.save();
        p.setClipRect(r.adjusted(-3, -3, 3, 3));
        for (const Axis& axis : pane.axes) {
            for (int16_t ch : axis.channels) {
                DrawLine(p, ch, pane, axis, L.shown);
            }
        }
        p.restore();

        for (const Axis& axis : pane.axes) {
            const double dir = axis.left ? -1.0 : 1.0;
            p.setPen(QPen(axis.color, 0));
            p.drawLine(QPointF(axis.x, r.top()), QPointF(axis.x, r.bottom()));
            double widest = 0.0;
            for (int t = 0; t < axis.ticks.count; ++t) {
                const double v = axis.ticks.At(t);
                const double y = r.bottom() - (v - axis.low) / (axis.high - axis.low) * r.height();
                p.drawLine(QPointF(axis.x, y), QPointF(axis.x + dir * kTick, y));
                const QString label = ValueText(v, axis.ticks.decimals);
                const double w = fm.horizontalAdvance(label);
                widest = std::max(widest, w);
                const double lx0 = axis.left ? axis.x - kTick - 3 - w : axis.x + kTick + 3;
                p.drawText(QPointF(lx0, y + fm.ascent() / 2 - 1), label);
            }
            // The axis title, turned to run along the axis.
            p.save();
            const double tx = axis.x + dir * (kTick + 3 + widest + kGap);
            p.translate(axis.left ? tx - fm.descent() : tx + fm.ascent(), r.center().y());
            p.rotate(-90);
            p.drawText(QPointF(-fm.horizontalAdvance(axis.title) / 2, 0), axis.title);
            p.restore();
        }
    }

    // The time axis under the lowest pane.
    const QRectF& last = L.panes.back().plot;
    p.setPen(text);
    for (Millis t : L.time.times) {
        const double x = last.left() + static_cast<double>(t - L.shown.from) /
                                           static_cast<double>(L.shown.Span()) * last.width();
        p.drawLine(QPointF(x, last.bottom()), QPointF(x, last.bottom() + kTick));
        const QString label = TimeText(t, L.time.label);
        const double w = fm.horizontalAdvance(label);
        const double lx0 = std::clamp(x - w / 2, 0.0, width() - w);
        p.drawText(QPointF(lx0, last.bottom() + kTick + fm.ascent() + 1), label);
    }
    if (drawn.empty()) {
        p.setPen(palette().color(QPalette::PlaceholderText));
        p.drawText(L.plot, Qt::AlignCenter,
                   buffer_ == nullptr ? tr("Not connected") : tr("Waiting for readings..."));
    }
}

TimeRange StripChart::Shown() const {
    return window_.Visible(clock_(), first_);
}

std::vector<QString> StripChart::TimeLabels() const {
    const Layout L = ComputeLayout();
    std::vector<QString> out;
    for (Millis t : L.time.times) {
        out.push_back(TimeText(t, L.time.label));
    }
    return out;
}

std::vector<QString> StripChart::ValueLabels(int16_t channel) const {
    for (const Pane& pane : ComputeLayout().panes) {
        for (const Axis& axis : pane.axes) {
            if (std::find(axis.channels.begin(), axis.channels.end(), channel) !=
                axis.channels.end()) {
                std::vector<QString> out;
                for (int t = 0; t < axis.ticks.count; ++t) {
                    out.push_back(ValueText(axis.ticks.At(t), axis.ticks.decimals));
                }
                return out;
            }
        }
    }
    return {};
}

std::optional<std::pair<double, double>> StripChart::AxisRangeOf(int16_t channel) const {
    for (const Pane& pane : ComputeLayout().panes) {
        for (const Axis& axis : pane.axes) {
            if (std::find(axis.channels.begin(), axis.channels.end(), channel) !=
                axis.channels.end()) {
                return std::make_pair(axis.low, axis.high);
            }
        }
    }
    return std::nullopt;
}

size_t StripChart::PointsShown(int16_t channel) const {
    if (buffer_ == nullptr) {
        return 0;
    }
    const TimeRange shown = Shown();
    size_t n = 0;
    for (const Sample& s : buffer_->PlotSamples(channel)) {
        n += s.time >= shown.from && s.time <= shown.to ? 1 : 0;
    }
    return n;
}

QColor StripChart::ColorOf(int16_t channel) const {
    return PaletteColor(channel);
}

Millis StripChart::TimeAt(double x) const {
    const Layout L = ComputeLayout();
    const double share = L.plot.width() > 0 ? (x - L.plot.left()) / L.plot.width() : 1.0;
    return L.shown.from +
           static_cast<Millis>(std::llround(share * static_cast<double>(L.shown.Span())));
}

void StripChart::ZoomBy(double factor) {
    window_.Zoom(factor, TimeAt(ComputeLayout().plot.center().x()), clock_(), first_);
    update();
    emit windowChanged();
}

void StripChart::PanBy(double shareOfWidth) {
    const TimeRange shown = Shown();
    window_.Pan(static_cast<Millis>(std::llround(shareOfWidth * static_cast<double>(shown.Span()))),
                clock_(), first_);
    update();
    emit windowChanged();
}

void StripChart::FollowLive() {
    window_.Follow();
    update();
    emit windowChanged();
}

void StripChart::wheelEvent(QWheelEvent* event) {
    const int steps = event->angleDelta().y();
    if (steps == 0) {
        return;
    }
    const double factor = steps > 0 ? 1.0 / kZoomStep : kZoomStep;
    window_.Zoom(factor, TimeAt(event->position().x()), clock_(), first_);
    update();
    emit windowChanged();
    event->accept();
}

void StripChart::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        dragFrom_ = event->position();
        setCursor(Qt::ClosedHandCursor);
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void StripChart::mouseMoveEvent(QMouseEvent* event) {
    if (dragFrom_) {
        const double dx = event->position().x() - dragFrom_->x();
        const double width = ComputeLayout().plot.width();
        if (width > 0 && dx != 0.0) {
            // Dragging right brings earlier readings into view.
            PanBy(-dx / width);
            dragFrom_ = event->position();
        }
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void StripChart::mouseReleaseEvent(QMouseEvent* event) {
    if (dragFrom_ && event->button() == Qt::LeftButton) {
        dragFrom_.reset();
        unsetCursor();
        event->accept();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

void StripChart::mouseDoubleClickEvent(QMouseEvent* event) {
    FollowLive();
    event->accept();
}

void StripChart::keyPressEvent(QKeyEvent* event) {
    switch (event->key()) {
        case Qt::Key_Plus:
        case Qt::Key_Equal:
            ZoomBy(1.0 / kZoomStep);
            break;
        case Qt::Key_Minus:
            ZoomBy(kZoomStep);
            break;
        case Qt::Key_Left:
            PanBy(-kPanStep);
            break;
        case Qt::Key_Right:
            PanBy(kPanStep);
            break;
        case Qt::Key_End:
            FollowLive();
            break;
        default:
            QWidget::keyPressEvent(event);
            return;
    }
    event->accept();
}

}  // namespace vesk::gui
