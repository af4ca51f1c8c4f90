#include "recorder/InstrumentRecorder.h"

#include <charconv>
#include <cmath>
#include <ostream>

#include "components/comm/Communications.h"
#include "components/comm/Text.h"
#include "components/readingfile/ReadingFile.h"
#include "host/DefaultHost.h"
#include "recorder/SharedLink.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::rec {

namespace {

using Clock = std::chrono::steady_clock;

// The recorder's context (conversions, probe serials) is read again at least this often, so
// that a change at the instrument's own keys is seen within it.
constexpr std::chrono::seconds kContextAge{60};

// The default host with every request going through the shared link; its console says
// nothing, the recorder logs failures itself.
class SharedHost : public Host {
  public:
    SharedHost(std::shared_ptr<SharedPort> port, std::chrono::milliseconds timeout)
        : port_(std::move(port)) {
        static std::ostream silent(nullptr);
        HostOptions options;
        options.comm.timeoutMs = static_cast<int32_t>(timeout.count());
        options.ui = std::make_shared<ConsoleUi>(ConsoleOptions{}, silent, nullptr, false);
        options.console = false;
        base_ = MakeDefaultHost(options);
        commOptions_ = options.comm;
    }
    std::shared_ptr<ICommunications> CreateCommunications() override {
        auto port = port_;
        return comm::Communications::Create(
            commOptions_,
            [port](const comm::LinkRequest&) -> std::shared_ptr<comm::ILink> { return port; });
    }
    std::shared_ptr<IProbe> CreateProbe() override { return base_->CreateProbe(); }
    std::shared_ptr<IOutputFile> CreateOutputFile() override { return base_->CreateOutputFile(); }
    std::shared_ptr<ITextSplitter> CreateTextSplitter() override {
        return base_->CreateTextSplitter();
    }
    std::shared_ptr<IRegistry> CreateRegistry() override { return base_->CreateRegistry(); }
    IUiServices& Ui() override { return base_->Ui(); }
    IFileSystem& Files() override { return base_->Files(); }

  private:
    std::shared_ptr<SharedPort> port_;
    std::shared_ptr<Host> base_;
    comm::CommOptions commOptions_;
};

struct Failure {
    std::string text;
};

void Check(bool ok, const std::string& what) {
    if (!ok) {
        throw Failure{what + " failed"};
    }
}

std::string UnitOf(const std::string& mnemonic, int32_t units) {
    if (mnemonic == "MEAS:RES?") {
        return "OHM";
    }
    if (mnemonic == "MEAS:VOLT?") {
        return std::string(files::kEmfUnit);
    }
    static constexpr const char* kLetters[] = {"C", "F", "K"};
    return units >= UNITS_DEGREESC && units <= kUnitsKelvin ? kLetters[units] : "?";
}

}  // namespace

InstrumentRecorder::InstrumentRecorder(InstrumentConfig config, Store& store, RetryPolicy retry,
                                       Log log)
    : config_(std::move(config)), store_(store), retry_(retry), log_(std::move(log)) {
    id_ = store_.Instrument(config_.name, config_.device);
    comm::LinkRequest request;
    request.device = config_.device;
    request.baud = config_.baud;
    request.timeout = config_.timeout;
    // The shared host registers the embedded simulator for "sim" devices before the first
    // request opens the link.
    link_ = std::make_shared<SharedLink>(comm::OpenLink, request);
    port_ = link_->Port(Origin{"recorder", false});
}

InstrumentRecorder::~InstrumentRecorder() {
    Stop();
}

void InstrumentRecorder::Start() {
    stopping_ = false;
    thread_ = std::thread([this] { Run(); });
}

void InstrumentRecorder::Stop() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    link_->Cancel();
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool InstrumentRecorder::SleepUntil(Clock::time_point deadline) {
    std::unique_lock lock(mutex_);
    return !wake_.wait_until(lock, deadline, [&] { return stopping_.load(); });
}

std::string InstrumentRecorder::Say(const std::string& text) const {
    return config_.name + ": " + text;
}

