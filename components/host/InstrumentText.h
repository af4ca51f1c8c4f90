#pragma once
// Plain texts the programs show about an instrument, and the per-channel facts they show.
#include <cstdint>
#include <string>

#include "vesk4710/core/CVesk4710.h"

namespace vesk {

// "unlocked" or "locked", then which protections are on: "locked, conversions protected".
std::string PasscodeSummary(const CVesk4710& inst);

// Whether the channel (instrument-wide number) is on, asked of that channel itself: the
// instrument object's QueryChannelState answers for channel 1 only. A reply that is not a
// whole number fails with kCommMalformedReply.
bool ChannelIsOn(CVesk4710& inst, int16_t channel);

}  // namespace vesk
