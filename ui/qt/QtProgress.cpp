#include "ui/qt/QtProgress.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/support/Messages.h"

namespace vesk {

QtProgressWindow::QtProgressWindow(QWidget* parent) : QDialog(parent) {
    setObjectName("progress");
    setWindowTitle(kMsgCaption);
    status = new QLabel(this);
    status->setMinimumWidth(320);
    bar = new QProgressBar(this);
    bar->setRange(0, 1000);
    cancel = new QPushButton(tr("Cancel"), this);
    cancel->setObjectName("cmdCancel");
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(status);
    layout->addWidget(bar);
    layout->addWidget(cancel, 0, Qt::AlignRight);
    connect(cancel, &QPushButton::clicked, this, [this] {
        cancelled = true;
        cancel->setEnabled(false);
    });
}

void QtProgressWindow::closeEvent(QCloseEvent* event) {
    // Closing the window is the user's cancel; the operation closes it when it is done.
    cancelled = true;
    event->ignore();
}

QtProgress::QtProgress() = default;

QtProgress::~QtProgress() {
    delete window_.data();
}

void QtProgress::SetOwner(IForm* owner, bool ownerGiven) {
    owner_ = ownerGiven ? QtUi::WidgetOf(owner) : nullptr;
}

void QtProgress::Ensure() {
    if (!window_) {
        window_ = new QtProgressWindow(owner_);
        window_->setWindowModality(owner_ != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
    }
}

void QtProgress::Show(const std::string& text, double percent) {
    Ensure();
    percent_ = std::clamp(percent, 0.0, 100.0);
    window_->status->setText(ToQString(text));
    window_->bar->setValue(static_cast<int>(std::lround(percent_ * 10.0)));
    if (!window_->isVisible()) {
        window_->show();
    }
    QCoreApplication::processEvents();
}

void QtProgress::StartPhase(const std::string& text, double stepPercent) {
    step_ = stepPercent;
    Show(text, 0.0);
}

bool QtProgress::Step() {
    if (window_) {
        percent_ = std::min(100.0, percent_ + step_);
        window_->bar->setValue(static_cast<int>(std::lround(percent_ * 10.0)));
    }
    return Continue();
}

void QtProgress::Status(const std::string& text, double percent) {
    Show(text, percent);
}

bool QtProgress::Continue() {
    QCoreApplication::processEvents();
    return !(window_ && window_->cancelled);
}

void QtProgress::Reset() {
    percent_ = 0.0;
    if (window_) {
        window_->cancelled = false;
        window_->cancel->setEnabled(true);
        window_->bar->setValue(0);
    }
}

void QtProgress::Hide() {
    if (window_) {
        window_->hide();
    }
}

void QtProgress::Close() {
    if (window_) {
        window_->hide();
        window_->deleteLater();
        window_.clear();
    }
}

}  // namespace vesk
