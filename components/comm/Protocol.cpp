#include "components/comm/Protocol.h"

#include <algorithm>
#include <charconv>
#include <string>

#include "components/comm/CommErrors.h"
#include "vesk4710/support/modStrings.h"

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
    Cmd(0, W, "SYST:INIT", "initialise the interface"),
    Cmd(2, W, "PASS", P::kValue, "present the passcode"),
    Cmd(3, R, "PASS?", "unlocked state: 1 unlocked, 0 locked"),
    Cmd(4, W, "PASS:LOCK", "end the unlocked state, storing calibration edits"),
    Cmd(5, R, "PROT:CONV?", "conversion protection: 1 protected"),
    Cmd(10, W, "MEAS:START", "start measuring"),
    Cmd(11, W, "MEAS:STOP", "stop measuring"),
    Cmd(12, R, "MEAS:TEMP?", P::kChannel, "temperature in the current units"),
    Cmd(13, R, "MEAS:RES?", P::kChannel, "raw resistance in ohms"),
    Cmd(14, R, "MEAS:VOLT?", P::kChannel, "raw thermocouple emf in microvolts"),
    Cmd(15, R, "MEAS:STAT?", "reading state: 16 when a new reading is ready, else 0"),
    Cmd(18, R, "*IDN?", "identification: maker,model,serial,firmware"),
    Cmd(23, W, "SYST:SNUM", P::kValue, "instrument serial number (protected)"),
    Cmd(32, R, "SAMP:INT?", "sample interval: AUTO or seconds"),
    Cmd(33, W, "SAMP:INT", P::kValue, "sample interval: AUTO or 1 to 60 seconds"),
    Cmd(39, W, "SCAN:DEL", P::kValue, "scan sequence delay, 0 to 3600 seconds"),
    Cmd(40, R, "MOD:LIST?", "module list"),
    Cmd(41, R, "MOD:COUN?", "number of modules"),
    Cmd(43, R, "CHAN:COUN?", "number of channels"),
    Cmd(46, R, "SCAN:LIST?", "scan channel list as (@1,2)"),
    Cmd(47, W, "SCAN:LIST", P::kChannelList, "scan channel list"),
    Cmd(56, R, "SCAN:MODE?", "scan mode: 0 simultaneous, 1 scan"),
    Cmd(57, W, "SCAN:MODE", P::kValue, "scan mode"),
    Cmd(66, R, "DISP:RES?", P::kChannel, "display resolution: AUTO or 0 to 3 digits"),
    Cmd(67, W, "DISP:RES", P::kChannel, P::kValue, "display resolution"),
    Cmd(72, R, "CAL:DATE?", "calibration date as Y,M,D"),
    Cmd(73, W, "CAL:DATE", P::kValue, "calibration date (protected)"),
    Cmd(77, W, "CAL:RANG", P::kValue, "select a calibration range, NORMAL to leave"),
    Cmd(78, R, "CAL:COUN?", "points defined in the selected range"),
    Cmd(79, W, "CAL:COUN", P::kValue, "points of the selected range (protected)"),
    Cmd(80, R, "CAL:VAL?", P::kPointNumber, "second value of a point"),
    Cmd(81, W, "CAL:VAL", P::kPointNumber, P::kValue, "second value of a point (protected)"),
    Cmd(82, R, "CAL:REF?", P::kPointNumber, "first value of a point"),
    Cmd(83, W, "CAL:REF", P::kPointNumber, P::kValue, "first value of a point (protected)"),
    Cmd(88, R, "CHAN:STAT?", P::kChannel, "channel state: bit 0 clear when on"),
    Cmd(122, R, "PROB:SNUM?", P::kChannel, "probe serial number"),
    Cmd(123, W, "PROB:SNUM", P::kChannel, P::kValue, "probe serial number (protected)"),
    Cmd(126, R, "PROB:CAL?", P::kChannel, "probe calibration date as Y,M,D"),
    Cmd(127, W, "PROB:CAL", P::kChannel, P::kValue, "probe calibration date"),
    Cmd(130, R, "PROB:CONV?", P::kChannel, "conversion code"),
    Cmd(131, W, "PROB:CONV", P::kChannel, P::kValue, "conversion code (protected)"),
    Cmd(134, R, "PROB:PAR?", P::kChannel, P::kParamName, "named channel parameter"),
    Cmd(135, W, "PROB:PAR", P::kChannel, P::kParamName, P::kValue,
        "named channel parameter (coefficients protected)"),
    Cmd(144, R, "PROB:LOCK?", P::kChannel, "probe lock: 1 locked"),
    Cmd(145, W, "PROB:LOCK", P::kChannel, P::kValue, "probe lock"),
    Cmd(168, R, "UNIT?", "temperature units: C, F or K"),
    Cmd(169, W, "UNIT", P::kValue, "temperature units"),
    Cmd(278, T, "LOG:DATA?", P::kCount, "demand log readings, at most the count"),
    Cmd(279, T, "LOG:DATA:LAB?", P::kCount, P::kValue, "demand log readings of one label"),
    Cmd(280, R, "LOG:DEM:STAT?", "demand log: free,held"),
    Cmd(281, R, "LOG:AUTO:STAT?", "automatic log: free,held"),
    Cmd(282, T, "LOG:AUTO:DATA?", P::kCount, "automatic log readings, at most the count"),
    Cmd(283, W, "LOG:AUTO:CLE", P::kValue, "clear the automatic log"),
    Cmd(284, W, "LOG:DEM:CLE", "clear the demand log"),
    Cmd(285, R, "LOG:LAB?", "current logging label"),
    Cmd(286, W, "LOG:LAB", P::kValue, "current logging label"),
    Cmd(287, R, "LOG:LAB:LIST?", "the labels in use by number, comma-separated"),
    Cmd(304, R, "SYST:APOW?", "automatic power-off: ON or OFF"),
    Cmd(305, W, "SYST:APOW", P::kValue, "automatic power-off"),
    Cmd(306, W, "SYST:COMM:DIS", "disable the serial interface"),
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
    uint32_t tag = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), tag);
    if (ec != std::errc() || end != text.data() + text.size() || tag == 0 || tag > kMaxTag) {
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
    std::string_view rest = TrimSpaces(line);
    CommandLine out;
    size_t space = rest.find(' ');
    if (auto tag = ParseTag(rest.substr(0, space)); tag && space != std::string_view::npos) {
        out.tag = tag;
        rest = TrimSpaces(rest.substr(space + 1));
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
    std::string_view args = TrimSpaces(rest.substr(space + 1));
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
            std::string_view text = TrimSpaces(args.substr(start, i - start));
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
    std::string_view rest = TrimSpaces(payload.substr(kErrorPrefix.size()));
    ErrorReply out;
    auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), out.code);
    if (ec != std::errc() || out.code <= 0 || out.code > 99) {
        out.code = 0;  // an error reply whose code is unreadable is still an error
        out.text = std::string(rest);
        return out;
    }
    out.text = std::string(TrimSpaces(rest.substr(static_cast<size_t>(end - rest.data()))));
    return out;
}

std::optional<int64_t> ParseMarker(std::string_view payload, std::string_view marker) {
    if (payload.size() <= marker.size() + 1 || payload.substr(0, marker.size()) != marker ||
        payload[marker.size()] != ' ') {
        return std::nullopt;
    }
    std::string_view number = TrimSpaces(payload.substr(marker.size() + 1));
    int64_t n = 0;
    auto [end, ec] = std::from_chars(number.data(), number.data() + number.size(), n);
    if (ec != std::errc() || end != number.data() + number.size() || n < 0) {
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
