#include "simulator/Instrument.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <numbers>
#include <sstream>

#include <fmt/format.h>

#include "components/comm/CommErrors.h"
#include "components/comm/Protocol.h"
#include "simulator/ProbeModel.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/modStrings.h"

namespace vesk::sim {

namespace {

using comm::InstrumentError;
using comm::Param;

constexpr int32_t kAutoLogPeriod = 60;
constexpr int32_t kCalendarFirstYear = 1900;
constexpr int32_t kCalendarLastYear = 2099;

int32_t Code(InstrumentError e) {
    return static_cast<int32_t>(e);
}

std::string Upper(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

std::optional<double> StrictNumber(std::string_view text) {
    double value = 0;
    if (!text.empty() && text.front() == '+') {
        text.remove_prefix(1);
    }
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size() ||
        !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<int32_t> StrictInt(std::string_view text) {
    int32_t value = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || ec != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

bool IsLeapYear(int32_t y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// "2024,3,7" (leading zeros allowed) -> "2024,3,7"; nullopt for anything that is no date.
std::optional<std::string> NormalizedDate(std::string_view text) {
    int32_t parts[3] = {};
    for (int i = 0; i < 3; ++i) {
        size_t comma = text.find(',');
        if ((i < 2) != (comma != std::string_view::npos)) {
            return std::nullopt;
        }
        auto n = StrictInt(text.substr(0, comma));
        if (!n) {
            return std::nullopt;
        }
        parts[i] = *n;
        text = i < 2 ? text.substr(comma + 1) : std::string_view{};
    }
    auto [y, m, d] = parts;
    static constexpr int32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (y < kCalendarFirstYear || y > kCalendarLastYear || m < 1 || m > 12 || d < 1 ||
        d > kDays[m - 1] + ((m == 2 && IsLeapYear(y)) ? 1 : 0)) {
        return std::nullopt;
    }
    return fmt::format("{},{},{}", y, m, d);
}

uint64_t SplitMix(uint64_t x) {
    x += 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    return x ^ (x >> 31);
}

// Repeatable noise in [-1, 1) for a channel at a whole second.
double Noise(uint64_t seed, int32_t channel, int64_t second) {
    uint64_t h = SplitMix(seed ^ SplitMix(static_cast<uint64_t>(channel) * 0x632BE59BD9B4E019ull ^
                                          static_cast<uint64_t>(second)));
    return static_cast<double>(h >> 11) / static_cast<double>(1ull << 52) - 1.0;
}

double InUnits(double celsius, std::string_view units) {
    if (units == "F") {
        return celsius * 9.0 / 5.0 + 32.0;
    }
    if (units == "K") {
        return celsius + 273.15;
    }
    return celsius;
}

std::string Number(double value) {
    return fmt::format("{}", value);
}

// Volts need more places than degrees and ohms.
std::string ValueText(const Reading& r) {
    return r.unit == "V" ? fmt::format("{:.7f}", r.value) : fmt::format("{:.4f}", r.value);
}

bool ValidSerial(std::string_view text, size_t maxLength) {
    return text.size() <= maxLength && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '_' || c == '/' || c == '.';
           });
}

bool ValidLabel(std::string_view text) {
    return !text.empty() && text.size() <= kMaxLabelLength &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' || c == '_';
           });
}

// Bytes no reply can hold, as line noise on a serial cable gives.
std::string GarbageLine() {
    return std::string("\x02\xB5?~#\xFF\x7F\x15 %$\x1B[0", 14);
}

struct PortInstruments {
    std::mutex mutex;
    std::map<int32_t, std::shared_ptr<Instrument>> byPort;
};

PortInstruments& ThePorts() {
    static PortInstruments ports;
    return ports;
}

}  // namespace

// The arguments of a command by parameter, as the protocol table places them.
class Instrument::Args {
  public:
    Args(const comm::CommandLine& command, const comm::SettingCommand& setting)
        : command_(command), setting_(setting) {}

