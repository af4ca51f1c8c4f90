#pragma once
// The instrument's dialogs as the application opens them: with the requests the application
// makes beside the library's (each channel's own state, the automatic log's download).
#include "vesk4710/core/CVesk4710.h"

namespace vesk::gui {

// The settings dialog, its channel list showing each channel's own state and the probe
// serial of every channel that is on. False when the user cancelled.
bool EditInstrumentSettings(CVesk4710& inst);
// The download dialog, offering the automatic log beside the demand log. True once a
// download ran to its end.
bool DownloadLoggedData(CVesk4710& inst);

}  // namespace vesk::gui