void InstrumentRecorder::Run() {
    auto backoff = retry_.first;
    auto next = Clock::now();
    while (!stopping_) {
        try {
            if (!instrument_) {
                Connect();
            }
            if (config_.every.count() == 0) {
                WaitForNewReading();
            } else {
                if (!SleepUntil(next)) {
                    break;
                }
                next += config_.every;
                if (next < Clock::now()) {
                    next =
                        Clock::now() + config_.every;  // late (a slow link): no burst to catch up
                }
            }
            if (stopping_) {
                break;
            }
            Round();
            backoff = retry_.first;
            continue;
        } catch (const Failure& f) {
            if (!stopping_) {
                Failed(f.text);
            }
        } catch (const AutomationError& e) {
            if (!stopping_) {
                Failed(e.Description());
            }
        } catch (const std::exception& e) {
            if (!stopping_) {
                Failed(e.what());
            }
        }
        if (!SleepUntil(Clock::now() + backoff)) {
            break;
        }
        backoff = std::min(retry_.max, backoff * 2);
        next = Clock::now();
    }
}

void InstrumentRecorder::Failed(const std::string& what) {
    const TimeUs now = NowUs();
    // The link's own account says more than the library's summary of it.
    const std::string link = port_->LastFailure();
    const std::string reason = link.empty() ? what : link + " (" + what + ")";
    log_(Say(reason));
    store_.Error(id_, now, reason);
    if (!gapOpen_) {
        store_.OpenGap(id_, now, reason);
        gapOpen_ = true;
    }
    // Found again from the start: a power-cycled or swapped instrument is read afresh.
    channels_.clear();
    instrument_.reset();
    host_.reset();
    // In a turn of its own: a client's exchange may still be using the link, and a serial
    // device must never be open twice.
    auto turn = link_->TakeTurn("recorder (reconnecting)");
    link_->Close();
}

void InstrumentRecorder::Connect() {
    auto turn = link_->TakeTurn("recorder (connecting)");
    host_ = std::make_shared<SharedHost>(port_, config_.timeout);
    auto inst = CVesk4710::Create(host_);
    inst->SetRegistry(host_->CreateRegistry());
    inst->InitializeCommunications();
    instrument_ = inst;
    ReadContext();
    log_(Say("recording " + std::to_string(channels_.size()) + " channel(s) of " +
             instrument_->Identification() + " on " + link_->Describe()));
}

void InstrumentRecorder::ReadContext() {
    CVesk4710& inst = *instrument_;
    inst.InitializeCommunicationSettings();
    Check(inst.QueryIdentification(true), "reading the identification");
    if (inst.Identification().find(kModel4710) == std::string::npos) {
        throw Failure{"the instrument on " + config_.device + " is no model 4710 (\"" +
                      inst.Identification() + "\")"};
    }
    Check(inst.QueryNumChannels(), "reading the channel count");
    Check(inst.QueryModuleList(), "reading the module list");
    Check(inst.QueryNumModules(), "reading the module count");
    Check(inst.QueryUnits(), "reading the units");
    std::vector<int32_t> numbers = config_.channels;
    if (numbers.empty()) {
        // Every channel that is on (bit 0 of its state clear).
        auto comm = inst.Communications();
        for (int32_t c = 1; c <= inst.NumChannels(); ++c) {
            comm->params().ClearAll();
            comm->params().Channel(std::to_string(c));
            const std::string state = comm->ReadSetting(SET_CHANNEL_STATE, true, "");
            int32_t bits = 1;
            std::from_chars(state.data(), state.data() + state.size(), bits);
            if ((bits & 1) == 0) {
                numbers.push_back(c);
            }
        }
        if (numbers.empty()) {
            throw Failure{"no channel of the instrument is on"};
        }
    }
    std::vector<Channel> channels;
    for (int32_t number : numbers) {
        if (number > inst.NumChannels()) {
            throw Failure{"channel " + std::to_string(number) +
                          " does not exist (the instrument has " +
                          std::to_string(inst.NumChannels()) + ")"};
        }
        Channel ch;
        ch.object = inst.GetChannelReference(static_cast<int16_t>(number));
        if (!ch.object) {
            throw Failure{"channel " + std::to_string(number) + " is on no module"};
        }
        const std::string what = "reading channel " + std::to_string(number) + "'s ";
        Check(ch.object->QueryConversionType(), what + "conversion");
        Check(ch.object->QuerySerialNumber(), what + "probe serial number");
        auto probe = ch.object->Probe();
        ch.source.instrumentSerial = inst.Serial();
        ch.source.channel = number;
        ch.source.probeSerial = probe->Serial();
        ch.source.conversion =
            ConversionTypeCode(probe->ConversionType(), probe->ActiveConversion().TCType());
        if (ch.source.conversion.empty()) {
            ch.source.conversion = ConversionTypeName(probe->ConversionType());
        }
        channels.push_back(std::move(ch));
    }
    channels_ = std::move(channels);
    if (serial_ != inst.Serial()) {
        serial_ = inst.Serial();
        store_.SetSerial(id_, serial_);
    }
    seenClientWrites_ = link_->ClientWrites();
    contextRead_ = Clock::now();
}

