#pragma once
// Download options: which log, which label, how many decimals, one file or one per label,
// and the folder; then the download, which shows the files it wrote.
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/logging/LogDownload.h"

namespace vesk {

class CVesk4710;

class DownloadDialog : public IDialogLogic, public InstrumentDialogBase {
  public:
    struct Controls {
        IForm* form = nullptr;
        ILabel* lblLog = nullptr;
        IListControl* cboLog = nullptr;
        ILabel* lblLabel = nullptr;
        IListControl* cboLabel = nullptr;
        ILabel* lblDecimals = nullptr;
        IListControl* cboDecimals = nullptr;
        std::array<ICheckBox*, 2> optFiles{};  // 0 one file, 1 one file per label
        ILabel* lblFolder = nullptr;
        ITextBox* txtFolder = nullptr;
        IButton* cmdBrowse = nullptr;  // the binding offers its folder picker
        std::array<IButton*, 3> cmdOKCancelHelp{};
    };

    // Downloads the automatic log into download files; NoReadings when it holds none.
    using AutoLogDownloader = std::function<DownloadResult(CVesk4710&, const DownloadRequest&)>;

    using InstrumentDialogBase::InstrumentDialogBase;
    // A client that can fetch the automatic log gives the way here: the dialog then offers
    // that log beside the demand log.
    void AutoLog(AutoLogDownloader downloader) { autoLog_ = std::move(downloader); }

    std::string DialogName() const override { return "frm4710Download"; }
    std::string FormName() const override { return DialogName(); }
    void Bind(const Controls& controls) { c_ = controls; }
    // True once a download ran to its end.
    bool Downloaded() const { return downloaded_; }

    void Load();
    void Activate();
    void Unload();
    void optFiles_Click(int index);
    void cmdOKCancelHelp_Click(int index);

  private:
    // The labels' names by number as the instrument lists them; empty when it cannot.
    std::vector<std::string> LabelNames() const;
    void SetupChoices();
    bool ValidateChoices();
    FormState Choices() const;
    void OK();
    // False when nothing was there to download: the choices stay open.
    bool DownloadAutoLog(const DownloadRequest& request);

    Controls c_;
    bool activated_ = false;
    bool downloaded_ = false;
    AutoLogDownloader autoLog_;
};

}  // namespace vesk
