// Requests about the instrument itself: identification, serial number, modules, power.
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

Instrument::Reply Instrument::SystemRequest(int32_t id, const RequestArgs& args, double /*now*/) {
    const std::string ok(comm::kReplyOk);
    switch (id) {
        case SET_INIT_INTERFACE:
            state_.serialDisabled = false;
            return Lines{ok};
        case SET_IDENTIFICATION:
            return Lines{fmt::format("{},{},{},{}", state_.maker, state_.model, state_.serial,
                                     state_.firmware)};
        case SET_SERIAL: {
            RequireUnlocked("serial number");
            std::string serial = args.Require(Param::kValue);
            if (serial.empty() || !ValidSerial(serial, 12)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a serial number has 1 to 12 letters, digits or - _ / ."};
            }
            state_.serial = serial;
            return Lines{ok};
        }
        case SET_MODULE_LIST: {
            std::string list;
            for (size_t i = 0; i < state_.channels.size(); ++i) {
                list += i == 0 ? "PRT" : ",PRT";
            }
            return Lines{list};
        }
        case SET_NUM_MODULES:
        case SET_NUM_CHANNELS:
            return Lines{std::to_string(state_.channels.size())};
        case SET_AUTO_POWER_READ:
            return Lines{state_.autoPower ? "ON" : "OFF"};
        case SET_AUTO_POWER_WRITE: {
            std::string value = Upper(args.Require(Param::kValue));
            if (value != "ON" && value != "OFF") {
                throw SimError{Code(InstrumentError::kInvalidValue), "ON or OFF"};
            }
            state_.autoPower = value == "ON";
            return Lines{ok};
        }
        case SET_DISABLE_SERIAL:
            state_.serialDisabled = true;
            return Lines{ok};
        default:
            return std::nullopt;
    }
}

}  // namespace vesk::sim
