// read: readings of one or more channels, once or repeatedly, until the count is reached or
// Ctrl-C. watch: readings until every channel is stable over a window, or a time-out.
#include <fmt/format.h>

#include <chrono>
#include <cmath>

#include "apps/vesk4710/Cli.h"
#include "components/readingfile/ReadingFile.h"
#include "components/statistics/WindowStatistics.h"
#include "host/InstrumentRequests.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/channel/ConversionTypes.h"

namespace vesk::cli {

namespace {

struct ReadOptions {
    std::vector<int32_t> channels;
    int32_t count = 1;
    double every = 1.0;
    bool fresh = false;
    bool raw = false;
    bool csv = false;
};

// Thrown from the event hook so that an unbounded wait for a new reading ends on Ctrl-C.
struct Interrupted {};

class InterruptHook {
  public:
    InterruptHook(IUiServices& ui) : ui_(dynamic_cast<ConsoleUi*>(&ui)) {
        if (ui_ != nullptr) {
            ui_->onEvents = [this] {
                if (Interrupted()) {
                    throw cli::Interrupted{};
                }
            };
        }
    }
    ~InterruptHook() {
        if (ui_ != nullptr) {
            ui_->onEvents = nullptr;
        }
    }
    InterruptHook(const InterruptHook&) = delete;
    InterruptHook& operator=(const InterruptHook&) = delete;
    bool Interrupted() const { return ConsoleUi::InterruptCount() != start_; }

  private:
    ConsoleUi* ui_;
    uint32_t start_ = ConsoleUi::InterruptCount();
};

// A thermocouple's emf arrives in microvolts and the reading divides it by 1000: every tool
// shows it in millivolts.
std::string UnitOf(int32_t conversionType, bool raw, E4710Units units) {
    const bool emf = conversionType == kConvVolts || conversionType == kConvThermocouple;
    if (raw) {
        return emf ? std::string(files::kEmfUnit) : "OHM";
    }
    if (conversionType == kConvVolts) {
        return std::string(files::kEmfUnit);
    }
    if (conversionType == kConvPRTOhms || conversionType == kConvThermistorOhms) {
        return "OHM";
    }
    return UnitSymbol(units);
}

// The channels a command reads: those named, else every channel that is on; each with its
// conversion read, which decides the reading's unit.
std::vector<std::shared_ptr<CVesk4710Channel>> ChannelsToRead(Session& s,
                                                              const std::vector<int32_t>& named) {
    s.ReadTopology();
    CVesk4710& inst = s.Instrument();
    Check(inst.QueryUnits(), "reading the units");
    std::vector<std::shared_ptr<CVesk4710Channel>> channels;
    for (int32_t c : named) {
        channels.push_back(s.Channel(c));
    }
    if (channels.empty()) {
        for (int16_t c = 1; c <= inst.NumChannels(); ++c) {
            auto ch = inst.GetChannelReference(c);
            if (ch && ChannelIsOn(inst, c)) {
                channels.push_back(ch);
            }
        }
        if (channels.empty()) {
            throw Failed(
                "no channel of the instrument is on; switch one on at the instrument, or name the "
                "channels to read");
        }
    }
    for (const auto& ch : channels) {
        Check(ch->QueryConversionType(),
              "reading the conversion of channel " + std::to_string(ch->ActualChannel()));
    }
    return channels;
}

// Waits, keeping the console's events going, until the time or Ctrl-C.
void WaitUntil(Session& s, const InterruptHook& hook,
               std::chrono::steady_clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || hook.Interrupted()) {
            return;
        }
        s.GetHost().Ui().WaitEvents(static_cast<int32_t>(left.count()));
    }
}

std::chrono::steady_clock::duration Seconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
}

