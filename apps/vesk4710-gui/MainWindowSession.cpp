// The main window's session: connecting, the live readings and their recording, and the
// library's dialogs run against the connected instrument.
#include <QAction>
#include <QActionGroup>
#include <QDateTime>
#include <QFileDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QToolButton>
#include <algorithm>
#include <filesystem>

#include "apps/vesk4710-gui/ConnectDialog.h"
#include "apps/vesk4710-gui/MainWindow.h"
#include "apps/vesk4710-gui/StatisticsPanel.h"
#include "apps/vesk4710-gui/StripChart.h"
#include "ui/qt/QtControls.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/channel/CVesk4710Channel.h"

namespace vesk::gui {

namespace {

void ClearForm(QFormLayout* form) {
    while (form->rowCount() > 0) {
        form->removeRow(0);
    }
}

void FillForm(QFormLayout* form, const std::vector<std::pair<std::string, std::string>>& rows) {
    ClearForm(form);
    for (const auto& [name, value] : rows) {
        auto* label = new QLabel(ToQString(value));
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label->setWordWrap(true);
        form->addRow(ToQString(name + ":"), label);
    }
}

}  // namespace

bool MainWindow::ConnectTo(const ConnectionTarget& target) {
    pollTimer_.stop();
    if (!lastTarget_ || !(*lastTarget_ == target)) {
        // Readings of another instrument do not continue these lines.
        buffer_.Clear();
        chart_->Clear();
    }
    lastTarget_ = target;
    lblConnection->setText(tr("Connecting to %1...").arg(ToQString(target.Describe())));
    const bool ok = session_.Connect(target, this);
    if (ok) {
        SaveSettings();
        if (!options_.recordPath.empty() && !recording_) {
            if (const std::string problem = StartRecording(ToQString(options_.recordPath));
                !problem.empty()) {
                lblLastError->setText(ToQString("Not recording: " + problem));
            }
        }
    }
    ShowInfo();
    UpdateState();
    if (ok) {
        Tick();
    }
    return ok;
}

bool MainWindow::Reconnect() {
    if (!lastTarget_) {
        OpenConnectDialog();
        return session_.State() == LinkState::Connected;
    }
    return ConnectTo(*lastTarget_);
}

void MainWindow::Disconnect() {
    pollTimer_.stop();
    session_.Disconnect();
    ShowInfo();
    UpdateState();
}

void MainWindow::OpenConnectDialog() {
    ConnectDialog dialog(lastTarget_.value_or(ConnectionTarget{}), this);
    if (dialog.exec() != QDialog::Accepted || ConnectTo(dialog.Target())) {
        return;
    }
    // A device that never answered has not been reported by the library; a failed read has.
    const auto& error = session_.LastError();
    if (error && error->during.starts_with("connecting")) {
        ReportProblem("The connection failed.\r" + error->Text());
    }
}

void MainWindow::Tick() {
    if (session_.State() != LinkState::Connected) {
        UpdateState();
        return;
    }
    const std::optional<Failure> before = session_.LastError();
    const std::vector<Reading> readings = session_.Poll([this](const Reading& r) { Record(r); });
    if (readings.empty() && session_.Busy()) {
        return;
    }
    TakeReadings(readings);
    const bool errorChanged = session_.LastError().has_value() != before.has_value() ||
                              (before && session_.LastError()->time != before->time);
    if (errorChanged || session_.State() != LinkState::Connected) {
        ShowChannels();
        UpdateState();
    }
}

void MainWindow::Record(const Reading& r) {
    if (!recording_) {
        return;
    }
    const auto& channels = session_.Channels();
    const auto info = std::find_if(channels.begin(), channels.end(),
                                   [&r](const ChannelInfo& c) { return c.number == r.channel; });
    try {
        recording_->Write(r, info != channels.end() ? *info : ChannelInfo{});
    } catch (const AutomationError& e) {
        // The rows written stay; the user sees at once that no more are.
        const std::string path = recording_->Path();
        recording_.reset();
        actRecord->setChecked(false);
        lblLastError->setText(ToQString("Recording stopped: " + e.Description()));
        lblRecording->setText(tr("Not recording"));
        lblRecording->setToolTip(ToQString(path));
    }
}

void MainWindow::TakeReadings(const std::vector<Reading>& readings) {
    for (const Reading& r : readings) {
        buffer_.Add(r.channel, r.time, r.value, r.unit);
        stats_.Add(r.channel, r.time, r.value, r.unit);
    }
    if (recording_) {
        lblRecording->setText(
            tr("Recording %1: %2 readings")
                .arg(ToQString(std::filesystem::path(recording_->Path()).filename().string()))
                .arg(recording_->Count()));
    }
    buffer_.Prune(options_.clock());
    actExportCsv->setEnabled(buffer_.Count() > 0);
    ShowReadings();
    chart_->Sync(buffer_, session_.Channels());
    statsPanel_->Show(stats_, options_.clock());
}

std::string MainWindow::StartRecording(const QString& path) {
    if (session_.State() != LinkState::Connected || !session_.Instrument()) {
        return "connect to an instrument first";
    }
    try {
        recording_ = std::make_unique<Recording>(
            FromQString(path), session_.Target() ? session_.Target()->Device() : std::string(),
            session_.Instrument()->Serial());
    } catch (const AutomationError& e) {
        actRecord->setChecked(false);
        return e.Description();
    }
    actRecord->setChecked(true);
    lblRecording->setText(tr("Recording %1: 0 readings").arg(path));
    lblRecording->setToolTip(path);
    return {};
}

void MainWindow::StopRecording() {
    recording_.reset();
    actRecord->setChecked(false);
    lblRecording->setText(QString());
}

void MainWindow::RecordInteractive(bool on) {
    if (!on) {
        StopRecording();
        return;
    }
    actRecord->setChecked(false);
    const QString stamp = QDateTime::currentDateTime().toString("yyyyMMdd-HHmmss");
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Record readings to"), "recording-" + stamp + ".csv", tr("CSV files (*.csv)"),
        nullptr, QFileDialog::DontConfirmOverwrite);
    if (path.isEmpty()) {
        return;
    }
    if (const std::string problem = StartRecording(path); !problem.empty()) {
        ReportProblem("Recording did not start: " + problem + ".");
    }
}

