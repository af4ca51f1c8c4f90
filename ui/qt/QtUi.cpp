#include "ui/qt/QtUi.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QElapsedTimer>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtDialogs.h"
#include "ui/qt/QtHelpViewer.h"
#include "ui/qt/QtProgress.h"
#include "vesk4710/support/Messages.h"

namespace vesk {

namespace {

constexpr int32_t kButtonsMask = 7;
constexpr int32_t kIconMask = 0x70;
constexpr int32_t kDefaultButtonMask = 0x300;
constexpr int32_t kIconExclamation = 48;

struct Choice {
    QMessageBox::StandardButton button;
    int32_t answer;
};

std::vector<Choice> ButtonsOf(int32_t style) {
    switch (style & kButtonsMask) {
        case 1:
            return {{QMessageBox::Ok, kAnsOk}, {QMessageBox::Cancel, kAnsCancel}};
        case 2:
            return {{QMessageBox::Abort, 3}, {QMessageBox::Retry, 4}, {QMessageBox::Ignore, 5}};
        case 3:
            return {{QMessageBox::Yes, kAnsYes},
                    {QMessageBox::No, kAnsNo},
                    {QMessageBox::Cancel, kAnsCancel}};
        case 4:
            return {{QMessageBox::Yes, kAnsYes}, {QMessageBox::No, kAnsNo}};
        case 5:
            return {{QMessageBox::Retry, 4}, {QMessageBox::Cancel, kAnsCancel}};
        default:
            return {{QMessageBox::Ok, kAnsOk}};
    }
}

QMessageBox::Icon IconOf(int32_t style) {
    switch (style & kIconMask) {
        case kMbCritical:
            return QMessageBox::Critical;
        case kMbQuestion:
            return QMessageBox::Question;
        case kIconExclamation:
            return QMessageBox::Warning;
        case kMbInformation:
            return QMessageBox::Information;
        default:
            return QMessageBox::NoIcon;
    }
}

QElapsedTimer& Clock() {
    static QElapsedTimer clock = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return clock;
}

}  // namespace

std::string DisplayText(const std::string& prompt) {
    std::string out;
    out.reserve(prompt.size());
    for (size_t i = 0; i < prompt.size(); ++i) {
        if (prompt[i] == '\r') {
            out += '\n';
            if (i + 1 < prompt.size() && prompt[i + 1] == '\n') {
                ++i;
            }
        } else {
            out += prompt[i];
        }
    }
    return out;
}

QtUi::QtUi() : opener_([](const QUrl& url) { return QtHelpViewer::Open(url); }) {
    Clock();
}

QtUi::~QtUi() {
    if (cursorOverridden_ && QGuiApplication::instance() != nullptr) {
        QApplication::restoreOverrideCursor();
    }
}

QWidget* QtUi::WidgetOf(IForm* form) {
    return dynamic_cast<QWidget*>(form);
}

int32_t QtUi::MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                         const std::string& helpFile, int32_t helpContext) {
    const auto choices = ButtonsOf(style);
    const int defaultIndex = (style & kDefaultButtonMask) >> 8;
    while (true) {
        QMessageBox box(IconOf(style), ToQString(caption), ToQString(DisplayText(prompt)),
                        QMessageBox::NoButton, QApplication::activeWindow());
        box.setObjectName("messageBox");
        for (const auto& choice : choices) {
            box.addButton(choice.button);
        }
        if (defaultIndex < static_cast<int>(choices.size())) {
            box.setDefaultButton(choices[static_cast<size_t>(defaultIndex)].button);
        }
        if ((style & kMbHelpButton) != 0) {
            box.addButton(QMessageBox::Help);
        }
        const auto clicked = static_cast<QMessageBox::StandardButton>(box.exec());
        if (clicked == QMessageBox::Help) {
            // Help opens the topic and leaves the question standing.
            ShowHelp(helpFile, 1, helpContext);
            continue;
        }
        for (const auto& choice : choices) {
            if (choice.button == clicked) {
                return choice.answer;
            }
        }
        // Closed by Escape or the window button: the box's cancel, else its last choice.
        return choices.size() == 1           ? choices.front().answer
               : (style & kButtonsMask) == 4 ? kAnsNo
                                             : kAnsCancel;
    }
}

void QtUi::MousePointer(int32_t pointer) {
    pointer_ = pointer;
    const bool wait = pointer == kPointerHourglass;
    if (wait && !cursorOverridden_) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
        cursorOverridden_ = true;
    } else if (!wait && cursorOverridden_) {
        QApplication::restoreOverrideCursor();
        cursorOverridden_ = false;
    }
}

void QtUi::DoEvents() {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
}

void QtUi::WaitEvents(int32_t maxMillis) {
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
    if (dispatcher == nullptr || maxMillis <= 0) {
        DoEvents();
        return;
    }
    // The timer bounds the wait: the dispatcher sleeps until any event or the deadline.
    QTimer deadline;
    deadline.setSingleShot(true);
    deadline.start(maxMillis);
    dispatcher->processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
}

int32_t QtUi::Ticks() {
    return static_cast<int32_t>(static_cast<uint32_t>(Clock().elapsed()));
}

int32_t QtUi::ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) {
    if (helpFile.empty() || !opener_) {
        return 0;
    }
    QUrl url = QUrl::fromLocalFile(ToQString(helpFile));
    if (command == 1) {
        url.setFragment(QString("topic-%1").arg(topic));
    }
    return opener_(url) ? 1 : 0;
}

PasscodeEntry QtUi::PromptPasscode(IForm* owner) {
    QInputDialog prompt(WidgetOf(owner) != nullptr ? WidgetOf(owner)
                                                   : QApplication::activeWindow());
    prompt.setObjectName("passcodePrompt");
    prompt.setWindowTitle(kMsgCaption);
    prompt.setLabelText(QObject::tr("Enter the instrument's passcode:"));
    prompt.setTextEchoMode(QLineEdit::Password);
    prompt.setInputMode(QInputDialog::TextInput);
    const bool confirmed = prompt.exec() == QDialog::Accepted;
    return {FromQString(prompt.textValue()), confirmed};
}

std::unique_ptr<IProgress> QtUi::CreateProgress() {
    return std::make_unique<QtProgress>();
}

bool QtUi::ShowModal(IDialogLogic& dialog, IForm* owner) {
    return RunDialog(dialog, WidgetOf(owner));
}

}  // namespace vesk