void RunRead(Session& s, const Output& out, const ReadOptions& o) {
    if (o.count < 0) {
        throw UsageError("--count must be 0 (until Ctrl-C) or more");
    }
    if (!(o.every >= 0.0) || o.every > 86400.0) {
        throw UsageError("--every must be from 0 to 86400 seconds");
    }
    const auto channels = ChannelsToRead(s, o.channels);
    CVesk4710& inst = s.Instrument();
    if (o.raw) {
        inst.Units(UNITS_RAW_VALUE);
    }
    const std::string& device = s.Options().device;
    // The columns of a recording: probe serial and conversion of each channel.
    std::vector<std::string> probes;
    std::vector<std::string> conversions;
    if (o.csv && !out.Json()) {
        for (const auto& ch : channels) {
            const std::string what = "reading channel " + std::to_string(ch->ActualChannel());
            Check(ch->QuerySerialNumber(), what + "'s probe serial number");
            const auto probe = ch->Probe();
            probes.push_back(probe->Serial());
            const std::string code =
                ConversionTypeCode(probe->ConversionType(), probe->ActiveConversion().TCType());
            conversions.push_back(code.empty() ? ConversionTypeName(probe->ConversionType())
                                               : code);
        }
        std::string head;
        files::ReadingsCsv(head).Begin({{"source", "vesk4710 read"},
                                        {"instrument", device},
                                        {"serial", inst.Serial()},
                                        {"time zone", files::LocalZoneText()}},
                                       files::kRecordingColumns);
        head.pop_back();
        out.Line(head);
    }
    InterruptHook hook(s.GetHost().Ui());
    uint64_t sequence = 0;
    try {
        for (int32_t round = 0; o.count == 0 || round < o.count; ++round) {
            const auto started = std::chrono::steady_clock::now();
            for (size_t i = 0; i < channels.size(); ++i) {
                const auto& ch = channels[i];
                const int16_t number = ch->ActualChannel();
                double value = 0.0;
                std::string text;
                try {
                    text = MeasurementText(inst, number, o.fresh, &value);
                } catch (const AutomationError&) {
                    if (hook.Interrupted()) {
                        return;
                    }
                    throw;
                }
                const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
                                     std::chrono::system_clock::now().time_since_epoch())
                                     .count();
                const std::string time =
                    files::IsoTime(now, 3, files::LocalUtcOffset(now / 1000000));
                const std::string unit = UnitOf(ch->Probe()->ConversionType(), o.raw, inst.Units());
                ++sequence;
                if (out.Json()) {
                    out.Json({{"sequence", sequence},
                              {"time", time},
                              {"channel", number},
                              {"value", value},
                              {"text", text},
                              {"unit", unit}});
                } else if (o.csv) {
                    std::string row;
                    files::ReadingsCsv csv(row);
                    csv.Field(std::to_string(sequence), true);
                    csv.Field(time, true);
                    csv.Field(device);
                    csv.Field(inst.Serial());
                    csv.Field(std::to_string(number), true);
                    csv.Field(probes[i]);
                    csv.Field(text, true);
                    csv.Field(unit);
                    csv.Field(conversions[i]);
                    out.Line(row);
                } else {
                    out.Line(fmt::format("{}  {:>2}  {} {}", time, number, text, unit));
                }
                if (hook.Interrupted()) {
                    return;
                }
            }
            if (o.count != 0 && round + 1 >= o.count) {
                break;
            }
            WaitUntil(s, hook, started + Seconds(o.every));
            if (hook.Interrupted()) {
                return;
            }
        }
    } catch (const Interrupted&) {
        // Ctrl-C between requests: a clean stop.
    }
}

struct WatchOptions {
    std::vector<int32_t> channels;
    double window = 600.0;
    double maxSd = 0.001;
    double maxDrift = 0.0005;
    double every = 1.0;
    double timeout = 3600.0;
};

stats::TimeMs NowMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

void PrintWatchLine(const Output& out, int16_t channel, const std::string& unit,
                    const stats::WindowStatistics& st, stats::TimeMs now) {
    const stats::Summary sum = st.Current().value_or(stats::Summary{});
    const std::string time = Date::Now().IsoDateTime();
    const char* state = stats::StabilityName(st.State());
    if (out.Json()) {
        out.Json({{"time", time},
                  {"channel", channel},
                  {"state", state},
                  {"count", sum.count},
                  {"mean", sum.mean},
                  {"stdDev", sum.stdDev},
                  {"driftPerMinute", sum.driftPerMinute},
                  {"minimum", sum.minimum},
                  {"maximum", sum.maximum},
                  {"unit", unit},
                  {"stableSeconds", static_cast<double>(st.StableFor(now)) / 1000.0}});
        return;
    }
    std::string line = fmt::format(
        "{}  {:>2}  {:<10} mean {:.6f} {}  sd {:.6f}  drift {:+.6f}/min  min {:.6f}  max {:.6f}  "
        "n {}",
        time, channel, state, sum.mean, unit, sum.stdDev, sum.driftPerMinute, sum.minimum,
        sum.maximum, sum.count);
    if (st.State() == stats::Stability::kStable) {
        line += "  for " + stats::DurationText(st.StableFor(now));
    }
    out.Line(line);
}

