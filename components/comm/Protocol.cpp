#include "components/comm/Protocol.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "components/comm/CommErrors.h"
#include "components/comm/Text.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::comm {

namespace {

using P = Param;
constexpr Access R = Access::kRead;
constexpr Access W = Access::kWrite;
constexpr Access T = Access::kTransfer;

constexpr SettingCommand Cmd(int32_t id, Access access, std::string_view mnemonic,
                             std::string_view meaning) {
    return {id, access, mnemonic, {}, 0, meaning};
}
constexpr SettingCommand Cmd(int32_t id, Access access, std::string_view mnemonic, Param a,
                             std::string_view meaning) {
    return {id, access, mnemonic, {a}, 1, meaning};
}
constexpr SettingCommand Cmd(int32_t id, Access access, std::string_view mnemonic, Param a, Param b,
                             std::string_view meaning) {
    return {id, access, mnemonic, {a, b}, 2, meaning};
}
constexpr SettingCommand Cmd(int32_t id, Access access, std::string_view mnemonic, Param a, Param b,
                             Param c, std::string_view meaning) {
    return {id, access, mnemonic, {a, b, c}, 3, meaning};
}

// Every setting identifier the library and the tools use, in identifier order.
constexpr SettingCommand kTable[] = {
    Cmd(SET_INIT_INTERFACE, W, "SYST:INIT", "initialise the interface"),
    Cmd(SET_PASSCODE, W, "PASS", P::kValue, "present the passcode"),
    Cmd(SET_PASSCODE_STATE, R, "PASS?", "unlocked state: 1 unlocked, 0 locked"),
    Cmd(SET_PASSCODE_LOCK, W, "PASS:LOCK", "end the unlocked state, storing calibration edits"),
    Cmd(SET_CONV_PROTECTION, R, "PROT:CONV?", "conversion protection: 1 protected"),
    Cmd(SET_START_MEASURE, W, "MEAS:START", "start measuring"),
    Cmd(SET_STOP_MEASURE, W, "MEAS:STOP", "stop measuring"),
    Cmd(SET_TEMPERATURE, R, "MEAS:TEMP?", P::kChannel, "temperature in the current units"),
    Cmd(SET_RAW_VALUE, R, "MEAS:RES?", P::kChannel, "raw resistance in ohms"),
    Cmd(SET_RAW_MILLI, R, "MEAS:VOLT?", P::kChannel, "raw thermocouple emf in microvolts"),
    Cmd(SET_READING_STATE, R, "MEAS:STAT?",
        "reading state: 16 when a new reading is ready, else 0"),
    Cmd(SET_IDENTIFICATION, R, "*IDN?", "identification: maker,model,serial,firmware"),
    Cmd(SET_SERIAL, W, "SYST:SNUM", P::kValue, "instrument serial number (protected)"),
    Cmd(SET_INTERVAL_READ, R, "SAMP:INT?", "sample interval: AUTO or seconds"),
    Cmd(SET_INTERVAL_WRITE, W, "SAMP:INT", P::kValue, "sample interval: AUTO or 1 to 60 seconds"),
    Cmd(SET_SCAN_SEQ_DELAY, W, "SCAN:DEL", P::kValue, "scan sequence delay, 0 to 3600 seconds"),
    Cmd(SET_MODULE_LIST, R, "MOD:LIST?", "module list"),
    Cmd(SET_NUM_MODULES, R, "MOD:COUN?", "number of modules"),
    Cmd(SET_NUM_CHANNELS, R, "CHAN:COUN?", "number of channels"),
    Cmd(SET_SCAN_LIST_READ, R, "SCAN:LIST?", "scan channel list as (@1,2)"),
    Cmd(SET_SCAN_LIST_WRITE, W, "SCAN:LIST", P::kChannelList, "scan channel list"),
    Cmd(SET_SCAN_MODE_READ, R, "SCAN:MODE?", "scan mode: 0 simultaneous, 1 scan"),
    Cmd(SET_SCAN_MODE_WRITE, W, "SCAN:MODE", P::kValue, "scan mode"),
    Cmd(SET_RESOLUTION_READ, R, "DISP:RES?", P::kChannel,
        "display resolution: AUTO or 0 to 3 digits"),
    Cmd(SET_RESOLUTION, W, "DISP:RES", P::kChannel, P::kValue, "display resolution"),
    Cmd(SET_CAL_DATE_READ, R, "CAL:DATE?", "calibration date as Y,M,D"),
    Cmd(SET_CAL_DATE_WRITE, W, "CAL:DATE", P::kValue, "calibration date (protected)"),
    Cmd(SET_CAL_RANGE, W, "CAL:RANG", P::kValue, "select a calibration range, NORMAL to leave"),
    Cmd(SET_CAL_COUNT_READ, R, "CAL:COUN?", "points defined in the selected range"),
    Cmd(SET_CAL_COUNT_WRITE, W, "CAL:COUN", P::kValue, "points of the selected range (protected)"),
    Cmd(SET_CAL_VALUE_READ, R, "CAL:VAL?", P::kPointNumber, "second value of a point"),
    Cmd(SET_CAL_VALUE_WRITE, W, "CAL:VAL", P::kPointNumber, P::kValue,
        "second value of a point (protected)"),
    Cmd(SET_CAL_REFERENCE_READ, R, "CAL:REF?", P::kPointNumber, "first value of a point"),
    Cmd(SET_CAL_REFERENCE_WRITE, W, "CAL:REF", P::kPointNumber, P::kValue,
        "first value of a point (protected)"),
    Cmd(SET_CHANNEL_STATE, R, "CHAN:STAT?", P::kChannel, "channel state: bit 0 clear when on"),
    Cmd(SET_PROBE_SERIAL_READ, R, "PROB:SNUM?", P::kChannel, "probe serial number"),
    Cmd(SET_PROBE_SERIAL_WRITE, W, "PROB:SNUM", P::kChannel, P::kValue,
        "probe serial number (protected)"),
    Cmd(SET_PROBE_CAL_DATE_READ, R, "PROB:CAL?", P::kChannel, "probe calibration date as Y,M,D"),
    Cmd(SET_PROBE_CAL_DATE_WRITE, W, "PROB:CAL", P::kChannel, P::kValue, "probe calibration date"),
    Cmd(SET_CONVERSION_READ, R, "PROB:CONV?", P::kChannel, "conversion code"),
    Cmd(SET_CONVERSION_WRITE, W, "PROB:CONV", P::kChannel, P::kValue,
        "conversion code (protected)"),
    Cmd(SET_PARAMETER_READ, R, "PROB:PAR?", P::kChannel, P::kParamName, "named channel parameter"),
    Cmd(SET_PARAMETER_WRITE, W, "PROB:PAR", P::kChannel, P::kParamName, P::kValue,
        "named channel parameter (coefficients protected)"),
    Cmd(SET_PROBE_LOCK_READ, R, "PROB:LOCK?", P::kChannel, "probe lock: 1 locked"),
    Cmd(SET_PROBE_LOCK_WRITE, W, "PROB:LOCK", P::kChannel, P::kValue, "probe lock"),
    Cmd(SET_UNITS_READ, R, "UNIT?", "temperature units: C, F or K"),
    Cmd(SET_UNITS_WRITE, W, "UNIT", P::kValue, "temperature units"),
    Cmd(SET_TRANSFER_ALL, T, "LOG:DATA?", P::kCount, "demand log readings, at most the count"),
    Cmd(SET_TRANSFER_LABEL, T, "LOG:DATA:LAB?", P::kCount, P::kValue,
        "demand log readings of one label"),
    Cmd(SET_DEMAND_LOG_STATUS, R, "LOG:DEM:STAT?", "demand log: free,held"),
    Cmd(SET_AUTO_LOG_STATUS, R, "LOG:AUTO:STAT?", "automatic log: free,held"),
    Cmd(SET_AUTO_LOG_TRANSFER, T, "LOG:AUTO:DATA?", P::kCount,
        "automatic log readings, at most the count"),
    Cmd(SET_CLEAR_AUTO_LOG, W, "LOG:AUTO:CLE", P::kValue, "clear the automatic log"),
    Cmd(SET_CLEAR_DEMAND_LOG, W, "LOG:DEM:CLE", "clear the demand log"),
    Cmd(SET_LOGGING_LABEL_READ, R, "LOG:LAB?", "current logging label"),
    Cmd(SET_LOGGING_LABEL_WRITE, W, "LOG:LAB", P::kValue, "current logging label"),
    Cmd(SET_LOGGING_LABEL_LIST, R, "LOG:LAB:LIST?", "the labels in use by number, comma-separated"),
    Cmd(SET_AUTO_POWER_READ, R, "SYST:APOW?", "automatic power-off: ON or OFF"),
    Cmd(SET_AUTO_POWER_WRITE, W, "SYST:APOW", P::kValue, "automatic power-off"),
    Cmd(SET_DISABLE_SERIAL, W, "SYST:COMM:DIS", "disable the serial interface"),
};

bool IsTokenChar(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '+' || c == '-' || c == '_' || c == ':' || c == '/';
}

// In double quotes, with "" for a quote.
std::string Quoted(std::string_view value) {
    std::string out = "\"";
    for (char c : value) {
        if (c == '"') {
            out += '"';
        }
        out += c;
    }
    out += '"';
    return out;
}

char Upper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

std::optional<uint32_t> ParseTag(std::string_view text) {
    if (text.empty() || text.size() > 5) {
        return std::nullopt;
    }
    const auto tag = ParseWhole<uint32_t>(text);
    if (!tag || *tag == 0 || *tag > kMaxTag) {
        return std::nullopt;
    }
    return tag;
}

}  // namespace

