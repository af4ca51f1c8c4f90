// The passcode and what it protects.
#include <algorithm>
#include <cmath>
#include <numbers>

#include <fmt/format.h>

#include "simulator/Instrument.h"
#include "simulator/ProbeModel.h"
#include "simulator/requests/RequestsInternal.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::sim {

using comm::InstrumentError;
using comm::Param;

Instrument::Reply Instrument::PasscodeRequest(int32_t id, const RequestArgs& args, double /*now*/) {
    const std::string ok(comm::kReplyOk);
    switch (id) {
        case SET_PASSCODE:
            unlocked_ =
                state_.passcode.empty() || args.Get(Param::kValue).value_or("") == state_.passcode;
            return Lines{ok};
        case SET_PASSCODE_STATE:
            return Lines{state_.passcode.empty() || unlocked_ ? "1" : "0"};
        case SET_PASSCODE_LOCK:
            unlocked_ = false;
            return Lines{ok};
        case SET_CONV_PROTECTION:
            return Lines{state_.protectConversion ? "1" : "0"};
        default:
            return std::nullopt;
    }
}

void Instrument::RequireUnlocked(std::string_view what) const {
    if (!state_.passcode.empty() && !unlocked_) {
        throw SimError{Code(InstrumentError::kPasscodeRequired),
                       "passcode required to change the " + std::string(what)};
    }
}

}  // namespace vesk::sim
