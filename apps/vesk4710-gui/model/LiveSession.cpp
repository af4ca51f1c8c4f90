#include "apps/vesk4710-gui/model/LiveSession.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "components/comm/CommErrors.h"
#include "components/comm/Text.h"
#include "components/readingfile/ReadingFile.h"
#include "host/InstrumentRequests.h"
#include "host/InstrumentText.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::gui {

namespace {

constexpr int32_t kDefaultPollMillis = 1000;

std::string LinkReason(int32_t number) {
    switch (number) {
        case comm::kCommTimeout:
            return "no reply from the instrument in time";
        case comm::kCommLinkDropped:
            return "the link to the instrument dropped";
        case comm::kCommLinkUnavailable:
            return "the device could not be opened";
        default:
            return {};
    }
}

bool ChannelUnavailable(int32_t number) {
    const int32_t base = comm::kCommInstrumentErrorBase;
    return number == base + static_cast<int32_t>(comm::InstrumentError::kNotAvailable) ||
           number == base + static_cast<int32_t>(comm::InstrumentError::kNoSuchChannel);
}

std::string IntervalText(int32_t interval) {
    if (interval == INT_AUTO) {
        return "automatic";
    }
    if (interval <= 0) {
        return "fastest";
    }
    return fmt::format("{} s", interval);
}

}  // namespace

std::string Failure::Text() const {
    const std::string reason = LinkReason(number);
    return fmt::format("{}: {} (error {})", during, reason.empty() ? description : reason, number);
}

bool IsLinkFailure(int32_t number) {
    return number == comm::kCommTimeout || number == comm::kCommLinkDropped ||
           number == comm::kCommLinkUnavailable;
}

int32_t PollMillisFor(int32_t interval) {
    return interval > 0 ? interval * 1000 : kDefaultPollMillis;
}

std::string UnitTextFor(int32_t conversionType, int32_t units) {
    const bool voltage = conversionType == kConvVolts || conversionType == kConvThermocouple;
    if (conversionType == kConvVolts || (voltage && units == UNITS_RAW_VALUE)) {
        return std::string(files::kEmfUnit);  // the instrument's emf, in millivolts
    }
    if (conversionType == kConvPRTOhms || conversionType == kConvThermistorOhms ||
        units == UNITS_RAW_VALUE) {
        return "\u03A9";
    }
    return UnitsText(static_cast<int16_t>(units));
}

std::vector<int16_t> ParseChannelList(const std::string& list) {
    std::vector<int16_t> out;
    size_t pos = 0;
    while (pos < list.size()) {
        size_t end = list.find(',', pos);
        if (end == std::string::npos) {
            end = list.size();
        }
        const std::string_view item = Trim(std::string_view(list).substr(pos, end - pos));
        int16_t first = 0;
        int16_t last = 0;
        const size_t dash = item.find('-');
        const auto number = [](std::string_view text, int16_t& value) {
            value = comm::ParseWhole<int16_t>(text).value_or(0);
            return value > 0;
        };
        const bool ok = dash == std::string_view::npos
                            ? number(item, first) && (last = first, true)
                            : number(item.substr(0, dash), first) &&
                                  number(item.substr(dash + 1), last) && first <= last;
        for (int16_t c = first; ok && c <= last && out.size() < 1000; ++c) {
            if (std::find(out.begin(), out.end(), c) == out.end()) {
                out.push_back(c);
            }
        }
        pos = end + 1;
    }
    return out;
}

Millis SystemMillis() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Marks the session busy for one operation.
class LiveSession::Guard {
  public:
    explicit Guard(bool& busy) : busy_(busy) { busy_ = true; }
    ~Guard() { busy_ = false; }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

  private:
    bool& busy_;
};

LiveSession::LiveSession(HostFactory factory, Clock clock)
    : factory_(std::move(factory)), clock_(std::move(clock)) {}

LiveSession::~LiveSession() {
    Disconnect();
}