std::string_view ParamName(Param param) {
    switch (param) {
        case Param::kChannel:
            return "Channel";
        case Param::kParamName:
            return "paramname";
        case Param::kPointNumber:
            return "PointNumber";
        case Param::kCount:
            return "Count";
        case Param::kValue:
            return "Value";
        case Param::kChannelList:
            return "ChannelList";
    }
    return "?";
}

std::span<const SettingCommand> SettingTable() {
    return kTable;
}

const SettingCommand* FindSetting(int32_t id) {
    for (const SettingCommand& c : kTable) {
        if (c.id == id) {
            return &c;
        }
    }
    return nullptr;
}

const SettingCommand* FindMnemonic(std::string_view mnemonic) {
    for (const SettingCommand& c : kTable) {
        if (c.mnemonic.size() == mnemonic.size() &&
            std::equal(c.mnemonic.begin(), c.mnemonic.end(), mnemonic.begin(),
                       [](char a, char b) { return a == Upper(b); })) {
            return &c;
        }
    }
    return nullptr;
}

void LineBuffer::Append(std::string_view bytes) {
    buffer_.append(bytes);
}

std::optional<std::string> LineBuffer::Take() {
    size_t end = buffer_.find_first_of(ends_);
    if (skipping_) {
        if (end == std::string::npos) {
            buffer_.clear();
            return std::nullopt;
        }
        buffer_.erase(0, end + 1);
        skipping_ = false;
        end = buffer_.find_first_of(ends_);
    }
    std::string line;
    if (end == std::string::npos) {
        if (buffer_.size() <= kMaxLineLength) {
            return std::nullopt;
        }
        line = buffer_.substr(0, kMaxLineLength + 1);
        buffer_.clear();
        skipping_ = true;
        return line;
    }
    const size_t length = end > 0 && buffer_[end - 1] == '\r' ? end - 1 : end;
    line = buffer_.substr(0, std::min(length, kMaxLineLength + 1));
    buffer_.erase(0, end + 1);
    return line;
}

