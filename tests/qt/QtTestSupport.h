#pragma once
// Qt dialogs on the offscreen platform against the embedded simulator: the application, a
// host with the Qt services, and a driver that clicks through modal dialogs from the event
// loop while the library call that opened them waits.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QMetaObject>
#include <QTimer>
#include <QUrl>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "components/host/DefaultHost.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::qttest {

// Runs scripted steps on a timer; a step returns false to be tried again on the next tick.
// Steps never block: clicks that open modal windows are queued.
class Driver : public QObject {
  public:
    Driver();
    ~Driver() override;
    Driver& Then(std::string name, std::function<bool()> step);
    void Start();
    bool Finished() const { return steps_.empty(); }
    // Keeps the event loop running until every step ran (after the call that opened the
    // dialogs returned); false when a step timed out.
    bool Wait();
    const std::string& Failure() const { return failure_; }

  private:
    void Tick();
    struct Step {
        std::string name;
        std::function<bool()> run;
    };
    std::deque<Step> steps_;
    QTimer timer_;
    QElapsedTimer clock_;
    std::string failure_;
    bool busy_ = false;
};

// A visible top-level window by object name, and a visible child of any top-level window.
QWidget* Window(const char* objectName);
template <class W>
W* Child(const char* objectName) {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (!top->isVisible()) {
            continue;
        }
        if (auto* found = top->findChild<W*>(objectName)) {
            return found;
        }
    }
    return nullptr;
}
QMessageBox* VisibleBox();
// No wait cursor and no progress window: the dialog finished what it was doing.
bool Idle();
// Clicks from the event loop, so that a modal window it opens does not block the driver.
void ClickLater(QAbstractButton* button);
bool ClickLater(const char* objectName);
// Answers the visible message box with the button; its text goes to text when given.
bool Answer(QMessageBox::StandardButton button, std::string* text = nullptr);
// Saves a picture of the window into the screenshot folder.
void Shot(QWidget* window, const std::string& name);

class QtDialogTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::filesystem::path dir;
    std::shared_ptr<QtUi> ui;
    std::shared_ptr<Host> host;
    std::shared_ptr<CVesk4710> instrument;
    std::vector<QUrl> helpOpened;
    Driver driver;
};

}  // namespace vesk::qttest
