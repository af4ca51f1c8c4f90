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
#include "simulator/requests/RequestsInternal.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::sim {

namespace {

using comm::InstrumentError;
using comm::Param;

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
        RequestArgs args(command, *setting);
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

std::vector<std::string> Instrument::Dispatch(int32_t id, const RequestArgs& args, double now) {
    using Group = Reply (Instrument::*)(int32_t, const RequestArgs&, double);
    static constexpr Group kGroups[] = {
        &Instrument::SystemRequest,      &Instrument::PasscodeRequest,
        &Instrument::MeasurementRequest, &Instrument::ScanRequest,
        &Instrument::CalibrationRequest, &Instrument::ChannelRequest,
        &Instrument::LogRequest,
    };
    for (Group group : kGroups) {
        if (Reply reply = (this->*group)(id, args, now)) {
            return std::move(*reply);
        }
    }
    throw SimError{Code(InstrumentError::kUnknownCommand),
                   fmt::format("setting {} is not served", id)};
}

int32_t Instrument::ChannelNumber(const ChannelState& ch) const {
    return static_cast<int32_t>(&ch - state_.channels.data()) + 1;
}

void Instrument::RequireOn(const ChannelState& ch) const {
    if (!ch.on) {
        throw SimError{Code(InstrumentError::kNotAvailable),
                       fmt::format("channel {} is switched off", ChannelNumber(ch))};
    }
}

}  // namespace vesk::sim
