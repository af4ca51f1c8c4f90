#pragma once
// Error numbers the communications component raises, and the instrument's own error codes
// that come back in error replies.
#include <cstdint>
#include <string>

#include "vesk4710/support/AutomationError.h"

namespace vesk::comm {

// Raised by the component itself.
inline constexpr int32_t kCommTimeout = kObjectErrorBase + 2001;
inline constexpr int32_t kCommMalformedReply = kObjectErrorBase + 2002;
inline constexpr int32_t kCommLinkDropped = kObjectErrorBase + 2003;
inline constexpr int32_t kCommLinkUnavailable = kObjectErrorBase + 2004;
inline constexpr int32_t kCommUnknownSetting = kObjectErrorBase + 2005;
inline constexpr int32_t kCommBadParameter = kObjectErrorBase + 2006;
inline constexpr int32_t kCommCancelled = kObjectErrorBase + 2007;
inline constexpr int32_t kCommUnsupportedInstrument = kObjectErrorBase + 2008;

// An error reply "!ERR <code> <text>" is raised as this base plus the instrument's code.
inline constexpr int32_t kCommInstrumentErrorBase = kObjectErrorBase + 2100;

// The instrument's error codes.
enum class InstrumentError : int32_t {
    kUnknownCommand = 1,
    kMissingParameter = 2,
    kInvalidValue = 3,
    kPasscodeRequired = 4,
    kNotAvailable = 5,
    kLogError = 6,
    kNoSuchChannel = 7,
    kNotStored = 8,
};

inline constexpr const char* kCommSource = "VeskCommunications";

// The error for an instrument error reply.
AutomationError InstrumentErrorFor(int32_t code, const std::string& text,
                                   const std::string& request);

AutomationError CommError(int32_t number, const std::string& description);

}  // namespace vesk::comm
