#include "vesk4710/dialogs/LogStatusDialog.h"

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

void LogStatusDialog::Load() {
    activated_ = false;
    Show();
    SetHelpContextID(kHelpLogStatus);
    c_.form->Caption(LoadResString(225));
    c_.cmdDemandLogClear->Caption(LoadResString(271));
    c_.cmdRefresh->Caption(LoadResString(224));
    c_.cmdOKCancelHelp[kCmdOK]->Caption(LoadResString(222));
    c_.cmdOKCancelHelp[kCmdHelp]->Caption(LoadResString(146));
}

void LogStatusDialog::Activate() {
    if (activated_) {
        return;
    }
    activated_ = true;
    cmdRefresh_Click();
}

void LogStatusDialog::cmdRefresh_Click() {
    try {
        if (!instrument_->QueryDemandLogStatus()) {
            ShowInfoMessage(Ui(), LoadResString(229), kMsgCaption);
            return;
        }
        c_.pbarDemandLog->Max(static_cast<float>(instrument_->DemandLogPoints()));
        c_.pbarDemandLog->Value(static_cast<float>(instrument_->DemandLogCount()));
        const float value = c_.pbarDemandLog->Value();
        const float max = c_.pbarDemandLog->Max();
        if (max == 0.0F) {
            // Single-precision division by zero is an error here, as 0/0 is an overflow.
            throw AutomationError::Runtime(value == 0.0F ? kErrOverflow : kErrDivisionByZero);
        }
        const float percent = value * 100.0F / max;
        c_.lblDemandLog->Caption(LoadResString(226) + ": " + FormatNumber(percent, "0.00") +
                                 LoadResString(227));
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(228), kMsgCaption);
    }
}

void LogStatusDialog::cmdDemandLogClear_Click() {
    try {
        instrument_->ClearDemandLog();
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(228), kMsgCaption);
        return;
    }
    cmdRefresh_Click();
}

void LogStatusDialog::cmdOKCancelHelp_Click(int index) {
    if (index == kCmdOK) {
        Hide();
    } else if (index == kCmdHelp) {
        HelpOpenTopic(Ui(), HelpContextID());
    }
}

void LogStatusDialog::Unload() {
    if (instrument_) {
        SaveFormState();
    }
    instrument_.reset();
}

}  // namespace vesk
