// The instrument calibration: date, ranges and their points.
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

Instrument::Reply Instrument::CalibrationRequest(int32_t id, const RequestArgs& args,
                                                 double /*now*/) {
    const std::string ok(comm::kReplyOk);
    switch (id) {
        case SET_CAL_DATE_READ:
            return Lines{state_.calDate};
        case SET_CAL_DATE_WRITE: {
            RequireUnlocked("calibration date");
            auto date = NormalizedDate(args.Require(Param::kValue));
            if (!date) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a date reads year,month,day (1900 to 2099)"};
            }
            state_.calDate = *date;
            return Lines{ok};
        }
        case SET_CAL_RANGE: {
            std::string range = Upper(args.Require(Param::kValue));
            if (range == "NORMAL") {
                selectedRange_.clear();
                return Lines{ok};
            }
            const auto& ranges = CalibrationRanges();
            if (std::find(ranges.begin(), ranges.end(), range) == ranges.end()) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "unknown calibration range " + range};
            }
            selectedRange_ = range;
            return Lines{ok};
        }
        case SET_CAL_COUNT_READ:
            return Lines{std::to_string(SelectedRange().size())};
        case SET_CAL_COUNT_WRITE: {
            std::vector<CalPoint>& points = SelectedRange();
            RequireUnlocked("calibration");
            points.resize(static_cast<size_t>(args.RequireInt(Param::kValue, 0, kMaxCalPoints)));
            return Lines{ok};
        }
        case SET_CAL_VALUE_READ:
        case SET_CAL_REFERENCE_READ: {
            std::vector<CalPoint>& points = SelectedRange();
            int32_t p = args.RequireInt(Param::kPointNumber, 1,
                                        std::max<int32_t>(1, static_cast<int32_t>(points.size())));
            if (points.empty()) {
                throw SimError{Code(InstrumentError::kInvalidValue), "the range has no points"};
            }
            const CalPoint& point = points[static_cast<size_t>(p - 1)];
            return Lines{Number(id == SET_CAL_VALUE_READ ? point.value : point.reference)};
        }
        case SET_CAL_VALUE_WRITE:
        case SET_CAL_REFERENCE_WRITE: {
            std::vector<CalPoint>& points = SelectedRange();
            RequireUnlocked("calibration");
            if (points.empty()) {
                throw SimError{Code(InstrumentError::kInvalidValue), "the range has no points"};
            }
            int32_t p =
                args.RequireInt(Param::kPointNumber, 1, static_cast<int32_t>(points.size()));
            double value = args.RequireNumber(Param::kValue);
            CalPoint& point = points[static_cast<size_t>(p - 1)];
            (id == SET_CAL_VALUE_WRITE ? point.value : point.reference) = value;
            return Lines{ok};
        }
        default:
            return std::nullopt;
    }
}

std::vector<CalPoint>& Instrument::SelectedRange() {
    if (selectedRange_.empty()) {
        throw SimError{Code(InstrumentError::kNotAvailable), "no calibration range selected"};
    }
    return state_.calibration[selectedRange_];
}

}  // namespace vesk::sim
