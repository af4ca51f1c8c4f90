#pragma once
// The strip chart: one line and one value axis per channel over a shared time axis. Drag
// pans, the wheel zooms, a double click (or End) goes back to the newest readings.
#include <QChartView>
#include <QDateTimeAxis>
#include <QLineSeries>
#include <QValueAxis>
#include <functional>
#include <map>
#include <vector>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "apps/vesk4710-gui/model/TimeWindow.h"

namespace vesk::gui {

class StripChart : public QChartView {
    Q_OBJECT
  public:
    explicit StripChart(std::function<Millis()> clock = SystemMillis, QWidget* parent = nullptr);

    // Brings the lines up to the buffer and the axes to the window.
    void Sync(const ReadingBuffer& buffer, const std::vector<ChannelInfo>& channels);
    // Applies the time window again (after a pan, a zoom or a new span).
    void UpdateRange();
    void Clear();

    TimeWindow& Window() { return window_; }
    QLineSeries* Series(int16_t channel) const;
    QValueAxis* ValueAxis(int16_t channel) const;
    QDateTimeAxis* TimeAxis() const { return timeAxis_; }
    // Saves the chart as drawn, at the screen's resolution; false when it cannot be written.
    bool SavePng(const QString& path);

    void ZoomBy(double factor);
    void PanBy(double shareOfWidth);
    void FollowLive();

  signals:
    // The user moved or zoomed the window, or went back to following.
    void windowChanged();

  protected:
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    struct Line {
        QLineSeries* series = nullptr;
        QValueAxis* axis = nullptr;
        std::string unit;
    };
    Line& LineFor(const ChannelInfo& channel);
    // Time under a horizontal position in the plot area.
    Millis TimeAt(double x) const;

    std::function<Millis()> clock_;
    TimeWindow window_;
    QDateTimeAxis* timeAxis_;
    std::map<int16_t, Line> lines_;
    std::optional<Millis> first_;
    // A held window moves with the mouse from where the drag started.
    std::optional<QPointF> dragFrom_;
    const ReadingBuffer* buffer_ = nullptr;
};

}  // namespace vesk::gui
