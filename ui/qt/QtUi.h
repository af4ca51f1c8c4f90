#pragma once
// Qt 6 Widgets user-interface services: message boxes with the classic styles, the wait
// cursor, event processing, help, the passcode prompt, progress displays with a cancel
// button, and the library's dialogs. A QApplication must exist.
#include <QUrl>
#include <functional>
#include <memory>
#include <string>

#include "vesk4710/platform/IUiServices.h"

class QWidget;

namespace vesk {

class QtUi : public IUiServices {
  public:
    QtUi();
    ~QtUi() override;

    int32_t MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                       const std::string& helpFile, int32_t helpContext) override;
    void MousePointer(int32_t pointer) override;
    int32_t MousePointer() const override { return pointer_; }
    void DoEvents() override;
    // Blocks on the event loop until an event arrives or the time is up.
    void WaitEvents(int32_t maxMillis) override;
    int32_t Ticks() override;
    int32_t ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) override;
    PasscodeEntry PromptPasscode(IForm* owner) override;
    std::unique_ptr<IProgress> CreateProgress() override;
    bool ShowModal(IDialogLogic& dialog, IForm* owner) override;

    // Opens help pages; the application's own help window unless replaced (tests record).
    void SetUrlOpener(std::function<bool(const QUrl&)> opener) { opener_ = std::move(opener); }

    // The widget behind a form, for parenting prompts and dialogs.
    static QWidget* WidgetOf(IForm* form);

  private:
    int32_t pointer_ = 0;
    bool cursorOverridden_ = false;
    std::function<bool(const QUrl&)> opener_;
};

// The text of a message prompt as Qt shows it: lone carriage returns become line breaks.
std::string DisplayText(const std::string& prompt);

}  // namespace vesk
