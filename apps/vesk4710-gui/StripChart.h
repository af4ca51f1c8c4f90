#pragma once
// The strip chart, drawn by hand so that every tick is a round number: the live channels over
// a shared time axis, on one shared value axis, one axis per channel, or stacked panes. Drag
// pans, the wheel zooms, a double click (or End) goes back to following the newest readings.
#include <QColor>
#include <QRectF>
#include <QWidget>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "apps/vesk4710-gui/model/ChartScale.h"
#include "apps/vesk4710-gui/model/LiveSession.h"
#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "apps/vesk4710-gui/model/TimeWindow.h"

namespace vesk::gui {

enum class AxisMode { kShared, kPerChannel, kStacked };

class StripChart : public QWidget {
    Q_OBJECT
  public:
    explicit StripChart(std::function<Millis()> clock = SystemMillis, QWidget* parent = nullptr);

    // Takes the buffer's readings and the channels to draw, and draws them.
    void Sync(const ReadingBuffer& buffer, const std::vector<ChannelInfo>& channels);
    // Draws again (after a pan, a zoom or a new span).
    void UpdateRange();
    void Clear();

    TimeWindow& Window() { return window_; }
    AxisMode Mode() const { return mode_; }
    void SetMode(AxisMode mode);
    // Saves the chart as drawn, at the screen's resolution; false when it cannot be written.
    bool SavePng(const QString& path);

    void ZoomBy(double factor);
    void PanBy(double shareOfWidth);
    void FollowLive();

    // What the chart shows at its present size, for tests and the status bar.
    TimeRange Shown() const;
    std::vector<QString> TimeLabels() const;
    // The labels of the value axis the channel is read against; empty when it is not drawn.
    std::vector<QString> ValueLabels(int16_t channel) const;
    // The value range of that axis.
    std::optional<std::pair<double, double>> AxisRangeOf(int16_t channel) const;
    // Readings of the channel inside the time shown.
    size_t PointsShown(int16_t channel) const;
    QColor ColorOf(int16_t channel) const;

  signals:
    // The user moved or zoomed the window, or went back to following.
    void windowChanged();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    struct Axis {
        std::vector<int16_t> channels;  // read against it
        double low = 0.0;
        double high = 1.0;
        ValueTicks ticks;
        QString title;
        QColor color;
        bool left = true;
        double x = 0.0;  // where its line is drawn
    };
    struct Pane {
        QRectF plot;
        std::vector<Axis> axes;
    };
    struct Layout {
        TimeRange shown;
        QRectF plot;  // all panes together
        std::vector<Pane> panes;
        TimeTicks time;
        QRectF legend;
    };
    Layout ComputeLayout() const;
    // The channels with readings to draw, in number order.
    std::vector<int16_t> Drawn() const;
    std::optional<std::pair<double, double>> RangeOf(const std::vector<int16_t>& channels,
                                                     const TimeRange& shown) const;
    QString TimeText(Millis time, TimeLabel label) const;
    QString ValueText(double value, int decimals) const;
    void DrawLine(QPainter& p, int16_t channel, const Pane& pane, const Axis& axis,
                  const TimeRange& shown) const;
    // Time under a horizontal position in the plot area.
    Millis TimeAt(double x) const;

    std::function<Millis()> clock_;
    TimeWindow window_;
    AxisMode mode_ = AxisMode::kPerChannel;
    const ReadingBuffer* buffer_ = nullptr;
    std::vector<ChannelInfo> channels_;
    std::optional<Millis> first_;
    // A held window moves with the mouse from where the drag started.
    std::optional<QPointF> dragFrom_;
};

}  // namespace vesk::gui
