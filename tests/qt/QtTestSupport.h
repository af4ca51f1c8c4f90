#pragma once
// A host with the Qt services on the embedded simulator, and a driver that clicks through
// modal dialogs from the event loop while the library call that opened them waits.
#include <QTest>
#include <QtWidgets>
#include <deque>

#include "host/DefaultHost.h"
#include "simulator/EmbeddedLink.h"
#include "tests/qt/QtTestApplication.h"
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
        W* found = top->isVisible() ? top->findChild<W*>(objectName) : nullptr;
        if (found != nullptr) {
            return found;
        }
    }
    return nullptr;
}

inline QMessageBox* VisibleBox() {
    return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
}

// No wait cursor and no progress window: the dialog finished what it was doing.
inline bool Idle() {
    return QApplication::overrideCursor() == nullptr && Window("progress") == nullptr;
}

// Clicks from the event loop, so that a modal window it opens does not block the driver.
inline bool ClickLater(QAbstractButton* button) {
    return button != nullptr && button->isEnabled() &&
           QMetaObject::invokeMethod(button, "click", Qt::QueuedConnection);
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

// Types text into the visible passcode prompt, which hides it, and accepts it.
inline bool EnterPasscode(const char* text) {
    QWidget* prompt = Window("passcodePrompt");
    auto* edit = prompt != nullptr ? prompt->findChild<QLineEdit*>() : nullptr;
    if (edit == nullptr) {
        return false;
    }
    EXPECT_EQ(edit->echoMode(), QLineEdit::Password);
    QTest::keyClicks(edit, text);
    return QMetaObject::invokeMethod(prompt, "accept", Qt::QueuedConnection);
}

// Runs scripted steps on a timer; a step returns false to be tried again on the next tick.
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
    // Runs the event loop until every step ran or one timed out.
    void Wait() {
        while (!steps_.empty()) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, kTickMillis);
        }
    }

  private:
    static constexpr int kTickMillis = 20;

    void Tick() {
        if (busy_ || steps_.empty()) {
            return;
        }
        if (clock_.elapsed() > 30000) {
            ADD_FAILURE() << "timed out waiting for: " << steps_.front().first;
            steps_.clear();
            // A stuck test ends instead of hanging.
            for (QWidget* top : QApplication::topLevelWidgets()) {
                if (auto* dialog = qobject_cast<QDialog*>(top); dialog && dialog->isVisible()) {
                    dialog->reject();
                }
            }
            return;
        }
        busy_ = true;
        const bool done = steps_.front().second();
        busy_ = false;
        if (done) {
            steps_.pop_front();
            clock_.restart();
        }
    }
    std::deque<std::pair<std::string, std::function<bool()>>> steps_;
    QTimer timer_;
    QElapsedTimer clock_;
    bool busy_ = false;
};

// A fresh simulated instrument for every test, kept in memory only, behind the Qt services.
class QtDialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::RegisterEmbeddedLink({.persist = false, .reset = true});
        HostOptions options;
        options.console = false;
        options.ui = ui;
        options.registryPath = (dir / "settings.json").string();
        host = MakeDefaultHost(options);
        instrument = CVesk4710::Create(host);
        instrument->SetRegistry(host->CreateRegistry());
        ASSERT_TRUE(instrument->InitializeCommunications());
    }

    QTemporaryDir temp;
    std::filesystem::path dir{temp.path().toStdString()};
    std::shared_ptr<QtUi> ui = std::make_shared<QtUi>();
    std::shared_ptr<Host> host;
    std::shared_ptr<CVesk4710> instrument;
    Driver driver;
};

}  // namespace vesk::qttest
