#pragma once
// Downloaded files: lists the files a download wrote and views or prints one on double-click.
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/platform/IOutputFile.h"

namespace vesk {

class Host;
class IFileSystem;

class ShowFilesDialog : public IDialogLogic, public DialogBase {
  public:
    struct Controls {
        IForm* form = nullptr;
        ILabel* lblInstructions = nullptr;
        IListControl* lstFiles = nullptr;
        ICheckBox* chkPrint = nullptr;
        IButton* cmdOK = nullptr;
    };

    ShowFilesDialog(IUiServices& ui, IFileSystem& files);
    explicit ShowFilesDialog(Host& host);

    std::string DialogName() const override { return "frmShowFiles"; }
    std::string FormName() const override { return DialogName(); }
    // Controls are captioned as soon as they are bound (the dialog's creation).
    void Bind(const Controls& controls);
    void SetFiles(const std::vector<std::shared_ptr<IOutputFile>>& files);
    const std::vector<std::shared_ptr<IOutputFile>>& Files() const { return files_; }

    void Activate();
    void Unload();
    void lstFiles_DblClick();
    void cmdOK_Click();

  private:
    IUiServices& ui_;
    IFileSystem& fs_;
    Controls c_;
    std::vector<std::shared_ptr<IOutputFile>> files_;
    bool activated_ = false;
};

}  // namespace vesk
