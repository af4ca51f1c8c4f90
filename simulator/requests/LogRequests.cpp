// The demand and automatic logs, their labels, and the transfer of readings.
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

namespace {

constexpr int32_t kAutoLogPeriod = 60;

}  // namespace

Instrument::Reply Instrument::LogRequest(int32_t id, const RequestArgs& args, double /*now*/) {
    const std::string ok(comm::kReplyOk);
    switch (id) {
        case SET_TRANSFER_ALL:
            return Transfer(args, state_.demandLog, std::nullopt);
        case SET_TRANSFER_LABEL:
            return Transfer(args, state_.demandLog, args.RequireInt(Param::kValue, 1, kMaxLabels));
        case SET_DEMAND_LOG_STATUS:
        case SET_AUTO_LOG_STATUS: {
            const bool demand = id == SET_DEMAND_LOG_STATUS;
            auto held = static_cast<int32_t>((demand ? state_.demandLog : state_.autoLog).size());
            const int32_t capacity = demand ? state_.demandCapacity : state_.autoCapacity;
            return Lines{fmt::format("{},{}", std::max(0, capacity - held), held)};
        }
        case SET_AUTO_LOG_TRANSFER:
            return Transfer(args, state_.autoLog, std::nullopt);
        case SET_CLEAR_AUTO_LOG:
            if (args.Require(Param::kValue) != "0") {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "the automatic log is cleared with 0"};
            }
            state_.autoLog.clear();
            return Lines{ok};
        case SET_CLEAR_DEMAND_LOG:
            state_.demandLog.clear();
            return Lines{ok};
        case SET_LOGGING_LABEL_READ:
            return Lines{state_.labels[static_cast<size_t>(state_.currentLabel - 1)]};
        case SET_LOGGING_LABEL_LIST: {
            std::string list;
            for (const std::string& label : state_.labels) {
                list += (list.empty() ? "" : ",") + label;
            }
            return Lines{list};
        }
        case SET_LOGGING_LABEL_WRITE: {
            std::string label = args.Get(Param::kValue).value_or("");
            if (!ValidLabel(label)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a label has 1 to 8 characters A-Z, 0-9, space or _"};
            }
            auto it = std::find(state_.labels.begin(), state_.labels.end(), label);
            if (it == state_.labels.end()) {
                if (state_.labels.size() >= static_cast<size_t>(kMaxLabels)) {
                    throw SimError{Code(InstrumentError::kLogError),
                                   "all 25 labels are in use; clear the logs first"};
                }
                state_.labels.push_back(label);
                it = state_.labels.end() - 1;
            }
            state_.currentLabel = static_cast<int32_t>(it - state_.labels.begin()) + 1;
            return Lines{ok};
        }
        default:
            return std::nullopt;
    }
}

void Instrument::CatchUpAutoLog(double now) {
    if (!state_.measuring) {
        return;
    }
    auto whole = static_cast<int64_t>(std::floor(now));
    // The logging interval, or a minute while it is automatic.
    const int64_t period = state_.interval > 0 ? state_.interval : kAutoLogPeriod;
    if (state_.autoLogNext == 0) {
        state_.autoLogNext = (whole / period + 1) * period;
        return;
    }
    // After a long pause only the newest readings can still be in the log.
    int64_t oldest = whole - static_cast<int64_t>(state_.autoCapacity) * period;
    if (state_.autoLogNext < oldest) {
        state_.autoLogNext = (oldest / period) * period;
    }
    while (state_.autoLogNext <= whole) {
        for (size_t i = 0; i < state_.channels.size(); ++i) {
            if (!state_.channels[i].on) {
                continue;
            }
            try {
                state_.autoLog.push_back(ReadingAt(static_cast<int32_t>(i + 1),
                                                   static_cast<double>(state_.autoLogNext)));
            } catch (const AutomationError&) {
                // An out-of-range probe logs nothing, as the real logger skips an over-range.
            }
        }
        state_.autoLogNext += period;
    }
    if (state_.autoLog.size() > static_cast<size_t>(state_.autoCapacity)) {
        state_.autoLog.erase(state_.autoLog.begin(), state_.autoLog.end() - state_.autoCapacity);
    }
}

bool Instrument::TakeDemandReadings(double now) {
    std::vector<Reading> taken;
    for (size_t i = 0; i < state_.channels.size(); ++i) {
        if (state_.channels[i].on) {
            taken.push_back(ReadingAt(static_cast<int32_t>(i + 1), now));
        }
    }
    if (state_.demandLog.size() + taken.size() > static_cast<size_t>(state_.demandCapacity)) {
        return false;
    }
    state_.demandLog.insert(state_.demandLog.end(), taken.begin(), taken.end());
    dirty_ = true;
    return true;
}

bool Instrument::LogOnDemand() {
    std::lock_guard lock(mutex_);
    const StateFile::Lock fileLock = FileLock();
    TakeUpSaved();
    bool taken = TakeDemandReadings(NowSeconds());
    SaveLocked();
    return taken;
}

std::vector<std::string> Instrument::Transfer(const RequestArgs& args,
                                              const std::vector<Reading>& log,
                                              std::optional<int32_t> label) {
    int32_t count = 0;
    if (auto text = args.Get(Param::kCount)) {
        auto n = StrictInt(*text);
        if (!n) {
            throw SimError{Code(InstrumentError::kInvalidValue), "not a count: " + *text};
        }
        count = *n;
    }
    std::vector<std::string> lines;
    lines.emplace_back();  // the begin marker, once the number is known
    int32_t seq = 0;
    for (const Reading& r : log) {
        ++seq;
        if (label && r.label != *label) {
            continue;
        }
        if (count > 0 && static_cast<int32_t>(lines.size()) - 1 >= count) {
            break;
        }
        std::string when = ClockText(r.time);  // 2024-03-01T09:00:00
        std::string date = when.substr(0, 10);
        std::replace(date.begin(), date.end(), '-', '/');
        const std::string& labelText =
            r.label >= 1 && r.label <= static_cast<int32_t>(state_.labels.size())
                ? state_.labels[static_cast<size_t>(r.label - 1)]
                : std::string();
        lines.push_back(fmt::format("{},{},{},{},{},{},{},{}", seq, date, when.substr(11),
                                    r.channel, r.label, comm::EncodeField(labelText), ValueText(r),
                                    r.unit));
    }
    size_t sent = lines.size() - 1;
    lines.front() = fmt::format("{} {}", comm::kBeginMarker, sent);
    if (label && sent == 0) {
        lines.push_back(fmt::format("{} no readings under label {}", comm::kAbortMarker, *label));
        return lines;
    }
    lines.push_back(fmt::format("{} {}", comm::kEndMarker, sent));
    return lines;
}

}  // namespace vesk::sim