bool MainWindow::RunOperation(const std::string& phrase,
                              const std::function<bool(CVesk4710&)>& op) {
    if (session_.State() != LinkState::Connected || session_.Busy()) {
        return false;
    }
    const bool ok = session_.Run(phrase, op);
    ShowInfo();
    UpdateState();
    return ok;
}

void MainWindow::EditChannel() {
    int16_t number = 1;
    const int row = channelList_->ListIndex();
    if (row >= 0) {
        number = static_cast<int16_t>(channelList_->ItemData(row));
    }
    RunOperation("attempting to edit channel settings", [number](CVesk4710& inst) {
        auto channel = inst.GetChannelReference(number);
        if (!channel) {
            throw AutomationError(kErrInvalidProcedureCall,
                                  "channel " + std::to_string(number) + " is on no module");
        }
        return channel->Edit();
    });
}

void MainWindow::ShowInfo() {
    FillForm(identification_, session_.Identification());
    FillForm(settingsForm_, session_.Settings());
    ShowChannels();
    ShowReadings();
}

void MainWindow::ShowChannels() {
    const QSignalBlocker quiet(lstChannels);
    const int row = lstChannels->currentRow();
    if (!session_.Instrument()) {
        lstChannels->clear();
        return;
    }
    // The library's own list text, filled through the list-control adapter.
    session_.Instrument()->FillChannelList(*channelList_);
    for (int i = 0; i < lstChannels->count(); ++i) {
        QListWidgetItem* item = lstChannels->item(i);
        const auto number = static_cast<int16_t>(channelList_->ItemData(i));
        item->setText(item->text().replace('\t', "  "));
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        bool live = false;
        for (const ChannelInfo& ch : session_.Channels()) {
            if (ch.number == number) {
                live = ch.live;
                item->setToolTip(ToQString(ch.conversion + ", " + ch.unit));
            }
        }
        item->setCheckState(live ? Qt::Checked : Qt::Unchecked);
    }
    if (row >= 0 && row < lstChannels->count()) {
        lstChannels->setCurrentRow(row);
    }
}