void LineBuffer::Clear() {
    buffer_.clear();
    skipping_ = false;
}

bool IsWireText(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        auto u = static_cast<unsigned char>(c);
        return u >= 0x20 && u < 0x7F;
    });
}

std::string EncodeArgument(std::string_view value) {
    if (!value.empty() && std::all_of(value.begin(), value.end(), IsTokenChar)) {
        return std::string(value);
    }
    return Quoted(value);
}

std::string EncodeField(std::string_view value) {
    if (value.find_first_of(",\"") == std::string_view::npos) {
        return std::string(value);
    }
    return Quoted(value);
}

std::string FormatRequest(uint32_t tag, const SettingCommand& command, const ParamLookup& params) {
    std::vector<std::string> args;
    for (Param p : command.Args()) {
        const std::string* value = params.Find(p);
        if (value == nullptr) {
            args.emplace_back();
            continue;
        }
        if (!IsWireText(*value)) {
            throw CommError(kCommBadParameter,
                            "The " + std::string(ParamName(p)) + " parameter of setting " +
                                std::to_string(command.id) +
                                " holds characters the line protocol cannot carry (only "
                                "printable ASCII)");
        }
        if (p == Param::kChannelList) {
            if (value->find_first_of("()\"") != std::string::npos) {
                throw CommError(
                    kCommBadParameter,
                    "The ChannelList parameter may not hold brackets or quotes: " + *value);
            }
            args.push_back("(@" + *value + ")");
        } else {
            args.push_back(EncodeArgument(*value));
        }
    }
    while (!args.empty() && args.back().empty()) {
        args.pop_back();
    }
    std::string line = std::to_string(tag);
    line += ' ';
    line += command.mnemonic;
    for (size_t i = 0; i < args.size(); ++i) {
        line += i == 0 ? ' ' : ',';
        line += args[i];
    }
    if (line.size() > kMaxLineLength) {
        throw CommError(kCommBadParameter, "The request for setting " + std::to_string(command.id) +
                                               " would be longer than the " +
                                               std::to_string(kMaxLineLength) +
                                               " bytes a line may hold");
    }
    return line;
}

