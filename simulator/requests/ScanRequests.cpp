// The scan list, scan mode and sequence delay.
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

Instrument::Reply Instrument::ScanRequest(int32_t id, const RequestArgs& args, double /*now*/) {
    const std::string ok(comm::kReplyOk);
    switch (id) {
        case SET_SCAN_SEQ_DELAY:
            state_.scanSeqDelay = args.RequireInt(Param::kValue, 0, 3600);
            return Lines{ok};
        case SET_SCAN_LIST_READ: {
            std::string list = "(@";
            for (size_t i = 0; i < state_.scanList.size(); ++i) {
                list += (i == 0 ? "" : ",") + std::to_string(state_.scanList[i]);
            }
            return Lines{list + ")"};
        }
        case SET_SCAN_LIST_WRITE: {
            std::string group = args.Require(Param::kChannelList);
            if (group.size() < 3 || group.rfind("(@", 0) != 0 || group.back() != ')') {
                throw SimError{Code(InstrumentError::kInvalidValue), "a channel list reads (@1,2)"};
            }
            std::string_view inner(group.data() + 2, group.size() - 3);
            std::vector<int32_t> channels;
            while (!inner.empty()) {
                size_t comma = inner.find(',');
                std::string_view item = Trim(inner.substr(0, comma));
                auto n = StrictInt(item);
                if (!n || *n < 1 || *n > static_cast<int32_t>(state_.channels.size()) ||
                    std::find(channels.begin(), channels.end(), *n) != channels.end()) {
                    throw SimError{Code(InstrumentError::kInvalidValue),
                                   "bad channel in the list: " + std::string(item)};
                }
                channels.push_back(*n);
                inner =
                    comma == std::string_view::npos ? std::string_view{} : inner.substr(comma + 1);
            }
            state_.scanList = channels;
            return Lines{ok};
        }
        case SET_SCAN_MODE_READ:
            return Lines{std::to_string(state_.scanMode)};
        case SET_SCAN_MODE_WRITE:
            state_.scanMode = args.RequireInt(Param::kValue, 0, 1);
            return Lines{ok};
        default:
            return std::nullopt;
    }
}

}  // namespace vesk::sim
