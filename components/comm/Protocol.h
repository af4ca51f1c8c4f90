#pragma once
// The wire protocol: one ASCII command line per request, one reply line, both tagged with a
// request number so that a late reply is never taken for the next one. The table from
// setting identifier to command lives here and nowhere else; the simulator parses with it too.
//
//   request   <tag> <MNEMONIC>[ <arg>[,<arg>...]]
//   reply     <tag> <text>            read
//             <tag> OK                write
//             <tag> !ERR <code> <text> refused
//   transfer  <tag> #BEGIN <n>, then <tag> <data line> per reading, then <tag> #END <n>
//             (or <tag> #ABORT <text> when the instrument gives up)
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::comm {

enum class Access : uint8_t { kRead, kWrite, kTransfer };

// Request parameters, in the order they travel as arguments.
enum class Param : uint8_t { kChannel, kParamName, kPointNumber, kCount, kValue, kChannelList };

std::string_view ParamName(Param param);

struct SettingCommand {
    int32_t id;
    Access access;
    std::string_view mnemonic;
    std::array<Param, 3> args;
    uint8_t argCount;
    std::string_view meaning;

    std::span<const Param> Args() const { return {args.data(), argCount}; }
};

std::span<const SettingCommand> SettingTable();
const SettingCommand* FindSetting(int32_t id);
// Case-insensitive, as a person typing at a terminal would expect.
const SettingCommand* FindMnemonic(std::string_view mnemonic);

inline constexpr std::string_view kReplyOk = "OK";
inline constexpr std::string_view kErrorPrefix = "!ERR";
inline constexpr std::string_view kBeginMarker = "#BEGIN";
inline constexpr std::string_view kEndMarker = "#END";
inline constexpr std::string_view kAbortMarker = "#ABORT";
inline constexpr uint32_t kMaxTag = 99999;
// No line of the protocol comes near this; a longer one is refused, never taken in part.
inline constexpr size_t kMaxLineLength = 4096;

// Cuts the bytes arriving on a line into lines, bounded: a line longer than kMaxLineLength
// comes out cut to kMaxLineLength + 1 bytes (so that it is refused, never taken in part), and
// the rest of it is dropped as it arrives.
class LineBuffer {
  public:
    // ends: the bytes that end a line ("\n", or "\r\n" for either).
    explicit LineBuffer(std::string_view ends) : ends_(ends) {}
    void Append(std::string_view bytes);
    // The next line without its end (nor a CR before it), or nullopt until one is complete.
    std::optional<std::string> Take();
    void Clear();

  private:
    std::string_view ends_;
    std::string buffer_;
    bool skipping_ = false;
};

// Printable ASCII only: what a line may carry.
bool IsWireText(std::string_view text);

// One argument as it travels: bare when it is a plain token, else quoted with "" for ".
std::string EncodeArgument(std::string_view value);
// One field of a transfer's data line: as it is, unless it holds a comma or a quote; then
// quoted like an argument, so that the line keeps its number of fields.
std::string EncodeField(std::string_view value);

// The request line for a command; arguments in table order, a missing one left empty.
// Throws AutomationError kCommBadParameter when a value cannot travel on the line, or the line
// would be longer than kMaxLineLength.
struct ParamLookup {
    virtual ~ParamLookup() = default;
    virtual const std::string* Find(Param param) const = 0;
};
std::string FormatRequest(uint32_t tag, const SettingCommand& command, const ParamLookup& params);

// A parsed command line (the instrument's side), refused when longer than kMaxLineLength. A
// missing argument is nullopt; a channel list "(@1,2)" comes back with its brackets.
struct CommandLine {
    std::optional<uint32_t> tag;
    std::string mnemonic;
    std::vector<std::optional<std::string>> args;
};
std::optional<CommandLine> ParseCommandLine(std::string_view line, std::string* error = nullptr);

// A reply line (the component's side); nullopt for a line longer than kMaxLineLength.
struct ReplyLine {
    uint32_t tag = 0;
    std::string payload;
};
std::optional<ReplyLine> ParseReplyLine(std::string_view line);
// The tag a line starts with, whatever follows it (a garbled late line still names its request).
std::optional<uint32_t> LeadingTag(std::string_view line);

struct ErrorReply {
    int32_t code = 0;
    std::string text;
};
std::optional<ErrorReply> ParseErrorReply(std::string_view payload);

// "#BEGIN 12" -> 12; nullopt when the payload is not that marker.
std::optional<int64_t> ParseMarker(std::string_view payload, std::string_view marker);

// Tags follow the system's monotonic clock in milliseconds, which every process on the machine
// shares, and step by one where requests come faster. A process that opens a line after an
// earlier one's request timed out so starts past every tag the earlier one used (unless that
// one ran ahead of the clock by more than its time-out), and a late reply meant for it is
// skipped instead of being taken for the current request.
uint32_t ClockTag(std::chrono::steady_clock::time_point now);
// One past last, or clockTag when that lies ahead of it (in the circular tag space); last 0
// means no request yet.
uint32_t NextTag(uint32_t last, uint32_t clockTag);

std::string FormatErrorReply(int32_t code, std::string_view text);
std::string Tagged(std::optional<uint32_t> tag, std::string_view payload);

// A line as it may safely appear in a message or trace: control bytes shown as \xNN.
std::string Printable(std::string_view text, size_t maxLength = 120);

}  // namespace vesk::comm
