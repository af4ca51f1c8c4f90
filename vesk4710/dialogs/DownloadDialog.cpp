#include "vesk4710/dialogs/DownloadDialog.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/DialogHelpers.h"
#include "vesk4710/platform/ICommunications.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/RegistryKeys.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int32_t kAllLabels = 0;
// The default: values as the instrument logged them, unless the user asks for rounding.
constexpr int32_t kDecimalsAsLogged = -1;
constexpr int32_t kMaxDecimals = 6;

int32_t StoredNumber(const DialogBase::FormState& state, const char* key, int32_t fallback) {
    const auto it = state.find(key);
    return it == state.end() ? fallback : ParseTypedInteger(it->second).value_or(fallback);
}

void SelectStored(IListControl& list, int32_t data) {
    SelectListItemByData(list, data);
    if (list.ListIndex() < 0 && list.ListCount() > 0) {
        list.ListIndex(0);
    }
}

}  // namespace

void DownloadDialog::Load() {
    activated_ = false;
    downloaded_ = false;
    Show();
    SetHelpContextID(kHelpDownload);
    c_.form->Caption("Download Logged Data");
    SetCaption(c_.lblLog, "Log");
    SetCaption(c_.lblLabel, "Label");
    SetCaption(c_.lblDecimals, "Decimal places");
    SetCaption(c_.optFiles[0], "One file for all readings");
    SetCaption(c_.optFiles[1], "One file per label");
    SetCaption(c_.lblFolder, "Folder");
    SetCaption(c_.cmdBrowse, "&Browse...");
    CaptionOKCancelHelp(c_.cmdOKCancelHelp);
}

void DownloadDialog::Activate() {
    if (activated_) {
        return;
    }
    activated_ = true;
    try {
        SetupChoices();
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(238), kMsgCaption);
    }
}

std::vector<std::string> DownloadDialog::LabelNames() const {
    std::vector<std::string> names;
    try {
        const auto comm = instrument_->Communications();
        if (!comm) {
            return names;
        }
        comm->params().ClearAll();
        const std::string list = comm->ReadSetting(SET_LOGGING_LABEL_LIST, true, "");
        size_t start = 0;
        while (start < list.size() &&
               names.size() < static_cast<size_t>(instrument_->NumLoggingLabels())) {
            const size_t comma = std::min(list.find(',', start), list.size());
            names.emplace_back(Trim(list.substr(start, comma - start)));
            start = comma + 1;
        }
    } catch (...) {
        // An instrument without the list: the labels go by their numbers.
        names.clear();
    }
    return names;
}

void DownloadDialog::SetupChoices() {
    const FormState last = StoredFormState();

    // The library counts the readings of the demand log only; a log it cannot count would
    // always come back empty, so the automatic log is offered only where the client fetches it.
    c_.cboLog->Clear();
    AddListItem(*c_.cboLog, LoadResString(226), DOWNLOAD_DEMAND_LOG);
    if (autoLog_) {
        AddListItem(*c_.cboLog, "Automatic log", DOWNLOAD_AUTO_LOG);
    }
    SelectStored(*c_.cboLog, StoredNumber(last, "Log", DOWNLOAD_DEMAND_LOG));

    c_.cboLabel->Clear();
    AddListItem(*c_.cboLabel, "All labels", kAllLabels);
    const std::vector<std::string> names = LabelNames();
    if (!names.empty()) {
        for (size_t i = 0; i < names.size(); ++i) {
            const auto label = static_cast<int32_t>(i + 1);
            AddListItem(*c_.cboLabel, NumberText(label) + ": " + names[i], label);
        }
    } else {
        for (int32_t label = 1; label <= instrument_->NumLoggingLabels(); ++label) {
            AddListItem(*c_.cboLabel, "Label " + NumberText(label), label);
        }
    }
    SelectStored(*c_.cboLabel, StoredNumber(last, "Label", kAllLabels));

    c_.cboDecimals->Clear();
    AddListItem(*c_.cboDecimals, "As logged", kDecimalsAsLogged);
    for (int32_t d = 0; d <= kMaxDecimals; ++d) {
        AddListItem(*c_.cboDecimals, NumberText(d), d);
    }
    SelectStored(*c_.cboDecimals, StoredNumber(last, "Decimals", kDecimalsAsLogged));

    const bool multiple =
        StoredNumber(last, "Files", DOWNLOAD_SINGLE_FILE) == DOWNLOAD_MULTIPLE_FILES;
    c_.optFiles[0]->Value(multiple ? 0 : 1);
    c_.optFiles[1]->Value(multiple ? 1 : 0);

    std::string folder;
    if (auto registry = instrument_->Registry()) {
        folder = registry->ReadValue(kRegDownloadFolder, 0, kHKeyCurrentUser, "");
    }
    if (Trim(folder).empty()) {
        folder = instrument_->GetHost().Files().GetSpecialFolder(SpecialFolder::Documents);
    }
    c_.txtFolder->Text(folder);
}

