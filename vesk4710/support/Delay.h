#pragma once
#include <cstdint>

#include "vesk4710/platform/IUiServices.h"

namespace vesk {

// Waits the given time while the user interface keeps processing events. The deadline is
// computed in signed 32-bit ticks; if it does not fit, error 6 "Overflow" is raised.
void Delay(IUiServices& ui, int32_t milliseconds);

}  // namespace vesk
