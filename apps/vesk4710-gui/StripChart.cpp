#include "apps/vesk4710-gui/StripChart.h"

#include <QDateTime>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPixmap>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "ui/qt/QtControls.h"

namespace vesk::gui {

namespace {

constexpr double kZoomStep = 1.25;
constexpr double kPanStep = 0.2;
constexpr int kTimeTicks = 6;

QDateTime TimeOf(Millis t) {
    return QDateTime::fromMSecsSinceEpoch(t);
}

// A flat line still gets a readable band around it.
std::pair<double, double> Padded(double low, double high) {
    const double span = high - low;
    const double pad = span > 0.0 ? span * 0.1 : std::max(std::abs(high) * 1e-4, 1e-3);
    return {low - pad, high + pad};
}

// Enough decimals that neighbouring ticks never read the same.
QString LabelFormat(double low, double high, int ticks) {
    const double step = (high - low) / std::max(ticks - 1, 1);
    const int decimals = step > 0.0 ? static_cast<int>(std::ceil(-std::log10(step))) : 0;
    return QString("%.%1f").arg(std::clamp(decimals, 0, 9));
}

}  // namespace

StripChart::StripChart(std::function<Millis()> clock, QWidget* parent)
    : QChartView(new QChart(), parent), clock_(std::move(clock)), timeAxis_(new QDateTimeAxis) {
    setObjectName("chart");
    setRenderHint(QPainter::Antialiasing);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(360, 240);
    chart()->setTitle(tr("Readings"));
    chart()->legend()->setAlignment(Qt::AlignBottom);
    timeAxis_->setFormat("HH:mm:ss");
    timeAxis_->setTickCount(kTimeTicks);
    timeAxis_->setTitleText(tr("Time"));
    chart()->addAxis(timeAxis_, Qt::AlignBottom);
    setToolTip(tr("Drag to pan, wheel to zoom, double-click to follow the newest readings"));
    UpdateRange();
}

QLineSeries* StripChart::Series(int16_t channel) const {
    const auto found = lines_.find(channel);
    return found == lines_.end() ? nullptr : found->second.series;
}

QValueAxis* StripChart::ValueAxis(int16_t channel) const {
    const auto found = lines_.find(channel);
    return found == lines_.end() ? nullptr : found->second.axis;
}

StripChart::Line& StripChart::LineFor(const ChannelInfo& channel) {
    Line& line = lines_[channel.number];
    if (line.series == nullptr) {
        line.series = new QLineSeries(this);
        line.series->setName(tr("Channel %1").arg(channel.number));
        chart()->addSeries(line.series);
        line.axis = new QValueAxis(this);
        // Channels alternate sides so that two value scales never overlap.
        const bool left = lines_.size() % 2 == 1;
        chart()->addAxis(line.axis, left ? Qt::AlignLeft : Qt::AlignRight);
        line.series->attachAxis(timeAxis_);
        line.series->attachAxis(line.axis);
        const QColor color = line.series->pen().color();
        line.axis->setLabelsColor(color);
        line.axis->setTitleBrush(color);
        line.axis->setLinePenColor(color);
    }
    return line;
}

void StripChart::Sync(const ReadingBuffer& buffer, const std::vector<ChannelInfo>& channels) {
    buffer_ = &buffer;
    first_ = buffer.FirstTime();
    for (const ChannelInfo& info : channels) {
        const std::vector<Sample> plot = buffer.PlotSamples(info.number);
        if (plot.empty() && lines_.find(info.number) == lines_.end()) {
            continue;
        }
        Line& line = LineFor(info);
        const std::string unit = plot.empty() ? info.unit : buffer.Unit(info.number);
        if (line.unit != unit) {
            // Another unit is another quantity: its line starts anew.
            line.series->clear();
            line.unit = unit;
            line.axis->setTitleText(tr("Ch %1 (%2)").arg(info.number).arg(ToQString(unit)));
        }
        if (plot.empty()) {
            line.series->clear();
            continue;
        }
        // Drop what the buffer forgot, then append what is new.
        int stale = 0;
        while (stale < line.series->count() &&
               line.series->at(stale).x() < static_cast<double>(plot.front().time)) {
            ++stale;
        }
        if (stale > 0) {
            line.series->removePoints(0, stale);
        }
        const double last =
            line.series->count() > 0 ? line.series->at(line.series->count() - 1).x() : -1.0;
        QList<QPointF> fresh;
        for (auto it = plot.rbegin(); it != plot.rend() && static_cast<double>(it->time) > last;
             ++it) {
            fresh.prepend(QPointF(static_cast<double>(it->time), it->value));
        }
        if (!fresh.isEmpty()) {
            line.series->append(fresh);
        }
    }
    UpdateRange();
}

void StripChart::Clear() {
    for (auto& [channel, line] : lines_) {
        chart()->removeSeries(line.series);
        chart()->removeAxis(line.axis);
        delete line.series;
        delete line.axis;
    }
    lines_.clear();
    first_.reset();
    buffer_ = nullptr;
    UpdateRange();
}

void StripChart::UpdateRange() {
    const TimeRange shown = window_.Visible(clock_(), first_);
    timeAxis_->setRange(TimeOf(shown.from), TimeOf(shown.to));
    timeAxis_->setFormat(shown.Span() > 12LL * 3600 * 1000 ? "dd HH:mm" : "HH:mm:ss");
    if (buffer_ == nullptr) {
        return;
    }
    for (auto& [channel, line] : lines_) {
        if (const auto range = buffer_->ValueRange(channel, shown.from, shown.to)) {
            const auto [low, high] = Padded(range->first, range->second);
            line.axis->setRange(low, high);
            line.axis->setLabelFormat(LabelFormat(low, high, line.axis->tickCount()));
        }
    }
}

bool StripChart::SavePng(const QString& path) {
    return grab().save(path, "PNG");
}

Millis StripChart::TimeAt(double x) const {
    const QRectF area = chart()->plotArea();
    const TimeRange shown = window_.Visible(clock_(), first_);
    const double share = area.width() > 0 ? (x - area.left()) / area.width() : 1.0;
    return shown.from +
           static_cast<Millis>(std::llround(share * static_cast<double>(shown.Span())));
}

void StripChart::ZoomBy(double factor) {
    const QRectF area = chart()->plotArea();
    window_.Zoom(factor, TimeAt(area.center().x()), clock_(), first_);
    UpdateRange();
    emit windowChanged();
}

void StripChart::PanBy(double shareOfWidth) {
    const TimeRange shown = window_.Visible(clock_(), first_);
    window_.Pan(static_cast<Millis>(std::llround(shareOfWidth * static_cast<double>(shown.Span()))),
                clock_(), first_);
    UpdateRange();
    emit windowChanged();
}

void StripChart::FollowLive() {
    window_.Follow();
    UpdateRange();
    emit windowChanged();
}

void StripChart::wheelEvent(QWheelEvent* event) {
    const int steps = event->angleDelta().y();
    if (steps == 0) {
        return;
    }
    const double factor = steps > 0 ? 1.0 / kZoomStep : kZoomStep;
    window_.Zoom(factor, TimeAt(event->position().x()), clock_(), first_);
    UpdateRange();
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
    QChartView::mousePressEvent(event);
}

void StripChart::mouseMoveEvent(QMouseEvent* event) {
    if (dragFrom_) {
        const double dx = event->position().x() - dragFrom_->x();
        const double width = chart()->plotArea().width();
        if (width > 0 && dx != 0.0) {
            // Dragging right brings earlier readings into view.
            PanBy(-dx / width);
            dragFrom_ = event->position();
        }
        event->accept();
        return;
    }
    QChartView::mouseMoveEvent(event);
}

void StripChart::mouseReleaseEvent(QMouseEvent* event) {
    if (dragFrom_ && event->button() == Qt::LeftButton) {
        dragFrom_.reset();
        unsetCursor();
        event->accept();
        return;
    }
    QChartView::mouseReleaseEvent(event);
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
            QChartView::keyPressEvent(event);
            return;
    }
    event->accept();
}

}  // namespace vesk::gui
