#include "apps/vesk4710-gui/StatisticsPanel.h"

#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QSpinBox>
#include <QTableWidget>
#include <QVBoxLayout>

#include "ui/qt/QtControls.h"

namespace vesk::gui {

namespace {

constexpr int kMinuteMs = 60 * 1000;

enum Column { kChannel, kStatus, kMean, kStdDev, kDrift, kMinimum, kMaximum, kCount, kColumns };

QDoubleSpinBox* LimitBox(const QString& name, const QString& tip) {
    auto* box = new QDoubleSpinBox;
    box->setObjectName(name);
    box->setDecimals(6);
    box->setRange(0.0, 1000.0);
    box->setSingleStep(0.0001);
    box->setToolTip(tip);
    return box;
}

}  // namespace

StatisticsPanel::StatisticsPanel(QWidget* parent) : QWidget(parent) {
    setObjectName("statisticsPanel");
    spnWindow = new QSpinBox;
    spnWindow->setObjectName("spnWindow");
    spnWindow->setRange(1, 240);
    spnWindow->setSuffix(tr(" min"));
    spnWindow->setToolTip(tr("How far back the statistics reach"));
    spnMaxSd = LimitBox("spnMaxSd", tr("Stable only while the standard deviation over the window "
                                       "is at most this, in the readings' unit"));
    spnMaxDrift = LimitBox("spnMaxDrift", tr("Stable only while the drift over the window is at "
                                             "most this per minute, either way"));

    auto* controls = new QHBoxLayout;
    const auto add = [controls](const QString& text, QWidget* box) {
        auto* label = new QLabel(text);
        label->setBuddy(box);
        controls->addWidget(label);
        controls->addWidget(box);
        controls->addSpacing(12);
    };
    add(tr("&Window"), spnWindow);
    add(tr("Stable below: std &dev"), spnMaxSd);
    add(tr("d&rift per min"), spnMaxDrift);
    controls->addStretch(1);

    tblChannels = new QTableWidget(0, kColumns);
    tblChannels->setObjectName("tblStatistics");
    tblChannels->setHorizontalHeaderLabels({tr("Channel"), tr("Status"), tr("Mean"), tr("Std dev"),
                                            tr("Drift /min"), tr("Minimum"), tr("Maximum"),
                                            tr("Readings")});
    tblChannels->verticalHeader()->hide();
    tblChannels->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tblChannels->setSelectionMode(QAbstractItemView::NoSelection);
    tblChannels->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    tblChannels->horizontalHeader()->setSectionResizeMode(kStatus, QHeaderView::Stretch);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 4, 6, 4);
    layout->addLayout(controls);
    layout->addWidget(tblChannels, 1);

    const auto changed = [this] {
        emit settingsChanged(static_cast<qint64>(spnWindow->value()) * kMinuteMs, spnMaxSd->value(),
                             spnMaxDrift->value());
    };
    connect(spnWindow, &QSpinBox::valueChanged, this, changed);
    connect(spnMaxSd, &QDoubleSpinBox::valueChanged, this, changed);
    connect(spnMaxDrift, &QDoubleSpinBox::valueChanged, this, changed);
}

void StatisticsPanel::ShowSettings(Millis window, const stats::Limits& limits) {
    const QSignalBlocker a(spnWindow);
    const QSignalBlocker b(spnMaxSd);
    const QSignalBlocker c(spnMaxDrift);
    spnWindow->setValue(static_cast<int>(std::max<Millis>(window / kMinuteMs, 1)));
    spnMaxSd->setValue(limits.maxStdDev);
    spnMaxDrift->setValue(limits.maxDriftPerMinute);
}

void StatisticsPanel::Show(const StatisticsBoard& board, Millis now) {
    const std::vector<int16_t> channels = board.Channels();
    tblChannels->setRowCount(static_cast<int>(channels.size()));
    const QLocale locale;
    for (int row = 0; row < static_cast<int>(channels.size()); ++row) {
        const int16_t channel = channels[static_cast<size_t>(row)];
        const stats::WindowStatistics* s = board.Of(channel);
        const stats::Summary sum = s->Current().value_or(stats::Summary{});
        const QString unit = ToQString(board.Unit(channel));
        const auto cell = [&](int column, const QString& text) {
            QTableWidgetItem* item = tblChannels->item(row, column);
            if (item == nullptr) {
                item = new QTableWidgetItem;
                tblChannels->setItem(row, column, item);
            }
            item->setText(text);
            item->setTextAlignment(column == kStatus ? Qt::AlignLeft | Qt::AlignVCenter
                                                     : Qt::AlignRight | Qt::AlignVCenter);
            return item;
        };
        cell(kChannel, tr("%1 (%2)").arg(channel).arg(unit));
        QTableWidgetItem* status = cell(kStatus, ToQString(board.StatusText(channel, now)));
        QFont bold = status->font();
        bold.setBold(s->State() != stats::Stability::kCollecting);
        status->setFont(bold);
        switch (s->State()) {
            case stats::Stability::kStable:
                status->setBackground(QColor(205, 235, 205));
                status->setForeground(QColor(0, 90, 0));
                break;
            case stats::Stability::kUnstable:
                status->setBackground(QColor(250, 222, 196));
                status->setForeground(QColor(140, 50, 0));
                break;
            case stats::Stability::kCollecting:
                status->setBackground(QBrush());
                status->setForeground(palette().color(QPalette::PlaceholderText));
                break;
        }
        cell(kMean, locale.toString(sum.mean, 'f', 5));
        cell(kStdDev, locale.toString(sum.stdDev, 'f', 6));
        cell(kDrift,
             (sum.driftPerMinute >= 0 ? "+" : "") + locale.toString(sum.driftPerMinute, 'f', 6));
        cell(kMinimum, locale.toString(sum.minimum, 'f', 5));
        cell(kMaximum, locale.toString(sum.maximum, 'f', 5));
        cell(kCount, locale.toString(static_cast<qulonglong>(sum.count)));
    }
}

}  // namespace vesk::gui
