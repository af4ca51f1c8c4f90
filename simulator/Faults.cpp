#include "simulator/Faults.h"
#include "components/comm/Text.h"

#include <stdexcept>

namespace vesk::sim {

namespace {

template <typename T>
T Number(std::string_view text, std::string_view plan, std::string_view what) {
    const auto value = comm::ParseWhole<T>(text);
    if (!value) {
        throw std::invalid_argument("fault \"" + std::string(plan) + "\": " + std::string(what) +
                                    " must be a number");
    }
    return *value;
}

}  // namespace

std::string_view FaultKindName(FaultKind kind) {
    switch (kind) {
        case FaultKind::kDelay:
            return "delay";
        case FaultKind::kNoReply:
            return "noreply";
        case FaultKind::kGarbage:
            return "garbage";
        case FaultKind::kDropLink:
            return "drop";
        case FaultKind::kEndEarly:
            return "early";
        case FaultKind::kErrorReply:
            return "error";
        case FaultKind::kReplyText:
            return "reply";
    }
    return "?";
}

Fault ParseFault(std::string_view plan) {
    Fault fault;
    size_t at = plan.rfind('@');
    if (at == std::string_view::npos) {
        throw std::invalid_argument("fault \"" + std::string(plan) +
                                    "\": expected <kind>@id=N or <kind>@req=N");
    }
    std::string_view what = plan.substr(0, at);
    std::string_view when = plan.substr(at + 1);
    std::string_view arg;
    if (size_t colon = what.find(':'); colon != std::string_view::npos) {
        arg = what.substr(colon + 1);
        what = what.substr(0, colon);
    }
    bool found = false;
    for (auto kind :
         {FaultKind::kDelay, FaultKind::kNoReply, FaultKind::kGarbage, FaultKind::kDropLink,
          FaultKind::kEndEarly, FaultKind::kErrorReply, FaultKind::kReplyText}) {
        if (FaultKindName(kind) == what) {
            fault.kind = kind;
            found = true;
        }
    }
    if (!found) {
        throw std::invalid_argument("fault \"" + std::string(plan) + "\": unknown kind \"" +
                                    std::string(what) +
                                    "\" (delay, noreply, garbage, drop, early, error, reply)");
    }
    switch (fault.kind) {
        case FaultKind::kDelay:
            fault.delayMs = Number<int32_t>(arg, plan, "the delay");
            break;
        case FaultKind::kEndEarly:
            fault.linesBeforeEnd = arg.empty() ? 0 : Number<int32_t>(arg, plan, "the line count");
            break;
        case FaultKind::kErrorReply:
            fault.errorCode = arg.empty() ? 5 : Number<int32_t>(arg, plan, "the error code");
            break;
        case FaultKind::kReplyText:
            fault.replyText = std::string(arg);
            break;
        default:
            if (!arg.empty()) {
                throw std::invalid_argument("fault \"" + std::string(plan) +
                                            "\": this kind takes no argument");
            }
    }
    if (size_t star = when.find('*'); star != std::string_view::npos) {
        fault.times = Number<int32_t>(when.substr(star + 1), plan, "the repeat count");
        when = when.substr(0, star);
    }
    if (when.rfind("id=", 0) == 0) {
        fault.settingId = Number<int32_t>(when.substr(3), plan, "the setting identifier");
    } else if (when.rfind("req=", 0) == 0) {
        fault.atRequest = Number<uint64_t>(when.substr(4), plan, "the request number");
    } else {
        throw std::invalid_argument("fault \"" + std::string(plan) +
                                    "\": expected id=N or req=N after @");
    }
    if (fault.times < 1 || fault.delayMs < 0 || fault.linesBeforeEnd < 0) {
        throw std::invalid_argument("fault \"" + std::string(plan) + "\": negative numbers");
    }
    return fault;
}

}  // namespace vesk::sim
