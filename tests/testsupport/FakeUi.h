#pragma once
// Scripted user-interface services: records message boxes, pointers, help calls, dialogs
// and progress displays; answers questions and passcode prompts from queues.
#include <charconv>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vesk4710/platform/IProgress.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk::test {

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
                       const std::string& helpFile, int32_t helpContext) override {
        boxes.push_back({prompt, style, caption, helpFile, helpContext, pointer});
        if (!answers.empty()) {
            const int32_t a = answers.front();
            answers.pop_front();
            return a;
        }
        const int32_t buttons = style & 7;  // 3 Yes/No/Cancel, 4 Yes/No
        return buttons == 3 || buttons == 4 ? kAnsYes : kAnsOk;
    }
    void MousePointer(int32_t p) override {
        pointer = p;
        pointers.push_back(p);
    }
    int32_t MousePointer() const override { return pointer; }
    void DoEvents() override {
        ++doEvents;
        Tick();
    }
    void WaitEvents(int32_t maxMillis) override {
        waits.push_back(maxMillis);
        Tick();
    }
    int32_t Ticks() override { return ticks; }
    int32_t ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) override {
        helpCalls.push_back({helpFile, command, topic});
        return helpResult;
    }
    PasscodeEntry PromptPasscode(IForm* owner) override {
        ++passcodePrompts;
        passcodeOwners.push_back(owner);
        if (passcodes.empty()) {
            return {};
        }
        PasscodeEntry e = std::move(passcodes.front());
        passcodes.pop_front();
        return e;
    }
    std::unique_ptr<IProgress> CreateProgress() override;
    bool ShowModal(IDialogLogic& dialog, IForm*) override {
        dialogsShown.push_back(dialog.DialogName());
        return onShowModal ? onShowModal(dialog) : true;
    }

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
    std::vector<std::string> Prompts() const {
        std::vector<std::string> out;
        for (const auto& b : boxes) {
            out.push_back(b.prompt);
        }
        return out;
    }

  private:
    void Tick() {
        ticks =
            static_cast<int32_t>(static_cast<uint32_t>(ticks) + static_cast<uint32_t>(tickStep));
        if (onEvents) {
            onEvents();
        }
    }
};

// Logs into its FakeUi's progressLog; Step()/Continue() honour FakeUi::cancelAtStep.
class FakeProgress : public IProgress {
  public:
    explicit FakeProgress(FakeUi& ui) : ui_(ui) {}
    void SetOwner(IForm* owner, bool ownerGiven) override {
        ui_.progressOwner = owner;
        ui_.progressOwnerGiven = ownerGiven;
        ui_.progressLog.emplace_back("SetOwner");
    }
    void StartPhase(const std::string& text, double stepPercent) override {
        ui_.progressLog.push_back("StartPhase " + text + " " + Num(stepPercent));
    }
    bool Step() override {
        ui_.progressLog.emplace_back("Step");
        return Continue();
    }
    void Status(const std::string& text, double percent) override {
        ui_.progressLog.push_back("Status " + text + " " + Num(percent));
    }
    bool Continue() override {
        const int call = ui_.progressChecks++;
        return ui_.cancelAtStep < 0 || call < ui_.cancelAtStep;
    }
    void Reset() override { ui_.progressLog.emplace_back("Reset"); }
    void Hide() override { ui_.progressLog.emplace_back("Hide"); }
    void Close() override { ui_.progressLog.emplace_back("Close"); }

  private:
    // Shortest round-trip form: "50", "12.5".
    static std::string Num(double v) {
        char buf[64];
        return std::string(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
    }
    FakeUi& ui_;
};

inline std::unique_ptr<IProgress> FakeUi::CreateProgress() {
    ++progressCreated;
    return std::make_unique<FakeProgress>(*this);
}

}  // namespace vesk::test
