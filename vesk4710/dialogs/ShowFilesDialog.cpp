#include "vesk4710/dialogs/ShowFilesDialog.h"

#include <algorithm>
#include <cctype>

#include "vesk4710/platform/Host.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/Paths.h"
#include "vesk4710/support/RegistryKeys.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

// A stored yes/no value: "0", "false", "no" are no; anything unreadable keeps the default.
bool RegistryFlag(const std::string& text, bool fallback) {
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char ch) { return static_cast<char>(std::tolower(ch)); });
    if (lower == "true" || lower == "yes") {
        return true;
    }
    if (lower == "false" || lower == "no") {
        return false;
    }
    if (IsNumeric(lower)) {
        return Val(lower) != 0.0;
    }
    return fallback;
}

}  // namespace

ShowFilesDialog::ShowFilesDialog(IUiServices& ui, IFileSystem& files) : ui_(ui), fs_(files) {}

ShowFilesDialog::ShowFilesDialog(Host& host) : ShowFilesDialog(host.Ui(), host.Files()) {}

void ShowFilesDialog::Bind(const Controls& controls) {
    c_ = controls;
    c_.form->Caption(LoadResString(339));
    c_.lblInstructions->Caption(LoadResString(340));
    c_.chkPrint->Caption(LoadResString(342));
    c_.cmdOK->Caption(LoadResString(144));
    activated_ = false;
    Show();
}

void ShowFilesDialog::SetFiles(const std::vector<std::shared_ptr<IOutputFile>>& files) {
    files_ = files;
}

void ShowFilesDialog::Activate() {
    if (activated_) {
        return;
    }
    activated_ = true;
    for (size_t i = 0; i < files_.size(); ++i) {
        c_.lstFiles->AddItem(BuildFilePath(fs_, files_[i]->Folder(), files_[i]->FileName()));
        c_.lstFiles->ItemData(c_.lstFiles->NewIndex(), static_cast<int32_t>(i));
    }
    ui_.MousePointer(kPointerDefault);
}

void ShowFilesDialog::lstFiles_DblClick() {
    const int32_t index = c_.lstFiles->ListIndex();
    if (index < 0) {
        return;
    }
    const auto slot = static_cast<size_t>(c_.lstFiles->ItemData(index));
    if (slot >= files_.size() || !files_[slot]) {
        return;
    }
    IOutputFile& file = *files_[slot];
    if (c_.chkPrint->Value() == 1) {
        bool selectPrinter = true;
        if (auto registry = file.Registry()) {
            selectPrinter = RegistryFlag(
                registry->ReadValue(kRegSelectPrinter, 0, kHKeyCurrentUser, "1"), true);
        }
        file.Print(selectPrinter);
    } else {
        file.View(true);
    }
}

void ShowFilesDialog::cmdOK_Click() {
    Hide();
}

void ShowFilesDialog::Unload() {
    for (auto& file : files_) {
        file.reset();
    }
}

}  // namespace vesk