void DownloadDialog::optFiles_Click(int index) {
    // Option buttons: exactly one is set.
    c_.optFiles[0]->Value(index == 0 ? 1 : 0);
    c_.optFiles[1]->Value(index == 1 ? 1 : 0);
}

DownloadDialog::FormState DownloadDialog::Choices() const {
    return {
        {"Log", NumberText(SelectedItemData(*c_.cboLog, DOWNLOAD_DEMAND_LOG))},
        {"Label", NumberText(SelectedItemData(*c_.cboLabel, kAllLabels))},
        {"Decimals", NumberText(SelectedItemData(*c_.cboDecimals, kDecimalsAsLogged))},
        {"Files", NumberText(c_.optFiles[1]->Value() == 1 ? int32_t{DOWNLOAD_MULTIPLE_FILES}
                                                          : int32_t{DOWNLOAD_SINGLE_FILE})},
    };
}

bool DownloadDialog::ValidateChoices() {
    const std::string folder(Trim(c_.txtFolder->Text()));
    std::string problem;
    if (folder.empty()) {
        problem = "Choose the folder the downloaded files are written to.";
    } else if (std::error_code ec; !std::filesystem::is_directory(folder, ec)) {
        problem = "The folder '" + folder + "' does not exist.";
    }
    if (problem.empty()) {
        return true;
    }
    ShowInfoMessage(Ui(), problem, kMsgCaption);
    c_.txtFolder->SetFocus();
    return false;
}

void DownloadDialog::OK() {
    bool valid = false;
    try {
        valid = ValidateChoices();
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(210), kMsgCaption);
        return;
    }
    if (!valid) {
        return;
    }
    try {
        // The download files go where the user chose, now and next time.
        if (auto registry = instrument_->Registry()) {
            registry->WriteValue(kRegDownloadFolder, 0, kHKeyCurrentUser,
                                 std::string(Trim(c_.txtFolder->Text())));
        }
        Host& host = instrument_->GetHost();
        const auto lines = host.CreateTextSplitter();
        const auto fields = host.CreateTextSplitter();
        auto label = static_cast<int16_t>(SelectedItemData(*c_.cboLabel, kAllLabels));
        const auto decimals =
            static_cast<int16_t>(SelectedItemData(*c_.cboDecimals, kDecimalsAsLogged));
        const auto log =
            static_cast<E4710DownloadLogOption>(SelectedItemData(*c_.cboLog, DOWNLOAD_DEMAND_LOG));
        const auto files =
            c_.optFiles[1]->Value() == 1 ? DOWNLOAD_MULTIPLE_FILES : DOWNLOAD_SINGLE_FILE;
        if (log == DOWNLOAD_AUTO_LOG && autoLog_) {
            if (DownloadAutoLog({log, files, label, decimals})) {
                downloaded_ = true;
                Hide();
            }
            return;
        }
        bool wroteFiles = false;
        Ui().MousePointer(kPointerHourglass);
        // The download reports its own failures and shows the files it wrote.
        const bool ok =
            instrument_->DownloadLog(*lines, *fields, log, files, &label, decimals, &wroteFiles);
        Ui().MousePointer(kPointerDefault);
        // Nothing written (an empty log, a label without readings): the choices stay open.
        if (ok && wroteFiles) {
            downloaded_ = true;
            Hide();
        }
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(239), kMsgCaption);
    }
}

bool DownloadDialog::DownloadAutoLog(const DownloadRequest& request) {
    Ui().MousePointer(kPointerHourglass);
    DownloadResult result;
    try {
        result = autoLog_(*instrument_, request);
    } catch (...) {
        Ui().MousePointer(kPointerDefault);
        throw;
    }
    Ui().MousePointer(kPointerDefault);
    if (result.files.empty()) {
        ShowInfoMessage(Ui(),
                        request.label > 0
                            ? "The automatic log holds no readings of this label: nothing was "
                              "downloaded."
                            : "The automatic log holds no readings: nothing was downloaded.",
                        kMsgCaption);
        return false;
    }
    if (!result.message.empty()) {
        // What arrived is in the files, which say that they are incomplete.
        ShowInfoMessage(Ui(), result.message + ".", kMsgCaption);
    }
    detail::ShowFiles(*instrument_, result.files);
    return true;
}

void DownloadDialog::cmdOKCancelHelp_Click(int index) {
    OKCancelHelp(
        Ui(), index, [this] { OK(); }, [this] { Hide(); });
}

void DownloadDialog::Unload() {
    if (instrument_) {
        SaveFormState(activated_ ? Choices() : FormState{});
    }
    instrument_.reset();
}

}  // namespace vesk
