// The main window's files: exporting the readings and the chart, and the window's own
// entry in the per-user settings (layout, chart and statistics choices, last connection).
#include <QAction>
#include <QFileDialog>
#include <QLabel>
#include <QSplitter>
#include <charconv>

#include "apps/vesk4710-gui/MainWindow.h"
#include "apps/vesk4710-gui/StatisticsPanel.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "components/registry/Registry.h"
#include "ui/qt/QtControls.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/support/Messages.h"

namespace vesk::gui {

namespace {

// The window's own entry in the per-user settings.
constexpr const char* kFormName = "vesk4710-gui";

std::optional<double> StoredNumber(const std::map<std::string, std::string>& state,
                                   const char* key) {
    const auto found = state.find(key);
    if (found == state.end()) {
        return std::nullopt;
    }
    bool ok = false;
    const double value = QString::fromStdString(found->second).toDouble(&ok);
    return ok ? std::optional<double>(value) : std::nullopt;
}

QByteArray FromBase64(const std::map<std::string, std::string>& state, const char* key) {
    const auto found = state.find(key);
    return found == state.end() ? QByteArray()
                                : QByteArray::fromBase64(QByteArray::fromStdString(found->second));
}

std::string ToBase64(const QByteArray& bytes) {
    return bytes.toBase64().toStdString();
}

}  // namespace

std::string MainWindow::ExportCsv(const QString& path) {
    if (buffer_.Count() == 0) {
        return "there are no readings to export yet";
    }
    return ExportReadings(buffer_, FromQString(path),
                          session_.Target() ? session_.Target()->Device() : std::string(),
                          session_.Instrument() ? session_.Instrument()->Serial() : std::string(),
                          session_.Channels());
}

std::string MainWindow::ExportChart(const QString& path) {
    if (!chart_->SavePng(path)) {
        return "cannot write " + FromQString(path);
    }
    return {};
}

void MainWindow::ReportProblem(const std::string& text) {
    ui_->MessageBox(text, kMbCritical, kMsgCaption, {}, 0);
}

void MainWindow::ExportInteractive(const QString& title, const QString& name, const QString& filter,
                                   const std::string& failure,
                                   std::string (MainWindow::*save)(const QString&)) {
    const QString path = QFileDialog::getSaveFileName(this, title, name, filter);
    if (path.isEmpty()) {
        return;
    }
    if (const std::string problem = (this->*save)(path); !problem.empty()) {
        ReportProblem(failure + ": " + problem + ".");
    }
}

void MainWindow::SaveSettings() {
    std::map<std::string, std::string> state;
    state["geometry"] = ToBase64(saveGeometry());
    state["windowState"] = ToBase64(saveState());
    state["splitter"] = ToBase64(splitter_->saveState());
    state["span"] = std::to_string(chart_->Window().Span());
    state["axes"] = std::to_string(static_cast<int>(chart_->Mode()));
    state["statsWindow"] = std::to_string(stats_.Window());
    state["statsMaxSd"] = QString::number(stats_.Limits().maxStdDev, 'g', 17).toStdString();
    state["statsMaxDrift"] =
        QString::number(stats_.Limits().maxDriftPerMinute, 'g', 17).toStdString();
    if (lastTarget_) {
        state["device"] = lastTarget_->Device();
        state["baud"] = std::to_string(lastTarget_->baud);
    }
    try {
        settings_->SaveFormState(kFormName, state);
    } catch (...) {
        // Losing the layout is no reason to stop; say so where the user looks.
        lblLastError->setText(tr("The window settings could not be saved."));
    }
}

void MainWindow::RestoreSettings() {
    std::map<std::string, std::string> state;
    try {
        state = settings_->LoadFormState(kFormName);
    } catch (...) {
        return;
    }
    if (const QByteArray g = FromBase64(state, "geometry"); !g.isEmpty()) {
        restoreGeometry(g);
    }
    if (const QByteArray s = FromBase64(state, "windowState"); !s.isEmpty()) {
        restoreState(s);
    }
    if (const QByteArray s = FromBase64(state, "splitter"); !s.isEmpty()) {
        splitter_->restoreState(s);
    }
    if (const auto span = state.find("span"); span != state.end()) {
        Millis ms = 0;
        const std::string& text = span->second;
        if (std::from_chars(text.data(), text.data() + text.size(), ms).ec == std::errc()) {
            chart_->Window().Span(ms);
        }
    }
    if (const auto axes = StoredNumber(state, "axes"); axes && *axes >= 0 && *axes <= 2) {
        const auto mode = static_cast<AxisMode>(static_cast<int>(*axes));
        chart_->SetMode(mode);
        (mode == AxisMode::kShared    ? actAxesShared
         : mode == AxisMode::kStacked ? actAxesStacked
                                      : actAxesPerChannel)
            ->setChecked(true);
    }
    if (const auto window = StoredNumber(state, "statsWindow"); window && *window >= 60000) {
        stats_.Window(static_cast<Millis>(*window));
    }
    const auto maxSd = StoredNumber(state, "statsMaxSd");
    const auto maxDrift = StoredNumber(state, "statsMaxDrift");
    if (maxSd && maxDrift && *maxSd >= 0 && *maxDrift >= 0) {
        stats_.SetLimits({*maxSd, *maxDrift});
    }
    statsPanel_->ShowSettings(stats_.Window(), stats_.Limits());
    lastTarget_ = SavedTarget();
}

std::optional<ConnectionTarget> MainWindow::SavedTarget() const {
    std::map<std::string, std::string> state;
    try {
        state = settings_->LoadFormState(kFormName);
    } catch (...) {
        return std::nullopt;
    }
    const auto device = state.find("device");
    if (device == state.end()) {
        return std::nullopt;
    }
    int32_t baud = 9600;
    if (const auto b = state.find("baud"); b != state.end()) {
        std::from_chars(b->second.data(), b->second.data() + b->second.size(), baud);
    }
    return ConnectionTarget::Parse(device->second, baud);
}

}  // namespace vesk::gui