void MainWindow::ShowReadings() {
    // Rebuilt when the set of live channels changes, otherwise only the numbers change.
    std::vector<int16_t> live;
    for (const ChannelInfo& ch : session_.Channels()) {
        if (ch.live) {
            live.push_back(ch.number);
        }
    }
    std::vector<int16_t> shown;
    for (const auto& [number, label] : readingLabels_) {
        shown.push_back(number);
    }
    if (live != shown) {
        while (QLayoutItem* item = readingsGrid_->takeAt(0)) {
            delete item->widget();
            delete item;
        }
        readingLabels_.clear();
        int row = 0;
        for (int16_t number : live) {
            auto* name = new QLabel(tr("Channel %1").arg(number));
            auto* value = new QLabel(QString::fromUtf8("\u2014"));
            value->setObjectName(QString("lblReading%1").arg(number));
            QFont big = value->font();
            big.setPointSizeF(big.pointSizeF() * 1.8);
            big.setBold(true);
            value->setFont(big);
            value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            value->setMinimumWidth(value->fontMetrics().horizontalAdvance("-0000.0000 \u00B0C"));
            readingsGrid_->addWidget(name, row, 0);
            readingsGrid_->addWidget(value, row, 1);
            readingLabels_[number] = value;
            ++row;
        }
        if (live.empty()) {
            readingsGrid_->addWidget(new QLabel(tr("No channel is read.")), 0, 0);
        }
    }
    const QLocale locale;
    for (const auto& [number, label] : readingLabels_) {
        const auto latest = buffer_.Latest(number);
        if (!latest) {
            continue;
        }
        // Every digit of the reading, never rounded, padded with the zeros the channel's other
        // readings show: the instrument sends them, the number does not keep them.
        int32_t& decimals = readingDecimals_[number];
        decimals = std::max(decimals, DecimalsOf(latest->value));
        label->setText(locale.toString(latest->value, 'f', decimals) + " " +
                       ToQString(buffer_.Unit(number)));
        label->setToolTip(ToQString(IsoLocalTime(latest->time)));
    }
}

QLabel* MainWindow::ReadingLabel(int16_t channel) const {
    const auto found = readingLabels_.find(channel);
    return found == readingLabels_.end() ? nullptr : found->second;
}

void MainWindow::UpdateState() {
    const LinkState state = session_.State();
    const bool connected = state == LinkState::Connected;
    lblConnection->setText(ToQString(session_.StatusText()));
    const auto& error = session_.LastError();
    lblLastError->setText(error ? ToQString("Last error: " + error->Text()) : QString());
    lblLastError->setToolTip(error ? ToQString(IsoLocalTime(error->time)) : QString());

    // A lost or failed connection offers the way back instead of retrying on every tick.
    const bool offerReconnect = !connected && lastTarget_.has_value();
    actReconnect->setVisible(offerReconnect);
    actReconnect->setEnabled(offerReconnect);
    btnReconnect_->setVisible(offerReconnect);
    actDisconnect->setEnabled(state != LinkState::Disconnected);
    for (QAction* a : {actSettings, actChannel, actLogStatus, actLabel, actDownload, actRefresh}) {
        a->setEnabled(connected);
    }
    const bool haveReadings = buffer_.Count() > 0;
    actExportCsv->setEnabled(haveReadings);
    actExportPng->setEnabled(true);

    if (connected) {
        const int period = options_.pollMillis > 0 ? options_.pollMillis : session_.PollMillis();
        if (!pollTimer_.isActive() || pollTimer_.interval() != period) {
            pollTimer_.start(period);
        }
    } else {
        pollTimer_.stop();
    }
    const QString title = tr("Vesk 4710");
    setWindowTitle(connected && session_.Instrument()
                       ? title + " - " + ToQString(session_.Instrument()->Serial())
                       : title);
    if (spans_ != nullptr) {
        for (QAction* a : spans_->actions()) {
            a->setChecked(a->data().toLongLong() == chart_->Window().Span());
        }
    }
}

}  // namespace vesk::gui