void LiveSession::Record(const std::string& during) {
    const PendingError pending = CapturePendingError();
    Failure f;
    f.during = during;
    f.number = pending.number;
    f.description = pending.description;
    f.source = pending.source;
    f.time = clock_();
    f.linkLost = IsLinkFailure(pending.number);
    lastError_ = std::move(f);
}

bool LiveSession::Connect(const ConnectionTarget& target, IForm* owner) {
    if (busy_) {
        return false;
    }
    Disconnect();
    target_ = target;
    Guard guard(busy_);
    try {
        host_ = factory_(target);
        instrument_ = CVesk4710::Create(host_);
        instrument_->SetRegistry(host_->CreateRegistry());
        // A technician who has the passcode may correct the instrument's serial number too.
        instrument_->AllowSetSerial(true);
        instrument_->InitializeCommunications();
        // One identification first: an unreachable device fails here once, with the link's
        // own error, before the full read starts its progress display.
        instrument_->InitializeCommunicationSettings();
        instrument_->QueryIdentification(true);
    } catch (...) {
        Record("connecting to " + target.Describe());
        instrument_.reset();
        return false;
    }
    try {
        if (!instrument_->QueryInfo(owner)) {
            throw AutomationError(kErrGeneric, "the instrument's settings could not be read");
        }
        // Settings the full read leaves to the settings dialog.
        instrument_->QueryInterval();
        instrument_->QueryScanMode();
        instrument_->QueryScanChannelList();
        ReadChannels();
    } catch (...) {
        Record("reading the instrument");
        instrument_.reset();
        return false;
    }
    state_ = LinkState::Connected;
    return true;
}

void LiveSession::ReadChannels() {
    CVesk4710& inst = *instrument_;
    const std::vector<int16_t> scanned = ParseChannelList(inst.ScanChannels());
    std::vector<ChannelInfo> out;
    for (int16_t c = 1; c <= inst.NumChannels(); ++c) {
        auto ch = inst.GetChannelReference(c);
        if (!ch) {
            continue;
        }
        ChannelInfo info;
        info.number = c;
        // Asked of the channel itself: the full read took every channel but the first for
        // off, and read the probe serial of those it took for on only.
        const bool serialRead = ch->Enabled();
        info.enabled = ChannelIsOn(inst, c);
        ch->Enabled(info.enabled);
        // The instrument measures what it scans, and the channels that are on.
        info.live = info.enabled || std::find(scanned.begin(), scanned.end(), c) != scanned.end();
        const auto previous = std::find_if(channels_.begin(), channels_.end(),
                                           [c](const ChannelInfo& i) { return i.number == c; });
        if (previous != channels_.end()) {
            info.live = previous->live;
        }
        if ((info.enabled || info.live) && !serialRead) {
            ch->QuerySerialNumber();
        }
        if (info.live) {
            ch->QueryConversionType();
        }
        auto probe = ch->Probe();
        info.serial = probe ? probe->Serial() : std::string();
        const int32_t conversion = probe ? probe->ConversionType() : kConvNone;
        info.conversion = ConversionTypeName(conversion);
        info.conversionCode =
            probe ? ConversionTypeCode(conversion, probe->ActiveConversion().TCType()) : "";
        info.unit = UnitTextFor(conversion, inst.Units());
        out.push_back(std::move(info));
    }
    channels_ = std::move(out);
}

bool LiveSession::Reconnect(IForm* owner) {
    if (!target_) {
        return false;
    }
    const ConnectionTarget target = *target_;
    return Connect(target, owner);
}

void LiveSession::Disconnect() {
    instrument_.reset();
    host_.reset();
    channels_.clear();
    state_ = LinkState::Disconnected;
}

