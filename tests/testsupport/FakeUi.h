#pragma once
// Scripted user-interface services: records message boxes, pointers, help calls, dialogs
// and progress displays; answers questions and passcode prompts from queues.
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/platform/IProgress.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk::test {

class FakeUi;

// Logs into its FakeUi's progressLog; Step()/Continue() honour FakeUi::cancelAtStep.
class FakeProgress : public IProgress {
  public:
    explicit FakeProgress(FakeUi& ui) : ui_(ui) {}
    void SetOwner(IForm* owner, bool ownerGiven) override;
    void StartPhase(const std::string& text, double stepPercent) override;
    bool Step() override;
    void Status(const std::string& text, double percent) override;
    bool Continue() override;
    void Reset() override;
    void Hide() override;
    void Close() override;

  private:
    bool Check();
    FakeUi& ui_;
};

class FakeUi : public IUiServices {
  public:
    struct Box {
        std::string prompt;
        int32_t style;
        std::string caption;
        std::string helpFile;
        int32_t helpContext;
        int32_t pointerWhenShown;  // mouse pointer in force when the box appeared
    };
    struct HelpCall {
        std::string helpFile;
        int32_t command;
        int32_t topic;
    };

    // IUiServices
    int32_t MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                       const std::string& helpFile, int32_t helpContext) override;
    void MousePointer(int32_t pointer) override;
    int32_t MousePointer() const override { return pointer; }
    void DoEvents() override;
    void WaitEvents(int32_t maxMillis) override;
    int32_t Ticks() override { return ticks; }
    int32_t ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) override;
    PasscodeEntry PromptPasscode(IForm* owner) override;
    std::unique_ptr<IProgress> CreateProgress() override;
    bool ShowModal(IDialogLogic& dialog, IForm* owner) override;

    std::vector<Box> boxes;
    // Answers for boxes in order; when empty: kAnsYes for Yes/No styles, else kAnsOk.
    std::deque<int32_t> answers;
    // Passcode prompt answers; empty -> cancelled ({"", false}).
    std::deque<PasscodeEntry> passcodes;
    int passcodePrompts = 0;
    std::vector<IForm*> passcodeOwners;

    std::vector<int32_t> pointers;  // every MousePointer set
    int32_t pointer = kPointerDefault;

    int32_t ticks = 0;
    int32_t tickStep = 10;  // Ticks() advances by this per DoEvents/WaitEvents
    int doEvents = 0;
    std::vector<int32_t> waits;  // maxMillis of every WaitEvents
    // Called on every DoEvents/WaitEvents (lets a test act "while the user interface runs").
    std::function<void()> onEvents;

    std::vector<HelpCall> helpCalls;
    int32_t helpResult = 1;

    // "SetOwner", "StartPhase <text> <step>", "Step", "Status <text> <pct>", "Hide", "Close",
    // "Reset"; numbers in shortest round-trip form ("50", "12.5").
    std::vector<std::string> progressLog;
    int cancelAtStep = -1;   // Step()/Continue() false from this call number on (0-based)
    int progressChecks = 0;  // Step()/Continue() calls so far
    int progressCreated = 0;
    IForm* progressOwner = nullptr;
    bool progressOwnerGiven = false;

    std::vector<std::string> dialogsShown;           // DialogName() of ShowModal calls
    std::function<bool(IDialogLogic&)> onShowModal;  // drives the dialog; its result returned

    // Texts of the boxes shown, in order.
    std::vector<std::string> Prompts() const;

  private:
    friend class FakeProgress;
};

}  // namespace vesk::test