    std::optional<std::string> Get(Param param) const {
        auto params = setting_.Args();
        for (size_t i = 0; i < params.size() && i < command_.args.size(); ++i) {
            if (params[i] != param) {
                continue;
            }
            // The last parameter takes the rest of the line: a person may type
            // CAL:DATE 2024,3,7 without the quotes.
            std::optional<std::string> value = command_.args[i];
            if (i + 1 == params.size()) {
                for (size_t j = i + 1; value && j < command_.args.size(); ++j) {
                    *value += "," + command_.args[j].value_or("");
                }
            }
            return value;
        }
        return std::nullopt;
    }

    std::string Require(Param param) const {
        auto value = Get(param);
        if (!value) {
            throw SimError{Code(InstrumentError::kMissingParameter),
                           "missing " + std::string(comm::ParamName(param))};
        }
        return *value;
    }

    double RequireNumber(Param param) const {
        std::string text = Require(param);
        auto n = StrictNumber(text);
        if (!n) {
            throw SimError{Code(InstrumentError::kInvalidValue), "not a number: " + text};
        }
        return *n;
    }

    int32_t RequireInt(Param param, int32_t low, int32_t high) const {
        std::string text = Require(param);
        auto n = StrictInt(text);
        if (!n || *n < low || *n > high) {
            throw SimError{Code(InstrumentError::kInvalidValue),
                           fmt::format("{} out of range ({} to {})", text, low, high)};
        }
        return *n;
    }

  private:
    const comm::CommandLine& command_;
    const comm::SettingCommand& setting_;
};

std::string DefaultStateDir() {
    std::filesystem::path base;
    if (const char* xdg = std::getenv("XDG_STATE_HOME"); xdg != nullptr && *xdg != '\0') {
        base = xdg;
    } else if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
        base = std::filesystem::path(home) / ".local" / "state";
    } else {
        base = std::filesystem::temp_directory_path();
    }
    return (base / "vesk4710").string();
}

std::string StatePathFor(const SimOptions& options) {
    if (!options.statePath.empty()) {
        return options.statePath;
    }
    std::filesystem::path dir = options.stateDir.empty() ? DefaultStateDir() : options.stateDir;
    return (dir / fmt::format("sim-{}.json", options.port)).string();
}

std::shared_ptr<Instrument> Instrument::Create(const SimOptions& options) {
    return std::shared_ptr<Instrument>(new Instrument(options));
}

std::shared_ptr<Instrument> Instrument::ForPort(const SimOptions& options) {
    PortInstruments& ports = ThePorts();
    std::lock_guard lock(ports.mutex);
    auto& slot = ports.byPort[options.port];
    if (!slot) {
        slot = Create(options);
    } else if (options.reset) {
        slot->Reset();
    }
    return slot;
}

void Instrument::ReleaseAll() {
    std::map<int32_t, std::shared_ptr<Instrument>> released;
    {
        PortInstruments& ports = ThePorts();
        std::lock_guard lock(ports.mutex);
        released.swap(ports.byPort);
    }
    for (auto& [port, instrument] : released) {
        instrument->Save();
    }
}

Instrument::Instrument(const SimOptions& options)
    : options_(options), statePath_(StatePathFor(options)) {
    if (options_.persist) {
        file_ = std::make_unique<StateFile>(statePath_);
    }
    const StateFile::Lock lock = FileLock();
    std::optional<InstrumentState> saved;
    if (file_ && !options_.reset) {
        try {
            saved = file_->LoadIfChanged();
        } catch (const std::exception&) {
            // Damaged: set aside for inspection, and the instrument starts afresh.
        }
    }
    if (saved) {
        state_ = std::move(*saved);
    } else {
        state_ = FreshState();
        dirty_ = true;
    }
    SaveLocked();
}

Instrument::~Instrument() {
    std::lock_guard lock(mutex_);
    const StateFile::Lock fileLock = FileLock();
    SaveLocked();
}

StateFile::Lock Instrument::FileLock() const {
    if (!file_) {
        return StateFile::Lock(-1);
    }
    return file_->Acquire();
}

void Instrument::TakeUpSaved() {
    if (!file_) {
        return;
    }
    try {
        if (auto saved = file_->LoadIfChanged()) {
            state_ = std::move(*saved);
        }
    } catch (const std::exception&) {
        dirty_ = true;  // the damaged file was set aside: what is held here takes its place
    }
}

