// Measuring: start and stop, readings from the drifting bath, interval and units.
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

Instrument::Reply Instrument::MeasurementRequest(int32_t id, const RequestArgs& args, double now) {
    const std::string ok(comm::kReplyOk);
    const double readingTime = state_.measuring ? now : static_cast<double>(state_.stoppedAt);
    switch (id) {
        case SET_START_MEASURE:
            if (!state_.measuring) {
                state_.measuring = true;
                state_.autoLogNext = 0;
                lastReportedReading_ = LatestReadingTime(now);
            }
            return Lines{ok};
        case SET_STOP_MEASURE:
            if (state_.measuring) {
                state_.measuring = false;
                state_.stoppedAt = static_cast<int64_t>(std::floor(now));
            }
            return Lines{ok};
        case SET_TEMPERATURE: {
            ChannelState& ch = ChannelArg(args);
            RequireOn(ch);
            return Lines{ValueText(ReadingAt(ChannelNumber(ch), readingTime))};
        }
        case SET_RAW_VALUE: {
            ChannelState& ch = ChannelArg(args);
            RequireOn(ch);
            if (MeasuresVoltage(ch.probe)) {
                throw SimError{Code(InstrumentError::kNotAvailable),
                               fmt::format("channel {} measures a voltage", ChannelNumber(ch))};
            }
            return Lines{
                fmt::format("{:.5f}", RawAt(ch.probe, CelsiusAt(ChannelNumber(ch), readingTime)))};
        }
        case SET_RAW_MILLI: {
            ChannelState& ch = ChannelArg(args);
            RequireOn(ch);
            if (!MeasuresVoltage(ch.probe)) {
                throw SimError{Code(InstrumentError::kNotAvailable),
                               fmt::format("channel {} measures a resistance", ChannelNumber(ch))};
            }
            double millivolts = RawAt(ch.probe, CelsiusAt(ChannelNumber(ch), readingTime));
            return Lines{fmt::format("{:.3f}", millivolts * 1000.0)};
        }
        case SET_READING_STATE:
            return Lines{NewReadingReady(now) ? "16" : "0"};
        case SET_INTERVAL_READ:
            return Lines{state_.interval == 0 ? std::string("AUTO")
                                              : std::to_string(state_.interval)};
        case SET_INTERVAL_WRITE: {
            std::string value = Upper(args.Require(Param::kValue));
            state_.interval = value == "AUTO" ? 0 : args.RequireInt(Param::kValue, 1, 60);
            return Lines{ok};
        }
        case SET_UNITS_READ:
            return Lines{state_.units};
        case SET_UNITS_WRITE: {
            std::string units = Upper(args.Require(Param::kValue));
            if (units != "C" && units != "F" && units != "K") {
                throw SimError{Code(InstrumentError::kInvalidValue), "units are C, F or K"};
            }
            state_.units = units;
            return Lines{ok};
        }
        default:
            return std::nullopt;
    }
}

double Instrument::CelsiusAt(int32_t channel, double seconds) const {
    const Drift& d = state_.channels[static_cast<size_t>(channel - 1)].drift;
    double wave =
        d.periodSeconds > 0 ? std::sin(2 * std::numbers::pi * seconds / d.periodSeconds) : 0.0;
    return d.base + d.amplitude * wave +
           d.noise * Noise(options_.seed, channel, static_cast<int64_t>(std::floor(seconds)));
}

double Instrument::TemperatureAt(int32_t channel) const {
    std::lock_guard lock(mutex_);
    double now = state_.measuring ? NowSeconds() : static_cast<double>(state_.stoppedAt);
    return CelsiusAt(channel, now);
}

Reading Instrument::ReadingAt(int32_t channel, double seconds) const {
    const ProbeState& probe = state_.channels[static_cast<size_t>(channel - 1)].probe;
    Reading r;
    r.time = static_cast<int64_t>(std::floor(seconds));
    r.channel = channel;
    r.label = state_.currentLabel;
    double celsius = CelsiusAt(channel, seconds);
    if (ShowsRaw(probe)) {
        double raw = RawAt(probe, celsius);
        r.value = MeasuresVoltage(probe) ? raw / 1000.0 : raw;
        r.unit = MeasuresVoltage(probe) ? "V" : "OHM";
    } else {
        r.value = InUnits(celsius, state_.units);
        r.unit = state_.units;
    }
    return r;
}

double Instrument::LatestReadingTime(double now) const {
    int32_t period = state_.interval > 0 ? state_.interval : 1;
    return std::floor(now / period) * period;
}

bool Instrument::NewReadingReady(double now) {
    double latest = LatestReadingTime(now);
    if (!state_.measuring || latest <= lastReportedReading_) {
        return false;
    }
    lastReportedReading_ = latest;
    return true;
}

}  // namespace vesk::sim
