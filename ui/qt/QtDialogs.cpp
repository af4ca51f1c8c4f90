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
        return Run<QtShowFilesDialog, frmShowFiles>(dialog, parent);
    }
    if (name == "frm4710LogStatus") {
        return Run<QtLogStatusDialog, frm4710LogStatus>(dialog, parent);
    }
    if (name == "frm4710Labels") {
        return Run<QtLabelsDialog, frm4710Labels>(dialog, parent);
    }
    if (name == "frm4710Settings") {
        return Run<QtSettingsDialog, frm4710Settings>(dialog, parent);
    }
    if (name == "frm4710Channel") {
        return Run<QtChannelDialog, frm4710Channel>(dialog, parent);
    }
    if (name == "frm4710Download") {
        return Run<QtDownloadDialog, frm4710Download>(dialog, parent);
    }
    return false;
}

}  // namespace vesk