InstrumentState Instrument::FreshState() const {
    std::string text;
    if (options_.dataPath.empty()) {
        text = DefaultDataText();
    } else {
        std::ifstream in(options_.dataPath);
        if (!in) {
            throw std::runtime_error("cannot read the instrument data file " + options_.dataPath);
        }
        std::stringstream buffer;
        buffer << in.rdbuf();
        text = buffer.str();
    }
    InstrumentState state = StateFromJson(text);
    SeedLogs(state);
    return state;
}

void Instrument::SeedLogs(InstrumentState& state) const {
    auto fill = [&](const char* name, std::vector<Reading>& log, int32_t capacity) {
        auto it = state.seedLogs.find(name);
        if (it == state.seedLogs.end() || !log.empty()) {
            return;
        }
        const LogSeed& seed = it->second;
        int64_t start = ParseClockText(seed.start);
        int32_t count = std::min(seed.count, capacity);
        auto channels = static_cast<int32_t>(state.channels.size());
        for (int32_t i = 0; i < count; ++i) {
            int32_t channel = 1 + i % channels;
            size_t labelIndex = static_cast<size_t>(i) * seed.labels.size() /
                                static_cast<size_t>(std::max(count, 1));
            int32_t label = seed.labels.empty() ? 1 : seed.labels[labelIndex];
            const ChannelState& ch = state.channels[static_cast<size_t>(channel - 1)];
            int64_t t = start + static_cast<int64_t>(i / channels) * seed.stepSeconds;
            Reading r;
            r.time = t;
            r.channel = channel;
            r.label = std::clamp<int32_t>(label, 1, static_cast<int32_t>(state.labels.size()));
            double c = ch.drift.base +
                       ch.drift.amplitude * std::sin(2 * std::numbers::pi * static_cast<double>(t) /
                                                     ch.drift.periodSeconds) +
                       ch.drift.noise * Noise(options_.seed, channel, t);
            r.value = InUnits(c, state.units);
            r.unit = state.units;
            log.push_back(r);
        }
    };
    fill("demand", state.demandLog, state.demandCapacity);
    fill("auto", state.autoLog, state.autoCapacity);
    state.seedLogs.clear();
}

void Instrument::Reset() {
    InstrumentState fresh = FreshState();
    std::lock_guard lock(mutex_);
    const StateFile::Lock fileLock = FileLock();
    state_ = std::move(fresh);
    unlocked_ = false;
    selectedRange_.clear();
    lastReportedReading_ = -1;
    dirty_ = true;
    SaveLocked();
}

void Instrument::Save() {
    std::lock_guard lock(mutex_);
    const StateFile::Lock fileLock = FileLock();
    SaveLocked();
}

bool Instrument::SaveLocked() {
    if (!file_ || !dirty_) {
        return true;
    }
    try {
        file_->Save(state_);
        saveError_.clear();
        dirty_ = false;
        return true;
    } catch (const std::exception& e) {
        saveError_ = e.what();
        return false;
    }
}

std::string Instrument::LastSaveError() const {
    std::lock_guard lock(mutex_);
    return saveError_;
}

void Instrument::InjectFault(const Fault& fault) {
    std::lock_guard lock(mutex_);
    faults_.push_back(fault);
}

void Instrument::ClearFaults() {
    std::lock_guard lock(mutex_);
    faults_.clear();
}

size_t Instrument::PendingFaults() const {
    std::lock_guard lock(mutex_);
    return faults_.size();
}

uint64_t Instrument::RequestCount() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

bool Instrument::Unlocked() const {
    std::lock_guard lock(mutex_);
    return state_.passcode.empty() || unlocked_;
}

InstrumentState Instrument::State() const {
    std::lock_guard lock(mutex_);
    return state_;
}

void Instrument::Modify(const std::function<void(InstrumentState&)>& change) {
    std::lock_guard lock(mutex_);
    const StateFile::Lock fileLock = FileLock();
    TakeUpSaved();
    change(state_);
    dirty_ = true;
    SaveLocked();
}