void InstrumentRecorder::WaitForNewReading() {
    auto comm = instrument_->Communications();
    while (!stopping_) {
        comm->params().ClearAll();
        if (comm->ReadSetting(SET_READING_STATE, true, "").find("16") != std::string::npos) {
            return;
        }
        if (!SleepUntil(Clock::now() + std::chrono::milliseconds(100))) {
            return;
        }
    }
}

void InstrumentRecorder::Round() {
    const TimeUs asked = NowUs();
    auto turn = link_->TakeTurn("recorder");
    const auto waited = turn.Waited();
    if (!turn.HeldBy().empty() &&
        waited > std::max<Clock::duration>(config_.every, std::chrono::seconds(1))) {
        // The readings due while a client held the link (a log transfer) were not taken.
        const TimeUs got = NowUs();
        store_.AddGap(id_, asked, got, "the link was lent to " + turn.HeldBy());
        log_(Say(
            "no readings for " +
            std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(waited).count()) +
            " ms: the link was lent to " + turn.HeldBy()));
    }
    if (link_->ClientWrites() != seenClientWrites_ || Clock::now() - contextRead_ > kContextAge) {
        ReadContext();  // a client may have changed a conversion, a probe or the units
    }
    CVesk4710& inst = *instrument_;
    // The units every round: a reading in the wrong unit would be the worst kind of wrong.
    Check(inst.QueryUnits(), "reading the units");
    std::vector<Reading> readings;
    for (const Channel& ch : channels_) {
        port_->ClearMeasurement();
        const double value = inst.QueryMeasurement(static_cast<int16_t>(ch.source.channel), false);
        const auto reply = port_->LastMeasurement();
        if (!reply) {
            throw Failure{"channel " + std::to_string(ch.source.channel) +
                          ": no reading came back"};
        }
        Reading r;
        r.instrument = id_;
        r.time = NowUs();
        r.source = ch.source;
        r.source.unit = UnitOf(reply->mnemonic, inst.Units());
        r.text = Trim(reply->payload);
        // Emf arrives in microvolts and is kept in millivolts, every digit sent.
        if (reply->mnemonic == "MEAS:VOLT?") {
            r.text = files::ShiftDecimal(r.text, -3).value_or(r.text);
        }
        const auto parsed = comm::ParseWhole<double>(r.text);
        if (!parsed || std::fabs(*parsed - value) > 1e-9 * std::max(1.0, std::fabs(*parsed))) {
            throw Failure{"channel " + std::to_string(ch.source.channel) + ": the reading \"" +
                          r.text + "\" is no number"};
        }
        r.value = *parsed;
        readings.push_back(std::move(r));
    }
    if (gapOpen_) {
        store_.CloseGap(id_, readings.empty() ? NowUs() : readings.front().time);
        gapOpen_ = false;
        log_(Say("recording again"));
    }
    for (Reading& r : readings) {
        if (!store_.Append(std::move(r))) {
            throw Failure{"the database takes no more readings: " + store_.WriterError()};
        }
    }
    ++rounds_;
}

}  // namespace vesk::rec