void RunWatch(Session& s, const Output& out, const WatchOptions& o) {
    if (!(o.window >= 1.0) || o.window > 86400.0) {
        throw UsageError("--window must be from 1 to 86400 seconds");
    }
    if (!(o.every > 0.0) || o.every > 3600.0) {
        throw UsageError("--every must be more than 0 and at most 3600 seconds");
    }
    if (!(o.timeout >= 0.0) || !(o.maxSd >= 0.0) || !(o.maxDrift >= 0.0)) {
        throw UsageError("--timeout, --max-sd and --max-drift must not be negative");
    }
    const auto channels = ChannelsToRead(s, o.channels);
    CVesk4710& inst = s.Instrument();
    const stats::Limits limits{o.maxSd, o.maxDrift};
    std::vector<stats::WindowStatistics> windows(
        channels.size(),
        stats::WindowStatistics(static_cast<stats::TimeMs>(std::llround(o.window * 1000)), limits));

    InterruptHook hook(s.GetHost().Ui());
    const auto started = std::chrono::steady_clock::now();
    try {
        for (;;) {
            const auto round = std::chrono::steady_clock::now();
            for (size_t i = 0; i < channels.size(); ++i) {
                const int16_t number = channels[i]->ActualChannel();
                windows[i].Add(NowMs(), inst.QueryMeasurement(number, false));
            }
            bool allStable = true;
            for (size_t i = 0; i < channels.size(); ++i) {
                PrintWatchLine(out, channels[i]->ActualChannel(),
                               UnitOf(channels[i]->Probe()->ConversionType(), false, inst.Units()),
                               windows[i], NowMs());
                allStable = allStable && windows[i].State() == stats::Stability::kStable;
            }
            if (allStable) {
                return;
            }
            if (o.timeout > 0.0 &&
                std::chrono::steady_clock::now() - started >= Seconds(o.timeout)) {
                std::string unsettled;
                for (size_t i = 0; i < channels.size(); ++i) {
                    if (windows[i].State() != stats::Stability::kStable) {
                        unsettled += (unsettled.empty() ? "" : ", ") +
                                     std::to_string(channels[i]->ActualChannel());
                    }
                }
                throw Failed(fmt::format("not stable after {} s: channel {}",
                                         NumberString(o.timeout), unsettled));
            }
            WaitUntil(s, hook, round + Seconds(o.every));
            if (hook.Interrupted()) {
                break;
            }
        }
    } catch (const Interrupted&) {
    } catch (const AutomationError&) {
        if (!hook.Interrupted()) {
            throw;
        }
    }
    throw Failed("stopped before every channel was stable");
}

}  // namespace

void AddReadCommand(CLI::App& app, Commands& commands) {
    auto o = std::make_shared<ReadOptions>();
    auto* sub = app.add_subcommand(
        "read", "Take readings with time stamps: one line each, CSV or JSON lines (Ctrl-C stops)");
    sub->add_option("CH", o->channels,
                    "Channels to read, 1 to " + std::to_string(kMaxChannels) +
                        " (default: every channel that is on)")
        ->check(CLI::PositiveNumber);
    sub->add_option("--count,-n", o->count, "Readings per channel; 0 reads until Ctrl-C")
        ->capture_default_str();
    sub->add_option("--every", o->every, "Seconds between rounds of readings")
        ->capture_default_str();
    sub->add_flag("--new", o->fresh, "Wait for a new reading before each one");
    sub->add_flag(
        "--raw", o->raw,
        "Raw sensor values (ohms, or millivolts for thermocouples) instead of temperatures");
    sub->add_flag("--csv", o->csv,
                  "CSV in the readings layout of every file: # lines, one header row");
    commands.push_back({sub, true, [o](Session* s, const Output& out) { RunRead(*s, out, *o); }});

    auto w = std::make_shared<WatchOptions>();
    auto* watch = app.add_subcommand(
        "watch",
        "Read until every channel is stable: its standard deviation and drift over the window "
        "under the limits. A line per channel and round; exit status 0 once stable, 1 at the "
        "time-out or Ctrl-C");
    watch->add_option("CH", w->channels, "Channels to watch (default: every channel that is on)")
        ->check(CLI::PositiveNumber);
    watch->add_option("--window", w->window, "Seconds of readings the statistics cover")
        ->capture_default_str();
    watch
        ->add_option("--max-sd", w->maxSd,
                     "Largest standard deviation over the window that is stable, in the "
                     "readings' unit")
        ->capture_default_str();
    watch
        ->add_option("--max-drift", w->maxDrift,
                     "Largest drift that is stable, in the readings' unit per minute")
        ->capture_default_str();
    watch->add_option("--every", w->every, "Seconds between rounds of readings")
        ->capture_default_str();
    watch->add_option("--timeout", w->timeout, "Give up after this many seconds; 0 never does")
        ->capture_default_str();
    commands.push_back(
        {watch, true, [w](Session* s, const Output& out) { RunWatch(*s, out, *w); }});
}

}  // namespace vesk::cli