double Instrument::NowSeconds() const {
    auto now = options_.clock ? options_.clock() : std::chrono::system_clock::now();
    std::time_t t = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&t, &local);
    auto fraction = now - std::chrono::system_clock::from_time_t(t);
    return static_cast<double>(timegm(&local)) + std::chrono::duration<double>(fraction).count();
}

double Instrument::CelsiusAt(int32_t channel, double seconds) const {
    const Drift& d = state_.channels[static_cast<size_t>(channel - 1)].drift;
    double wave =
        d.periodSeconds > 0 ? std::sin(2 * std::numbers::pi * seconds / d.periodSeconds) : 0.0;
    return d.base + d.amplitude * wave +
           d.noise * Noise(options_.seed, channel, static_cast<int64_t>(std::floor(seconds)));
}

double Instrument::TemperatureAt(int32_t channel) const {
    std::lock_guard lock(mutex_);
    double now = state_.measuring ? NowSeconds() : static_cast<double>(state_.stoppedAt);
    return CelsiusAt(channel, now);
}

Reading Instrument::ReadingAt(int32_t channel, double seconds) const {
    const ProbeState& probe = state_.channels[static_cast<size_t>(channel - 1)].probe;
    Reading r;
    r.time = static_cast<int64_t>(std::floor(seconds));
    r.channel = channel;
    r.label = state_.currentLabel;
    double celsius = CelsiusAt(channel, seconds);
    if (ShowsRaw(probe)) {
        double raw = RawAt(probe, celsius);
        r.value = MeasuresVoltage(probe) ? raw / 1000.0 : raw;
        r.unit = MeasuresVoltage(probe) ? "V" : "OHM";
    } else {
        r.value = InUnits(celsius, state_.units);
        r.unit = state_.units;
    }
    return r;
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

double Instrument::LatestReadingTime(double now) const {
    int32_t period = state_.interval > 0 ? state_.interval : 1;
    return std::floor(now / period) * period;
}

bool Instrument::NewReadingReady(double now) {
    double latest = LatestReadingTime(now);
    if (!state_.measuring || latest <= lastReportedReading_) {
        return false;
    }
    lastReportedReading_ = latest;
    return true;
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

std::optional<Fault> Instrument::TakeFault(int32_t id) {
    for (auto it = faults_.begin(); it != faults_.end(); ++it) {
        bool hit = (it->atRequest && *it->atRequest == requests_) ||
                   (it->settingId && *it->settingId == id);
        if (!hit) {
            continue;
        }
        Fault fault = *it;
        if (it->atRequest || --it->times <= 0) {
            faults_.erase(it);
        }
        return fault;
    }
    return std::nullopt;
}

Exchange Instrument::Handle(std::string_view line) {
    std::lock_guard lock(mutex_);
    // Another program on the same state may have changed it since: each request reads,
    // changes and saves it under the file's lock.
    const StateFile::Lock fileLock = FileLock();
    TakeUpSaved();
    ++requests_;
    Exchange exchange;
    std::string parseError;
    auto command = comm::ParseCommandLine(line, &parseError);
    std::optional<uint32_t> tag = command ? command->tag : comm::LeadingTag(line);
    const comm::SettingCommand* setting = command ? comm::FindMnemonic(command->mnemonic) : nullptr;
    std::optional<Fault> fault = TakeFault(setting ? setting->id : -1);
    if (fault) {
        switch (fault->kind) {
            case FaultKind::kNoReply:
                return exchange;  // lost on the way in: nothing happens
            case FaultKind::kDropLink:
                exchange.dropLink = true;
                return exchange;
            case FaultKind::kErrorReply:
                exchange.lines.push_back(
                    comm::Tagged(tag, comm::FormatErrorReply(fault->errorCode, fault->errorText)));
                return exchange;
            default:
                break;
        }
    }
    std::vector<std::string> payloads;
    if (!command) {
        payloads.push_back(comm::FormatErrorReply(Code(InstrumentError::kUnknownCommand),
                                                  "cannot read the command: " + parseError));
    } else {
        // Only writes and commands outside the table change what is kept.
        std::optional<InstrumentState> before;
        if (file_ && (setting == nullptr || setting->access == comm::Access::kWrite)) {
            before = state_;
        }
        payloads = Execute(*command, setting);
        if (!SaveLocked() && before) {
            // A change the state file cannot take is undone and refused.
            state_ = std::move(*before);
            payloads = {comm::FormatErrorReply(Code(InstrumentError::kNotStored), saveError_)};
        }
    }
    for (const std::string& p : payloads) {
        exchange.lines.push_back(comm::Tagged(tag, p));
    }
    if (fault) {
        switch (fault->kind) {
            case FaultKind::kDelay:
                exchange.delay = std::chrono::milliseconds(fault->delayMs);
                break;
            case FaultKind::kGarbage:
                exchange.lines = {GarbageLine()};  // carried out, but the reply is lost in noise
                break;
            case FaultKind::kReplyText:
                exchange.lines = {comm::Tagged(tag, fault->replyText)};
                break;
            case FaultKind::kEndEarly: {
                bool transfer = setting != nullptr && setting->access == comm::Access::kTransfer &&
                                !exchange.lines.empty() &&
                                payloads.front().rfind(comm::kBeginMarker, 0) == 0;
                size_t keep = transfer ? 1 + static_cast<size_t>(fault->linesBeforeEnd) : 0;
                if (exchange.lines.size() > keep) {
                    // The end marker never comes.
                    exchange.lines.resize(std::min(keep, exchange.lines.size() - 1));
                }
                break;
            }
            default:
                break;
        }
    }
    return exchange;
}

std::vector<std::string> Instrument::Execute(const comm::CommandLine& command,
                                             const comm::SettingCommand* setting) {
    try {
        double now = NowSeconds();
        CatchUpAutoLog(now);
        if (setting == nullptr) {
            // The front panel's log key, for people at a terminal.
            if (command.mnemonic == "LOG:DEM:TAKE") {
                if (!TakeDemandReadings(now)) {
                    throw SimError{Code(InstrumentError::kLogError), "the demand log is full"};
                }
                return {std::string(comm::kReplyOk)};
            }
            throw SimError{Code(InstrumentError::kUnknownCommand),
                           "unknown command " + command.mnemonic};
        }
        Args args(command, *setting);
        std::vector<std::string> reply = Dispatch(setting->id, args, now);
        if (setting->access == comm::Access::kWrite) {
            dirty_ = true;
        }
        return reply;
    } catch (const SimError& e) {
        return {comm::FormatErrorReply(e.code, e.text)};
    } catch (const AutomationError& e) {
        // The probe math refuses a temperature the probe cannot read.
        return {comm::FormatErrorReply(Code(InstrumentError::kNotAvailable),
                                       "reading out of range: " + e.Description())};
    }
}

ChannelState& Instrument::ChannelArg(const Args& args, bool optional) {
    auto text = args.Get(Param::kChannel);
    if (!text && optional) {
        return state_.channels.front();
    }
    if (!text) {
        throw SimError{Code(InstrumentError::kMissingParameter), "missing Channel"};
    }
    auto n = StrictInt(*text);
    if (!n || *n < 1 || *n > static_cast<int32_t>(state_.channels.size())) {
        throw SimError{
            Code(InstrumentError::kNoSuchChannel),
            fmt::format("no channel {} (channels 1 to {})", *text, state_.channels.size())};
    }
    return state_.channels[static_cast<size_t>(*n - 1)];
}

void Instrument::RequireUnlocked(std::string_view what) const {
    if (!state_.passcode.empty() && !unlocked_) {
        throw SimError{Code(InstrumentError::kPasscodeRequired),
                       "passcode required to change the " + std::string(what)};
    }
}

std::vector<CalPoint>& Instrument::SelectedRange() {
    if (selectedRange_.empty()) {
        throw SimError{Code(InstrumentError::kNotAvailable), "no calibration range selected"};
    }
    return state_.calibration[selectedRange_];
}

std::vector<std::string> Instrument::Dispatch(int32_t id, const Args& args, double now) {
    const std::string ok(comm::kReplyOk);
    double readingTime = state_.measuring ? now : static_cast<double>(state_.stoppedAt);
    auto channelNumber = [&](const ChannelState& ch) {
        return static_cast<int32_t>(&ch - state_.channels.data()) + 1;
    };
    auto requireOn = [&](const ChannelState& ch) {
        if (!ch.on) {
            throw SimError{Code(InstrumentError::kNotAvailable),
                           fmt::format("channel {} is switched off", channelNumber(ch))};
        }
    };
    switch (id) {
        case SET_INIT_INTERFACE:
            state_.serialDisabled = false;
            return {ok};
        case SET_PASSCODE:
            unlocked_ =
                state_.passcode.empty() || args.Get(Param::kValue).value_or("") == state_.passcode;
            return {ok};
        case SET_PASSCODE_STATE:
            return {state_.passcode.empty() || unlocked_ ? "1" : "0"};
        case SET_PASSCODE_LOCK:
            unlocked_ = false;
            return {ok};
        case SET_CONV_PROTECTION:
            return {state_.protectConversion ? "1" : "0"};
        case SET_START_MEASURE:
            if (!state_.measuring) {
                state_.measuring = true;
                state_.autoLogNext = 0;
                lastReportedReading_ = LatestReadingTime(now);
            }
            return {ok};
        case SET_STOP_MEASURE:
            if (state_.measuring) {
                state_.measuring = false;
                state_.stoppedAt = static_cast<int64_t>(std::floor(now));
            }
            return {ok};
        case SET_TEMPERATURE: {
            ChannelState& ch = ChannelArg(args);
            requireOn(ch);
            return {ValueText(ReadingAt(channelNumber(ch), readingTime))};
        }
        case SET_RAW_VALUE: {
            ChannelState& ch = ChannelArg(args);
            requireOn(ch);
            if (MeasuresVoltage(ch.probe)) {
                throw SimError{Code(InstrumentError::kNotAvailable),
                               fmt::format("channel {} measures a voltage", channelNumber(ch))};
            }
            return {
                fmt::format("{:.5f}", RawAt(ch.probe, CelsiusAt(channelNumber(ch), readingTime)))};
        }
        case SET_RAW_MILLI: {
            ChannelState& ch = ChannelArg(args);
            requireOn(ch);
            if (!MeasuresVoltage(ch.probe)) {
                throw SimError{Code(InstrumentError::kNotAvailable),
                               fmt::format("channel {} measures a resistance", channelNumber(ch))};
            }
            double millivolts = RawAt(ch.probe, CelsiusAt(channelNumber(ch), readingTime));
            return {fmt::format("{:.3f}", millivolts * 1000.0)};
        }
        case SET_READING_STATE:
            return {NewReadingReady(now) ? "16" : "0"};
        case SET_IDENTIFICATION:
            return {fmt::format("{},{},{},{}", state_.maker, state_.model, state_.serial,
                                state_.firmware)};
        case SET_SERIAL: {
            RequireUnlocked("serial number");
            std::string serial = args.Require(Param::kValue);
            if (serial.empty() || !ValidSerial(serial, 12)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a serial number has 1 to 12 letters, digits or - _ / ."};
            }
            state_.serial = serial;
            return {ok};
        }
        case SET_INTERVAL_READ:
            return {state_.interval == 0 ? std::string("AUTO") : std::to_string(state_.interval)};
        case SET_INTERVAL_WRITE: {
            std::string value = Upper(args.Require(Param::kValue));
            state_.interval = value == "AUTO" ? 0 : args.RequireInt(Param::kValue, 1, 60);
            return {ok};
        }
        case SET_SCAN_SEQ_DELAY:
            state_.scanSeqDelay = args.RequireInt(Param::kValue, 0, 3600);
            return {ok};
        case SET_MODULE_LIST: {
            std::string list;
            for (size_t i = 0; i < state_.channels.size(); ++i) {
                list += i == 0 ? "PRT" : ",PRT";
            }
            return {list};
        }
        case SET_NUM_MODULES:
        case SET_NUM_CHANNELS:
            return {std::to_string(state_.channels.size())};
        case SET_SCAN_LIST_READ: {
            std::string list = "(@";
            for (size_t i = 0; i < state_.scanList.size(); ++i) {
                list += (i == 0 ? "" : ",") + std::to_string(state_.scanList[i]);
            }
            return {list + ")"};
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
                std::string_view item = TrimSpaces(inner.substr(0, comma));
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
            return {ok};
        }
        case SET_SCAN_MODE_READ:
            return {std::to_string(state_.scanMode)};
        case SET_SCAN_MODE_WRITE:
            state_.scanMode = args.RequireInt(Param::kValue, 0, 1);
            return {ok};
        case SET_RESOLUTION_READ: {
            const ChannelState& ch = ChannelArg(args);
            return {ch.resolution < 0 ? std::string("AUTO") : std::to_string(ch.resolution)};
        }
        case SET_RESOLUTION: {
            ChannelState& ch = ChannelArg(args);
            ch.resolution = Upper(args.Require(Param::kValue)) == "AUTO"
                                ? -1
                                : args.RequireInt(Param::kValue, 0, 3);
            return {ok};
        }
        case SET_CAL_DATE_READ:
            return {state_.calDate};
        case SET_CAL_DATE_WRITE: {
            RequireUnlocked("calibration date");
            auto date = NormalizedDate(args.Require(Param::kValue));
            if (!date) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a date reads year,month,day (1900 to 2099)"};
            }
            state_.calDate = *date;
            return {ok};
        }
        case SET_CAL_RANGE: {
            std::string range = Upper(args.Require(Param::kValue));
            if (range == "NORMAL") {
                selectedRange_.clear();
                return {ok};
            }
            const auto& ranges = CalibrationRanges();
            if (std::find(ranges.begin(), ranges.end(), range) == ranges.end()) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "unknown calibration range " + range};
            }
            selectedRange_ = range;
            return {ok};
        }
        case SET_CAL_COUNT_READ:
            return {std::to_string(SelectedRange().size())};
        case SET_CAL_COUNT_WRITE: {
            std::vector<CalPoint>& points = SelectedRange();
            RequireUnlocked("calibration");
            points.resize(static_cast<size_t>(args.RequireInt(Param::kValue, 0, kMaxCalPoints)));
            return {ok};
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
            return {Number(id == SET_CAL_VALUE_READ ? point.value : point.reference)};
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
            return {ok};
        }
        case SET_CHANNEL_STATE:
            return {ChannelArg(args, true).on ? "0" : "1"};
        case SET_PROBE_SERIAL_READ:
            return {ChannelArg(args).probe.serial};
        case SET_PROBE_SERIAL_WRITE: {
            ChannelState& ch = ChannelArg(args);
            RequireUnlocked("probe serial number");
            std::string serial = args.Get(Param::kValue).value_or("");
            if (!ValidSerial(serial, 16)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a probe serial number has up to 16 letters, digits or - _ / ."};
            }
            ch.probe.serial = serial;
            return {ok};
        }
        case SET_PROBE_CAL_DATE_READ:
            return {ChannelArg(args).probe.calDate};
        case SET_PROBE_CAL_DATE_WRITE: {
            ChannelState& ch = ChannelArg(args);
            auto date = NormalizedDate(args.Require(Param::kValue));
            if (!date) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "a date reads year,month,day (1900 to 2099)"};
            }
            ch.probe.calDate = *date;
            return {ok};
        }
        case SET_CONVERSION_READ:
            return {ChannelArg(args).probe.conversion};
        case SET_CONVERSION_WRITE: {
            ChannelState& ch = ChannelArg(args);
            if (state_.protectConversion) {
                RequireUnlocked("conversion");
            }
            std::string code = Upper(args.Get(Param::kValue).value_or(""));
            if (!FindConversionCode(code)) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "unknown conversion code \"" + code + "\""};
            }
            if (ch.probe.conversion != code) {
                // A new conversion starts from its standard coefficients, as a fresh probe would.
                for (const auto& [name, value] : DefaultCoefficients(code)) {
                    ch.probe.params[name] = value;
                }
                ch.probe.conversion = code;
            }
            return {ok};
        }
        case SET_PARAMETER_READ: {
            const ChannelState& ch = ChannelArg(args);
            std::string name = Upper(args.Require(Param::kParamName));
            if (!IsParameterName(name)) {
                throw SimError{Code(InstrumentError::kInvalidValue), "unknown parameter " + name};
            }
            auto it = ch.probe.params.find(name);
            return {it == ch.probe.params.end() ? std::string("0") : Number(it->second)};
        }
        case SET_PARAMETER_WRITE: {
            ChannelState& ch = ChannelArg(args);
            std::string name = Upper(args.Require(Param::kParamName));
            if (!IsParameterName(name)) {
                throw SimError{Code(InstrumentError::kInvalidValue), "unknown parameter " + name};
            }
            if (IsCoefficientName(name) && state_.protectConversion) {
                RequireUnlocked("conversion coefficients");
            }
            double value = args.RequireNumber(Param::kValue);
            if (name == "RJTYPE" && value != 0 && value != 1) {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "RJTYPE is 1 (internal) or 0 (external)"};
            }
            ch.probe.params[name] = value;
            return {ok};
        }
        case SET_PROBE_LOCK_READ:
            return {ChannelArg(args).probe.locked ? "1" : "0"};
        case SET_PROBE_LOCK_WRITE: {
            ChannelState& ch = ChannelArg(args);
            ch.probe.locked = args.RequireInt(Param::kValue, 0, 1) == 1;
            return {ok};
        }
        case SET_UNITS_READ:
            return {state_.units};
        case SET_UNITS_WRITE: {
            std::string units = Upper(args.Require(Param::kValue));
            if (units != "C" && units != "F" && units != "K") {
                throw SimError{Code(InstrumentError::kInvalidValue), "units are C, F or K"};
            }
            state_.units = units;
            return {ok};
        }
        case SET_TRANSFER_ALL:
            return Transfer(args, state_.demandLog, std::nullopt);
        case SET_TRANSFER_LABEL:
            return Transfer(args, state_.demandLog, args.RequireInt(Param::kValue, 1, kMaxLabels));
        case SET_DEMAND_LOG_STATUS:
        case SET_AUTO_LOG_STATUS: {
            const bool demand = id == SET_DEMAND_LOG_STATUS;
            auto held = static_cast<int32_t>((demand ? state_.demandLog : state_.autoLog).size());
            const int32_t capacity = demand ? state_.demandCapacity : state_.autoCapacity;
            return {fmt::format("{},{}", std::max(0, capacity - held), held)};
        }
        case SET_AUTO_LOG_TRANSFER:
            return Transfer(args, state_.autoLog, std::nullopt);
        case SET_CLEAR_AUTO_LOG:
            if (args.Require(Param::kValue) != "0") {
                throw SimError{Code(InstrumentError::kInvalidValue),
                               "the automatic log is cleared with 0"};
            }
            state_.autoLog.clear();
            return {ok};
        case SET_CLEAR_DEMAND_LOG:
            state_.demandLog.clear();
            return {ok};
        case SET_LOGGING_LABEL_READ:
            return {state_.labels[static_cast<size_t>(state_.currentLabel - 1)]};
        case SET_LOGGING_LABEL_LIST: {
            std::string list;
            for (const std::string& label : state_.labels) {
                list += (list.empty() ? "" : ",") + label;
            }
            return {list};
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
            return {ok};
        }
        case SET_AUTO_POWER_READ:
            return {state_.autoPower ? "ON" : "OFF"};
        case SET_AUTO_POWER_WRITE: {
            std::string value = Upper(args.Require(Param::kValue));
            if (value != "ON" && value != "OFF") {
                throw SimError{Code(InstrumentError::kInvalidValue), "ON or OFF"};
            }
            state_.autoPower = value == "ON";
            return {ok};
        }
        case SET_DISABLE_SERIAL:
            state_.serialDisabled = true;
            return {ok};
        default:
            throw SimError{Code(InstrumentError::kUnknownCommand),
                           fmt::format("setting {} is not served", id)};
    }
}

std::vector<std::string> Instrument::Transfer(const Args& args, const std::vector<Reading>& log,
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
