#include "tests/testsupport/FakeUi.h"

#include <charconv>
#include <utility>

namespace vesk::test {

namespace {
std::string Num(double v) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

bool IsYesNoStyle(int32_t style) {
    const int32_t buttons = style & 7;
    return buttons == 3 || buttons == 4;  // Yes/No/Cancel or Yes/No
}
}  // namespace

void FakeProgress::SetOwner(IForm* owner, bool ownerGiven) {
    ui_.progressOwner = owner;
    ui_.progressOwnerGiven = ownerGiven;
    ui_.progressLog.emplace_back("SetOwner");
}

void FakeProgress::StartPhase(const std::string& text, double stepPercent) {
    ui_.progressLog.push_back("StartPhase " + text + " " + Num(stepPercent));
}

bool FakeProgress::Check() {
    const int call = ui_.progressChecks++;
    return ui_.cancelAtStep < 0 || call < ui_.cancelAtStep;
}

bool FakeProgress::Step() {
    ui_.progressLog.emplace_back("Step");
    return Check();
}

void FakeProgress::Status(const std::string& text, double percent) {
    ui_.progressLog.push_back("Status " + text + " " + Num(percent));
}

bool FakeProgress::Continue() {
    return Check();
}
void FakeProgress::Reset() {
    ui_.progressLog.emplace_back("Reset");
}
void FakeProgress::Hide() {
    ui_.progressLog.emplace_back("Hide");
}
void FakeProgress::Close() {
    ui_.progressLog.emplace_back("Close");
}

int32_t FakeUi::MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                           const std::string& helpFile, int32_t helpContext) {
    boxes.push_back({prompt, style, caption, helpFile, helpContext, pointer});
    if (!answers.empty()) {
        const int32_t a = answers.front();
        answers.pop_front();
        return a;
    }
    return IsYesNoStyle(style) ? kAnsYes : kAnsOk;
}

void FakeUi::MousePointer(int32_t p) {
    pointer = p;
    pointers.push_back(p);
}

void FakeUi::DoEvents() {
    ++doEvents;
    ticks = static_cast<int32_t>(static_cast<uint32_t>(ticks) + static_cast<uint32_t>(tickStep));
    if (onEvents) {
        onEvents();
    }
}

void FakeUi::WaitEvents(int32_t maxMillis) {
    waits.push_back(maxMillis);
    ticks = static_cast<int32_t>(static_cast<uint32_t>(ticks) + static_cast<uint32_t>(tickStep));
    if (onEvents) {
        onEvents();
    }
}

int32_t FakeUi::ShowHelp(const std::string& helpFile, int32_t command, int32_t topic) {
    helpCalls.push_back({helpFile, command, topic});
    return helpResult;
}

PasscodeEntry FakeUi::PromptPasscode(IForm* owner) {
    ++passcodePrompts;
    passcodeOwners.push_back(owner);
    if (passcodes.empty()) {
        return {};
    }
    PasscodeEntry e = std::move(passcodes.front());
    passcodes.pop_front();
    return e;
}

std::unique_ptr<IProgress> FakeUi::CreateProgress() {
    ++progressCreated;
    return std::make_unique<FakeProgress>(*this);
}

bool FakeUi::ShowModal(IDialogLogic& dialog, IForm*) {
    dialogsShown.push_back(dialog.DialogName());
    return onShowModal ? onShowModal(dialog) : true;
}

std::vector<std::string> FakeUi::Prompts() const {
    std::vector<std::string> out;
    out.reserve(boxes.size());
    for (const auto& b : boxes) {
        out.push_back(b.prompt);
    }
    return out;
}

}  // namespace vesk::test