std::optional<CommandLine> ParseCommandLine(std::string_view line, std::string* error) {
    auto fail = [&](std::string text) -> std::optional<CommandLine> {
        if (error != nullptr) {
            *error = std::move(text);
        }
        return std::nullopt;
    };
    if (line.size() > kMaxLineLength) {
        return fail("the line is longer than " + std::to_string(kMaxLineLength) + " bytes");
    }
    if (!IsWireText(line)) {
        return fail("the line holds characters other than printable ASCII");
    }
    std::string_view rest = Trim(line);
    CommandLine out;
    size_t space = rest.find(' ');
    if (auto tag = ParseTag(rest.substr(0, space)); tag && space != std::string_view::npos) {
        out.tag = tag;
        rest = Trim(rest.substr(space + 1));
        space = rest.find(' ');
    }
    out.mnemonic = std::string(rest.substr(0, space));
    if (out.mnemonic.empty()) {
        return fail("no command");
    }
    for (char& c : out.mnemonic) {
        c = Upper(c);
    }
    if (space == std::string_view::npos) {
        return out;
    }
    std::string_view args = Trim(rest.substr(space + 1));
    if (args.empty()) {
        return out;
    }
    // Split at commas outside quotes and brackets.
    size_t i = 0;
    while (true) {
        while (i < args.size() && args[i] == ' ') {
            ++i;
        }
        std::optional<std::string> arg;
        if (i < args.size() && args[i] == '"') {
            std::string text;
            ++i;
            bool closed = false;
            while (i < args.size()) {
                if (args[i] == '"') {
                    if (i + 1 < args.size() && args[i + 1] == '"') {
                        text += '"';
                        i += 2;
                        continue;
                    }
                    ++i;
                    closed = true;
                    break;
                }
                text += args[i++];
            }
            if (!closed) {
                return fail("unterminated quoted argument");
            }
            while (i < args.size() && args[i] == ' ') {
                ++i;
            }
            arg = std::move(text);
        } else {
            size_t start = i;
            int depth = 0;
            while (i < args.size() && (depth > 0 || args[i] != ',')) {
                if (args[i] == '(') {
                    ++depth;
                } else if (args[i] == ')') {
                    --depth;
                } else if (args[i] == '"') {
                    return fail("a quote inside an unquoted argument");
                }
                ++i;
            }
            if (depth != 0) {
                return fail("unbalanced brackets");
            }
            std::string_view text = Trim(args.substr(start, i - start));
            if (!text.empty()) {
                arg = std::string(text);
            }
        }
        out.args.push_back(std::move(arg));
        if (i >= args.size()) {
            break;
        }
        if (args[i] != ',') {
            return fail("text after a quoted argument");
        }
        ++i;
    }
    return out;
}

