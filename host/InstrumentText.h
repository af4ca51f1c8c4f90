#pragma once
// Plain texts the programs show about an instrument.
#include <string>

#include "vesk4710/core/CVesk4710.h"

namespace vesk {

// "unlocked" or "locked", then which protections are on: "locked, conversions protected".
std::string PasscodeSummary(const CVesk4710& inst);

}  // namespace vesk
