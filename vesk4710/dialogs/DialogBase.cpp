#include "vesk4710/dialogs/DialogBase.h"

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

void DialogBase::Hide() {
    visible_ = false;
    if (onHide_) {
        onHide_();
    }
}

void DialogBase::OKCancelHelp(IUiServices& ui, int index, const std::function<void()>& ok,
                              const std::function<void()>& cancel) {
    switch (index) {
        case kCmdOK:
            ok();
            break;
        case kCmdCancel:
            cancel();
            break;
        case kCmdHelp:
            HelpOpenTopic(ui, HelpContextID());
            break;
        default:
            break;
    }
}

bool DialogBase::ApplyChanges(IUiServices& ui, int32_t questionId,
                              const std::function<bool()>& validate,
                              const std::function<bool()>& unchanged,
                              const std::function<bool()>& write) {
    try {
        if (!validate()) {
            return false;
        }
    } catch (...) {
        ShowErrorMessage(ui, LoadResString(210), kMsgCaption);
        return false;
    }
    if (unchanged()) {
        ShowInfoMessage(ui, LoadResString(218), kMsgCaption);
        Hide();
        return true;
    }
    if (ShowQuestion(ui, LoadResString(questionId), kMsgCaption) != kAnsYes) {
        return false;
    }
    ui.MousePointer(kPointerHourglass);
    const bool written = write();
    ui.MousePointer(kPointerDefault);
    if (written) {
        Hide();
    }
    return written;
}

void DialogBase::SaveFormState(const FormState& own) const {
    IRegistry* registry = StateRegistry();
    if (registry == nullptr) {
        return;
    }
    FormState state = onSaveState_ ? onSaveState_() : FormState{};
    for (const auto& [key, value] : own) {
        state[key] = value;
    }
    registry->SaveFormState(FormName(), state);
}

DialogBase::FormState DialogBase::StoredFormState() const {
    IRegistry* registry = StateRegistry();
    return registry != nullptr ? registry->LoadFormState(FormName()) : FormState{};
}

IRegistry* InstrumentDialogBase::StateRegistry() const {
    return instrument_ ? instrument_->Registry().get() : nullptr;
}

IUiServices& InstrumentDialogBase::Ui() const {
    return instrument_->GetHost().Ui();
}

}  // namespace vesk
