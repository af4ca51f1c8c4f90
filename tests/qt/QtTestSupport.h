#pragma once
// Qt dialogs on the offscreen platform against the embedded simulator: the application, a
// host with the Qt services, and a driver that clicks through modal dialogs from the event
// loop while the library call that opened them waits.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QMessageBox>
#include <QMetaObject>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/DefaultHost.h"
#include "ui/qt/QtUi.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::qttest {

// A visible top-level window by object name, and a visible child of any top-level window.
inline QWidget* Window(const char* objectName) {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (top->isVisible() && top->objectName() == objectName) {
            return top;
        }
    }
    return nullptr;
}

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

template <class W>
W* VisibleTop() {
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (auto* found = qobject_cast<W*>(top); found != nullptr && found->isVisible()) {
            return found;
        }
    }
    return nullptr;
}

inline QMessageBox* VisibleBox() {
    return VisibleTop<QMessageBox>();
}

// No wait cursor and no progress window: the dialog finished what it was doing.
inline bool Idle() {
    return QApplication::overrideCursor() == nullptr && Window("progress") == nullptr;
}

// Clicks from the event loop, so that a modal window it opens does not block the driver.
inline bool ClickLater(QAbstractButton* button) {
    if (button == nullptr || !button->isEnabled()) {
        return false;
    }
    return QMetaObject::invokeMethod(button, "click", Qt::QueuedConnection);
}

inline bool ClickLater(const char* objectName) {
    return ClickLater(Child<QAbstractButton>(objectName));
}

// Answers the visible message box with the button; its text goes to text when given.
inline bool Answer(QMessageBox::StandardButton which, std::string* text = nullptr) {
    QMessageBox* box = VisibleBox();
    if (box == nullptr || box->button(which) == nullptr) {
        return false;
    }
    if (text != nullptr) {
        *text = box->text().toStdString();
    }
    return ClickLater(box->button(which));
}

// Types text into the visible passcode prompt and accepts it.
inline bool EnterPasscode(const char* text) {
    QWidget* prompt = Window("passcodePrompt");
    auto* edit = prompt != nullptr ? prompt->findChild<QLineEdit*>() : nullptr;
    if (edit == nullptr) {
        return false;
    }
    QTest::keyClicks(edit, text);
    return QMetaObject::invokeMethod(prompt, "accept", Qt::QueuedConnection);
}

// Saves a picture of the window into the screenshot folder.
inline void Shot(QWidget* window, const std::string& name) {
    const QString folder = QString::fromUtf8(VESK_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    const bool saved = window->grab().save(folder + "/" + QString::fromStdString(name) + ".png");
    EXPECT_TRUE(saved) << "screenshot " << name;
}

// Runs scripted steps on a timer; a step returns false to be tried again on the next tick.
// Steps never block: clicks that open modal windows are queued.
class Driver : public QObject {
  public:
    Driver() {
        connect(&timer_, &QTimer::timeout, this, [this] { Tick(); });
    }
    Driver& Then(std::string name, std::function<bool()> step) {
        steps_.push_back({std::move(name), std::move(step)});
        return *this;
    }
    void Start() {
        clock_.start();
        timer_.start(kTickMillis);
    }
    bool Finished() const { return steps_.empty(); }
    // Keeps the event loop running until every step ran (after the call that opened the
    // dialogs returned); false when a step timed out.
    bool Wait() {
        while (!steps_.empty()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, kTickMillis);
        }
        return failure_.empty();
    }

  private:
    static constexpr int kTickMillis = 20;
    static constexpr qint64 kStepTimeoutMillis = 30000;

    void Tick() {
        if (busy_) {
            return;
        }
        if (steps_.empty()) {
            timer_.stop();
            return;
        }
        if (clock_.elapsed() > kStepTimeoutMillis) {
            failure_ = "timed out waiting for: " + steps_.front().name;
            ADD_FAILURE() << failure_;
            steps_.clear();
            // Closes whatever modal window is left so that a stuck test ends instead of hanging.
            for (QWidget* top : QApplication::topLevelWidgets()) {
                if (auto* dialog = qobject_cast<QDialog*>(top); dialog && dialog->isVisible()) {
                    dialog->reject();
                }
            }
            return;
        }
        busy_ = true;
        const bool done = steps_.front().run();
        busy_ = false;
        if (done) {
            steps_.pop_front();
            clock_.restart();
        }
    }
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

class QtDialogTest : public ::testing::Test {
  protected:
    void SetUp() override;

    QTemporaryDir temp;
    std::filesystem::path dir{temp.path().toStdString()};
    std::shared_ptr<QtUi> ui;
    std::shared_ptr<Host> host;
    std::shared_ptr<CVesk4710> instrument;
    std::vector<QUrl> helpOpened;
    Driver driver;
};

}  // namespace vesk::qttest