std::optional<ReplyLine> ParseReplyLine(std::string_view line) {
    if (line.size() > kMaxLineLength || !IsWireText(line)) {
        return std::nullopt;
    }
    size_t space = line.find(' ');
    if (space == std::string_view::npos) {
        return std::nullopt;
    }
    auto tag = ParseTag(line.substr(0, space));
    if (!tag) {
        return std::nullopt;
    }
    return ReplyLine{*tag, std::string(line.substr(space + 1))};
}

std::optional<uint32_t> LeadingTag(std::string_view line) {
    return ParseTag(line.substr(0, line.find(' ')));
}

std::optional<ErrorReply> ParseErrorReply(std::string_view payload) {
    if (payload.substr(0, kErrorPrefix.size()) != kErrorPrefix) {
        return std::nullopt;
    }
    std::string_view rest = Trim(payload.substr(kErrorPrefix.size()));
    ErrorReply out;
    auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), out.code);
    if (ec != std::errc() || out.code <= 0 || out.code > 99) {
        out.code = 0;  // an error reply whose code is unreadable is still an error
        out.text = std::string(rest);
        return out;
    }
    out.text = std::string(Trim(rest.substr(static_cast<size_t>(end - rest.data()))));
    return out;
}

std::optional<int64_t> ParseMarker(std::string_view payload, std::string_view marker) {
    if (payload.size() <= marker.size() + 1 || payload.substr(0, marker.size()) != marker ||
        payload[marker.size()] != ' ') {
        return std::nullopt;
    }
    std::string_view number = Trim(payload.substr(marker.size() + 1));
    const auto n = ParseWhole<int64_t>(number);
    if (!n || *n < 0) {
        return std::nullopt;
    }
    return n;
}

uint32_t ClockTag(std::chrono::steady_clock::time_point now) {
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    return static_cast<uint32_t>(static_cast<uint64_t>(ms) % kMaxTag) + 1;
}

uint32_t NextTag(uint32_t last, uint32_t clockTag) {
    if (last == 0) {
        return clockTag;
    }
    const uint32_t next = last >= kMaxTag ? 1 : last + 1;
    // How far the clock is ahead of next, going round the tag space.
    const uint32_t ahead = (clockTag + kMaxTag - next) % kMaxTag;
    return ahead < kMaxTag / 2 ? clockTag : next;
}

std::string FormatErrorReply(int32_t code, std::string_view text) {
    std::string out(kErrorPrefix);
    out += ' ';
    out += std::to_string(code);
    out += ' ';
    out += text;
    return out;
}

std::string Tagged(std::optional<uint32_t> tag, std::string_view payload) {
    if (!tag) {
        return std::string(payload);
    }
    std::string out = std::to_string(*tag);
    out += ' ';
    out += payload;
    return out;
}

std::string Printable(std::string_view text, size_t maxLength) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (char c : text) {
        auto u = static_cast<unsigned char>(c);
        if (u >= 0x20 && u < 0x7F) {
            out += c;
        } else {
            out += "\\x";
            out += kHex[u >> 4];
            out += kHex[u & 0xF];
        }
        if (out.size() >= maxLength) {
            out += "...";
            break;
        }
    }
    return out;
}

}  // namespace vesk::comm
