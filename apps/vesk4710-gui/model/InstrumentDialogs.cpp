#include "apps/vesk4710-gui/model/InstrumentDialogs.h"

#include "components/host/InstrumentRequests.h"
#include "vesk4710/dialogs/frm4710Download.h"
#include "vesk4710/dialogs/frm4710Settings.h"

namespace vesk::gui {

bool EditInstrumentSettings(CVesk4710& inst) {
    frm4710Settings dialog(inst.shared_from_this());
    dialog.ChannelStates(ChannelIsOn);
    inst.GetHost().Ui().ShowModal(dialog, nullptr);
    return !dialog.Cancelled();
}

bool DownloadLoggedData(CVesk4710& inst) {
    frm4710Download dialog(inst.shared_from_this());
    dialog.AutoLog([](CVesk4710& instrument, const DownloadRequest& request) {
        return DownloadAutoLog(instrument, request, "vesk4710-gui download");
    });
    inst.GetHost().Ui().ShowModal(dialog, nullptr);
    return dialog.Downloaded();
}

}  // namespace vesk::gui
