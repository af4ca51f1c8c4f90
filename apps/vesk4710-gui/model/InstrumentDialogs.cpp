#include "apps/vesk4710-gui/model/InstrumentDialogs.h"

#include "host/InstrumentRequests.h"
#include "vesk4710/dialogs/DownloadDialog.h"
#include "vesk4710/dialogs/SettingsDialog.h"

namespace vesk::gui {

bool EditInstrumentSettings(CVesk4710& inst) {
    SettingsDialog dialog(inst.shared_from_this());
    dialog.ChannelStates(ChannelIsOn);
    inst.GetHost().Ui().ShowModal(dialog, nullptr);
    return !dialog.Cancelled();
}

bool DownloadLoggedData(CVesk4710& inst) {
    DownloadDialog dialog(inst.shared_from_this());
    dialog.AutoLog([](CVesk4710& instrument, const DownloadRequest& request) {
        return DownloadAutoLog(instrument, request, "vesk4710-gui download");
    });
    inst.GetHost().Ui().ShowModal(dialog, nullptr);
    return dialog.Downloaded();
}

}  // namespace vesk::gui
