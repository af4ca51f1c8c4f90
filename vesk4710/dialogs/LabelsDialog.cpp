#include "vesk4710/dialogs/LabelsDialog.h"

#include <memory>

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/DialogHelpers.h"
#include "vesk4710/platform/IProgress.h"
#include "vesk4710/support/Delay.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int16_t kKeyBackspace = 8;
constexpr int16_t kKeyEnter = 13;
constexpr int16_t kKeyCopy = 3;
constexpr int16_t kKeyPaste = 22;
constexpr int16_t kKeyCut = 24;
constexpr int16_t kKeyUndo = 26;

// Closes the progress display however the read or write ends.
struct ProgressGuard {
    std::unique_ptr<IProgress> progress;
    // Out of the way of an error report.
    void Hide() {
        if (progress) {
            progress->Hide();
        }
    }
    ~ProgressGuard() {
        try {
            if (progress) {
                progress->Close();
            }
        } catch (...) {
            // A destructor must not throw; the outcome is already decided.
        }
    }
};

}  // namespace

void LabelsDialog::Load() {
    activated_ = false;
    changed_ = false;
    Show();
    SetHelpContextID(kHelpLogLabels);
    c_.form->Caption(LoadResString(276));
    c_.lblLabelName->Caption(LoadResString(277));
    c_.cmdReset->Caption(LoadResString(279));
    CaptionOKCancelHelp(c_.cmdOKCancelHelp);
}

void LabelsDialog::Activate() {
    if (activated_) {
        return;
    }
    activated_ = true;
    Ui().MousePointer(kPointerHourglass);
    if (ReadLabel()) {
        c_.txtLabelName->SetFocus();
        SelectAllText(*c_.txtLabelName);
    } else {
        c_.lblLabelName->Enabled(false);
        c_.txtLabelName->Enabled(false);
        c_.cmdReset->Enabled(false);
        c_.cmdOKCancelHelp[kCmdOK]->Enabled(false);
    }
    Ui().MousePointer(kPointerDefault);
}

bool LabelsDialog::ReadLabel() {
    bool outcome = false;
    ProgressGuard guard;
    try {
        guard.progress = Ui().CreateProgress();
        guard.progress->SetOwner(c_.form, true);
        guard.progress->Status(LoadResString(283), 100.0 / instrument_->NumLoggingLabels());
        std::string label;
        if (instrument_->QueryLoggingLabel(label)) {
            filling_ = true;
            c_.txtLabelName->Text(label);
            filling_ = false;
        }
        outcome = guard.progress->Continue();
        if (!outcome) {
            guard.Hide();
            ShowInfoMessage(Ui(), LoadResString(344), kMsgCaption);
        }
    } catch (...) {
        filling_ = false;
        guard.Hide();
        ShowErrorMessage(Ui(), LoadResString(285), kMsgCaption);
        outcome = false;
    }
    return outcome;
}

bool LabelsDialog::WriteLabel() {
    bool outcome = false;
    ProgressGuard guard;
    try {
        guard.progress = Ui().CreateProgress();
        guard.progress->SetOwner(c_.form, true);
        guard.progress->Status(LoadResString(284), 100.0);
        // A refused label is reported by the update itself; only a cancel keeps us open.
        instrument_->UpdateLoggingLabel(c_.txtLabelName->Text());
        Delay(Ui(), 250);
        outcome = guard.progress->Continue();
    } catch (...) {
        guard.Hide();
        ShowErrorMessage(Ui(), LoadResString(286), kMsgCaption);
        outcome = false;
    }
    return outcome;
}

void LabelsDialog::txtLabelName_Change() {
    if (!filling_) {
        changed_ = true;
    }
}

void LabelsDialog::txtLabelName_GotFocus() {
    SelectAllText(*c_.txtLabelName);
}

void LabelsDialog::txtLabelName_KeyPress(int16_t& keyAscii) {
    if (keyAscii == kKeyEnter) {
        keyAscii = 0;
        SelectAllText(*c_.txtLabelName);
        return;
    }
    if (keyAscii == kKeyBackspace || keyAscii == kKeyCut || keyAscii == kKeyCopy ||
        keyAscii == kKeyPaste || keyAscii == kKeyUndo) {
        return;
    }
    if (keyAscii >= 'a' && keyAscii <= 'z') {
        keyAscii = static_cast<int16_t>(keyAscii - 'a' + 'A');
    }
    const int16_t key = keyAscii;
    const bool labelChar =
        (key >= 'A' && key <= 'Z') || (key >= '0' && key <= '9') || key == ' ' || key == '_';
    // The instrument keeps labels of limited length.
    if (!labelChar || TextFull(*c_.txtLabelName, instrument_->MaxLabelLength())) {
        keyAscii = 0;
    }
}

void LabelsDialog::txtLabelName_Validate(bool& /*cancel*/) {
    const std::string text = c_.txtLabelName->Text();
    const std::string trimmed(Trim(text));
    if (trimmed != text) {
        c_.txtLabelName->Text(trimmed);
    }
}

void LabelsDialog::cmdReset_Click() {
    c_.txtLabelName->Text("DEMAND");
    SelectAllText(*c_.txtLabelName);
    changed_ = true;
}

void LabelsDialog::cmdOKCancelHelp_Click(int index) {
    OKCancelHelp(
        Ui(), index,
        [this] {
            if (!changed_) {
                ShowInfoMessage(Ui(), LoadResString(287), kMsgCaption);
                Hide();
            } else if (WriteLabel()) {
                Hide();
            }
        },
        [this] { Hide(); });
}

void LabelsDialog::Unload() {
    if (instrument_) {
        SaveFormState();
    }
    instrument_.reset();
}

}  // namespace vesk
