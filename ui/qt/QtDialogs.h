#pragma once
// Runs the library's dialog logic in its Qt dialog, chosen by the logic's name.
#include "vesk4710/platform/IUiServices.h"

class QWidget;

namespace vesk {

// Shows the dialog modally and unloads its logic afterwards; false for a logic this binding
// has no dialog for.
bool RunDialog(IDialogLogic& dialog, QWidget* parent);

}  // namespace vesk
