// read: readings of one or more channels, once or repeatedly, until the count is reached or
// Ctrl-C.
#include <fmt/format.h>

#include <chrono>
#include <cmath>

#include "apps/vesk4710/Cli.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/channel/modConversionTypes.h"

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
        return emf ? "mV" : "OHM";
    }
    if (conversionType == kConvVolts) {
        return "mV";
    }
    if (conversionType == kConvPRTOhms || conversionType == kConvThermistorOhms) {
        return "OHM";
    }
    return UnitSymbol(units);
}

void RunRead(Session& s, const Output& out, const ReadOptions& o) {
    if (o.count < 0) {
        throw UsageError("--count must be 0 (until Ctrl-C) or more");
    }
    if (!(o.every >= 0.0) || o.every > 86400.0) {
        throw UsageError("--every must be from 0 to 86400 seconds");
    }
    s.ReadTopology();
    CVesk4710& inst = s.Instrument();
    Check(inst.QueryUnits(), "reading the units");

    std::vector<std::shared_ptr<CVesk4710Channel>> channels;
    for (int32_t c : o.channels) {
        channels.push_back(s.Channel(c));
    }
    if (channels.empty()) {
        // Every channel: the instrument reports the on state of its first input only.
        for (int16_t c = 1; c <= inst.NumChannels(); ++c) {
            if (auto ch = inst.GetChannelReference(c)) {
                channels.push_back(ch);
            }
        }
        if (channels.empty()) {
            throw Failed("the instrument reports no channels; name the channels to read");
        }
    }
    // The reading path depends on each probe's conversion type.
    for (const auto& ch : channels) {
        Check(ch->QueryConversionType(),
              "reading the conversion of channel " + std::to_string(ch->ActualChannel()));
    }
    if (o.raw) {
        inst.Units(UNITS_RAW_VALUE);
    }

    InterruptHook hook(s.GetHost().Ui());
    if (o.csv && !out.Json()) {
        out.Line("time,channel,value,unit");
    }
    try {
        for (int32_t round = 0; o.count == 0 || round < o.count; ++round) {
            const auto started = std::chrono::steady_clock::now();
            for (const auto& ch : channels) {
                const int16_t number = ch->ActualChannel();
                double value = 0.0;
                try {
                    value = inst.QueryMeasurement(number, o.fresh);
                } catch (const AutomationError&) {
                    if (hook.Interrupted()) {
                        return;
                    }
                    throw;
                }
                const std::string unit = UnitOf(ch->Probe()->ConversionType(), o.raw, inst.Units());
                const std::string time = Date::Now().IsoDateTime();
                if (out.Json()) {
                    out.Json(
                        {{"time", time}, {"channel", number}, {"value", value}, {"unit", unit}});
                } else if (o.csv) {
                    out.Line(fmt::format("{},{},{},{}", time, number, NumberString(value), unit));
                } else {
                    out.Line(
                        fmt::format("{}  {:>2}  {} {}", time, number, NumberString(value), unit));
                }
                if (hook.Interrupted()) {
                    return;
                }
            }
            if (o.count != 0 && round + 1 >= o.count) {
                break;
            }
            const auto deadline = started + std::chrono::duration_cast<std::chrono::milliseconds>(
                                                std::chrono::duration<double>(o.every));
            for (;;) {
                const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
                if (left.count() <= 0 || hook.Interrupted()) {
                    break;
                }
                s.GetHost().Ui().WaitEvents(static_cast<int32_t>(left.count()));
            }
            if (hook.Interrupted()) {
                return;
            }
        }
    } catch (const Interrupted&) {
        // Ctrl-C between requests: a clean stop.
    }
}

}  // namespace

void AddReadCommand(CLI::App& app, Commands& commands) {
    auto o = std::make_shared<ReadOptions>();
    auto* sub = app.add_subcommand(
        "read", "Take readings with time stamps: one line each, CSV or JSON lines (Ctrl-C stops)");
    sub->add_option("CH", o->channels, "Channels to read (default: every channel)")
        ->check(CLI::PositiveNumber);
    sub->add_option("--count,-n", o->count, "Readings per channel; 0 reads until Ctrl-C")
        ->capture_default_str();
    sub->add_option("--every", o->every, "Seconds between rounds of readings")
        ->capture_default_str();
    sub->add_flag("--new", o->fresh, "Wait for a new reading before each one");
    sub->add_flag(
        "--raw", o->raw,
        "Raw sensor values (ohms, or millivolts for thermocouples) instead of temperatures");
    sub->add_flag("--csv", o->csv, "Comma-separated values with a header line");
    commands.push_back({sub, true, [o](Session* s, const Output& out) { RunRead(*s, out, *o); }});
}

}  // namespace vesk::cli
