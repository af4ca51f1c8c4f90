// Each channel's settings and its probe: resolution, serial, date, conversion, parameters, lock.
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

Instrument::Reply Instrument::ChannelRequest(int32_t id, const RequestArgs& args, double /*now*/) {
    const std::string ok(comm::kReplyOk);
    switch (id) {
        case SET_RESOLUTION_READ: {
            const ChannelState& ch = ChannelArg(args);
            return Lines{ch.resolution < 0 ? std::string("AUTO") : std::to_string(ch.resolution)};
        }
        case SET_RESOLUTION: {
            ChannelState& ch = ChannelArg(args);
            ch.resolution = Upper(args.Require(Param::kValue)) == "AUTO"
                                ? -1
                                : args.RequireInt(Param::kValue, 0, 3);
            return Lines{ok};
        }
        case SET_CHANNEL_STATE:
            return Lines{ChannelArg(args, true).on ? "0" : "1"};
        case SET_PROBE_SERIAL_READ:
            return Lines{ChannelArg(args).probe.serial};
        case SET_PROBE_SERIAL_WRITE: {
            ChannelState& ch = ChannelArg(args);
            RequireUnlocked("probe serial number");
            std::string serial = args.Get(Param::kValue).value_or("");
            if (!ValidSerial(serial, 16)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a probe serial number has up to 16 letters, digits or - _ / ."};
            }
            ch.probe.serial = serial;
            return Lines{ok};
        }
        case SET_PROBE_CAL_DATE_READ:
            return Lines{ChannelArg(args).probe.calDate};
        case SET_PROBE_CAL_DATE_WRITE: {
            ChannelState& ch = ChannelArg(args);
            auto date = NormalizedDate(args.Require(Param::kValue));
            if (!date) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a date reads year,month,day (1900 to 2099)"};
            }
            ch.probe.calDate = *date;
            return Lines{ok};
        }
        case SET_CONVERSION_READ:
            return Lines{ChannelArg(args).probe.conversion};
        case SET_CONVERSION_WRITE: {
            ChannelState& ch = ChannelArg(args);
            if (state_.protectConversion) {
                RequireUnlocked("conversion");
            }
            std::string code = Upper(args.Get(Param::kValue).value_or(""));
            if (!FindConversionCode(code)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "unknown conversion code \"" + code + "\""};
            }
            if (ch.probe.conversion != code) {
                // A new conversion starts from its standard coefficients, as a fresh probe would.
                for (const auto& [name, value] : DefaultCoefficients(code)) {
                    ch.probe.params[name] = value;
                }
                ch.probe.conversion = code;
            }
            return Lines{ok};
        }
        case SET_PARAMETER_READ: {
            const ChannelState& ch = ChannelArg(args);
            std::string name = Upper(args.Require(Param::kParamName));
            if (!IsParameterName(name)) {
                throw SimError{Code(InstrumentError::kInvalidValue), "unknown parameter " + name};
            }
            auto it = ch.probe.params.find(name);
            return Lines{it == ch.probe.params.end() ? std::string("0") : Number(it->second)};
        }
        case SET_PARAMETER_WRITE: {
            ChannelState& ch = ChannelArg(args);
            std::string name = Upper(args.Require(Param::kParamName));
            if (!IsParameterName(name)) {
                throw SimError{Code(InstrumentError::kInvalidValue), "unknown parameter " + name};
            }
            if (IsCoefficientName(name) && state_.protectConversion) {
                RequireUnlocked("conversion coefficients");
            }
            double value = args.RequireNumber(Param::kValue);
            if (name == "RJTYPE" && value != 0 && value != 1) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "RJTYPE is 1 (internal) or 0 (external)"};
            }
            ch.probe.params[name] = value;
            return Lines{ok};
        }
        case SET_PROBE_LOCK_READ:
            return Lines{ChannelArg(args).probe.locked ? "1" : "0"};
        case SET_PROBE_LOCK_WRITE: {
            ChannelState& ch = ChannelArg(args);
            ch.probe.locked = args.RequireInt(Param::kValue, 0, 1) == 1;
            return Lines{ok};
        }
        default:
            return std::nullopt;
    }
}

ChannelState& Instrument::ChannelArg(const RequestArgs& args, bool optional) {
    auto text = args.Get(Param::kChannel);
    if (!text && optional) {
        return state_.channels.front();
    }
    if (!text) {
        throw SimError{Code(InstrumentError::kMissingParameter), "missing Channel"};
    }
    auto n = StrictInt(*text);
    if (!n || *n < 1 || *n > static_cast<int32_t>(state_.channels.size())) {
        throw SimError{
            Code(InstrumentError::kNoSuchChannel),
            fmt::format("no channel {} (channels 1 to {})", *text, state_.channels.size())};
    }
    return state_.channels[static_cast<size_t>(*n - 1)];
}

}  // namespace vesk::sim
