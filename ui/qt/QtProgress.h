#pragma once
// The progress display long operations drive: a small window with a status text, a bar and
// a Cancel button; it appears with the first status and answers "cancelled" once clicked.
#include <QDialog>
#include <QPointer>

#include "vesk4710/platform/IProgress.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace vesk {

class QtProgressWindow : public QDialog {
    Q_OBJECT
  public:
    explicit QtProgressWindow(QWidget* parent);
    QLabel* status;
    QProgressBar* bar;
    QPushButton* cancel;
    bool cancelled = false;

  protected:
    void closeEvent(QCloseEvent* event) override;
};

class QtProgress : public IProgress {
  public:
    QtProgress();
    ~QtProgress() override;
    void SetOwner(IForm* owner, bool ownerGiven) override;
    void StartPhase(const std::string& text, double stepPercent) override;
    bool Step() override;
    void Status(const std::string& text, double percent) override;
    bool Continue() override;
    void Reset() override;
    void Hide() override;
    void Close() override;

    // For tests and the application: the window while it exists.
    QtProgressWindow* Window() const { return window_.data(); }

  private:
    void Ensure();
    void Show(const std::string& text, double percent);

    QWidget* owner_ = nullptr;
    QPointer<QtProgressWindow> window_;
    double percent_ = 0.0;
    double step_ = 0.0;
};

}  // namespace vesk
