#include "components/comm/CommErrors.h"

namespace vesk::comm {

AutomationError CommError(int32_t number, const std::string& description) {
    return AutomationError(number, description, kCommSource);
}

AutomationError InstrumentErrorFor(int32_t code, const std::string& text,
                                   const std::string& request) {
    std::string description = "The instrument refused " + request + ": " + text +
                              " (instrument error " + std::to_string(code) + ")";
    return CommError(kCommInstrumentErrorBase + code, description);
}

}  // namespace vesk::comm