std::vector<Reading> LiveSession::Poll(const std::function<void(const Reading&)>& each) {
    std::vector<Reading> out;
    if (busy_ || state_ != LinkState::Connected || !instrument_) {
        return out;
    }
    Guard guard(busy_);
    for (ChannelInfo& ch : channels_) {
        if (!ch.live) {
            continue;
        }
        try {
            double value = 0.0;
            std::string text = MeasurementText(*instrument_, ch.number, false, &value);
            out.push_back({ch.number, clock_(), value, ch.unit, std::move(text)});
            if (each) {
                each(out.back());
            }
        } catch (...) {
            Record(fmt::format("reading channel {}", ch.number));
            if (lastError_->linkLost) {
                state_ = LinkState::Lost;
                break;
            }
            if (ChannelUnavailable(lastError_->number)) {
                ch.live = false;
            }
        }
    }
    return out;
}

bool LiveSession::Run(const std::string& phrase, const std::function<bool(CVesk4710&)>& op) {
    if (busy_ || !instrument_ || state_ != LinkState::Connected) {
        return false;
    }
    bool ok = false;
    {
        Guard guard(busy_);
        try {
            ok = op(*instrument_);
        } catch (...) {
            Record(phrase);
            if (lastError_->linkLost) {
                state_ = LinkState::Lost;
            }
            ShowErrorMessage(host_->Ui(), phrase, kMsgCaption);
        }
    }
    if (state_ == LinkState::Connected) {
        Refresh();
    }
    return ok;
}

bool LiveSession::Refresh() {
    if (busy_ || !instrument_ || state_ != LinkState::Connected) {
        return false;
    }
    Guard guard(busy_);
    try {
        instrument_->QueryUnits();
        instrument_->QueryInterval();
        instrument_->QueryScanChannelList();
        ReadChannels();
        return true;
    } catch (...) {
        Record("reading the settings");
        if (lastError_->linkLost) {
            state_ = LinkState::Lost;
        }
        return false;
    }
}

void LiveSession::Live(int16_t channel, bool live) {
    for (ChannelInfo& ch : channels_) {
        if (ch.number == channel) {
            ch.live = live;
        }
    }
}

std::vector<std::pair<std::string, std::string>> LiveSession::Identification() const {
    if (!instrument_) {
        return {};
    }
    const CVesk4710& inst = *instrument_;
    return {
        {"Identification", inst.Identification()},
        {"Model", inst.Model()},
        {"Serial number", inst.Serial()},
        {"Firmware", fmt::format("{}", inst.Firmware())},
        {"Connection", target_ ? target_->Describe() : std::string()},
    };
}

std::vector<std::pair<std::string, std::string>> LiveSession::Settings() const {
    if (!instrument_) {
        return {};
    }
    const CVesk4710& inst = *instrument_;
    return {
        {"Units", UnitsText(static_cast<int16_t>(inst.Units()))},
        {"Interval", IntervalText(inst.Interval())},
        {"Scan mode", inst.ScanMode() == SM_SCAN ? "scan" : "simultaneous"},
        {"Scan channels", inst.ScanChannels().empty() ? "-" : inst.ScanChannels()},
        {"Auto power off", inst.AutoPower() ? "on" : "off"},
        {"Calibration date", inst.CalDate().IsoDate()},
        {"Passcode", PasscodeSummary(inst)},
        {"Modules / channels", fmt::format("{} / {}", inst.NumModules(), inst.NumChannels())},
    };
}

int32_t LiveSession::PollMillis() const {
    return instrument_ ? PollMillisFor(instrument_->Interval()) : kDefaultPollMillis;
}

std::string LiveSession::StatusText() const {
    const std::string where = target_ ? target_->Describe() : std::string();
    switch (state_) {
        case LinkState::Connected:
            return fmt::format("Connected: {} ({} {})", where, instrument_->Model(),
                               instrument_->Serial());
        case LinkState::Lost:
            return "Link lost: " + where;
        case LinkState::Disconnected:
            break;
    }
    return "Not connected";
}

}  // namespace vesk::gui
