#include "components/host/InstrumentText.h"

#include <algorithm>
#include <charconv>

#include "components/comm/CommErrors.h"
#include "components/comm/Protocol.h"
#include "vesk4710/core/mod4710Constants.h"

namespace vesk {

std::string PasscodeSummary(const CVesk4710& inst) {
    std::string text = inst.PasscodeState() == PS_ENABLED ? "unlocked" : "locked";
    if (inst.ProtectConversion()) {
        text += ", conversions protected";
    }
    if (inst.ProtectCalParams()) {
        text += ", calibration protected";
    }
    return text;
}

bool ChannelIsOn(CVesk4710& inst, int16_t channel) {
    auto comm = inst.Communications();
    comm->params().ClearAll();
    comm->params().Channel(std::to_string(channel));
    const std::string reply = comm->ReadSetting(SET_CHANNEL_STATE, true, "");
    const size_t begin = reply.find_first_not_of(' ');
    const size_t end = reply.find_last_not_of(" \r\n");
    long state = 0;
    const char* first = reply.data() + (begin == std::string::npos ? reply.size() : begin);
    const char* last = reply.data() + (end == std::string::npos ? 0 : end + 1);
    const auto [ptr, ec] = std::from_chars(first, std::max(first, last), state);
    if (begin == std::string::npos || ec != std::errc() || ptr != last) {
        throw AutomationError(comm::kCommMalformedReply,
                              "The state of channel " + std::to_string(channel) + " \"" +
                                  comm::Printable(reply, 40) + "\" is not a whole number",
                              "ChannelIsOn");
    }
    // Bit 0 clear: the channel is on.
    return (state & 1) == 0;
}

}  // namespace vesk
