#include "ui/qt/QtDialogs.h"

#include "ui/qt/QtChannelDialog.h"
#include "ui/qt/QtDownloadDialog.h"
#include "ui/qt/QtLabelsDialog.h"
#include "ui/qt/QtLogStatusDialog.h"
#include "ui/qt/QtSettingsDialog.h"
#include "ui/qt/QtShowFilesDialog.h"

namespace vesk {

namespace {

template <class Widget, class Logic>
bool Run(IDialogLogic& dialog, QWidget* parent) {
    auto* logic = dynamic_cast<Logic*>(&dialog);
    if (logic == nullptr) {
        return false;
    }
    Widget widget(parent, *logic);
    widget.Run();
    // Unloaded while the window still exists: the form state records its placement.
    logic->Unload();
    return true;
}

}  // namespace

bool RunDialog(IDialogLogic& dialog, QWidget* parent) {
    const std::string name = dialog.DialogName();
    if (name == "frmShowFiles") {
        return Run<QtShowFilesDialog, ShowFilesDialog>(dialog, parent);
    }
    if (name == "frm4710LogStatus") {
        return Run<QtLogStatusDialog, LogStatusDialog>(dialog, parent);
    }
    if (name == "frm4710Labels") {
        return Run<QtLabelsDialog, LabelsDialog>(dialog, parent);
    }
    if (name == "frm4710Settings") {
        return Run<QtSettingsDialog, SettingsDialog>(dialog, parent);
    }
    if (name == "frm4710Channel") {
        return Run<QtChannelDialog, ChannelDialog>(dialog, parent);
    }
    if (name == "frm4710Download") {
        return Run<QtDownloadDialog, DownloadDialog>(dialog, parent);
    }
    return false;
}

}  // namespace vesk
