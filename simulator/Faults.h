#pragma once
// Faults a test (or the server's --fault option) plans for coming requests: a reply delay, no
// reply, a garbage reply, a dropped link, a transfer that ends early, an error reply, or a
// well-formed reply with a text of the test's choosing.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::sim {

enum class FaultKind : uint8_t {
    kDelay,
    kNoReply,
    kGarbage,
    kDropLink,
    kEndEarly,
    kErrorReply,
    kReplyText
};

struct Fault {
    FaultKind kind = FaultKind::kNoReply;
    // Which request: the instrument's request number (1 = the first it ever handles, see
    // Instrument::RequestCount) or the next requests of a setting identifier.
    std::optional<uint64_t> atRequest;
    std::optional<int32_t> settingId;
    int32_t times = 1;           // with settingId: how many of its requests
    int32_t delayMs = 0;         // kDelay (in process, the next request ends the delay)
    int32_t linesBeforeEnd = 0;  // kEndEarly: readings sent before the transfer stops
    int32_t errorCode = 5;       // kErrorReply
    std::string errorText = "simulated fault";
    std::string replyText;  // kReplyText: the reply's text (the request is carried out)
};

// "<kind>[:<arg>]@<id=N|req=N>[*<times>]", kinds delay:<ms>, noreply, garbage, drop,
// early:<lines>, error:<code>, reply:<text>; e.g. "delay:3000@id=12", "drop@req=5",
// "early:10@id=278*2", "reply:700,abc@id=280".
// Throws std::invalid_argument naming what is wrong.
Fault ParseFault(std::string_view plan);

std::string_view FaultKindName(FaultKind kind);

}  // namespace vesk::sim
