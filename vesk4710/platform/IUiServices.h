#pragma once
// User-interface services: message boxes, mouse pointer, event processing, ticks, help,
// the passcode prompt, progress displays and modal dialogs.
#include <cstdint>
#include <memory>
#include <string>

namespace vesk {

class IForm;
class IProgress;

// Message-box styles and answers (the classic values).
enum MsgStyle : int32_t {
    kMbOkOnly = 0,
    kMbYesNo = 4,
    kMbCritical = 16,
    kMbQuestion = 32,
    kMbInformation = 64,
    kMbDefaultButton2 = 256,
    kMbHelpButton = 16384,
};
enum MsgAnswer : int32_t { kAnsOk = 1, kAnsCancel = 2, kAnsYes = 6, kAnsNo = 7 };

// Mouse pointers.
enum MousePointerKind : int32_t { kPointerDefault = 0, kPointerHourglass = 11 };

struct PasscodeEntry {
    std::string text;
    bool confirmed = false;
};

// Dialog logic the library opens modally; the toolkit binding knows each by name.
class IDialogLogic {
  public:
    virtual ~IDialogLogic() = default;
    virtual std::string DialogName() const = 0;
};

class IUiServices {
  public:
    virtual ~IUiServices() = default;
    // Shows a modal message box and returns the answer (MsgAnswer).
    virtual int32_t MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                               const std::string& helpFile, int32_t helpContext) = 0;
    virtual void MousePointer(int32_t pointer) = 0;
    virtual int32_t MousePointer() const = 0;
    // Processes pending events and returns.
    virtual void DoEvents() = 0;
    // Processes events, blocking at most maxMillis until one arrives.
    virtual void WaitEvents(int32_t maxMillis) = 0;
    // Millisecond tick counter (wraps as a signed 32-bit number).
    virtual int32_t Ticks() = 0;
    // Opens the help file at a topic (command 1 shows a topic by context number).
    virtual int32_t ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) = 0;
    virtual PasscodeEntry PromptPasscode(IForm* owner) = 0;
    virtual std::unique_ptr<IProgress> CreateProgress() = 0;
    // Shows a dialog modally; false when this toolkit cannot show it.
    virtual bool ShowModal(IDialogLogic& dialog, IForm* owner) = 0;
};

}  // namespace vesk
