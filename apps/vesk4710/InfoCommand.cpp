// info: everything the instrument object knows after a full read.
#include <fmt/format.h>

#include "apps/vesk4710/Cli.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::cli {

namespace {

std::string IntervalText(int32_t interval) {
    return interval == INT_AUTO ? "auto" : std::to_string(interval) + " s";
}

void RunInfo(Session& s, const Output& out, bool full) {
    CVesk4710& inst = s.Instrument();
    Check(inst.QueryInfo(nullptr, full), "reading the instrument's settings");
    // Settings the full read leaves to the settings dialog.
    Check(inst.QueryInterval(), "reading the interval");
    Check(inst.QueryScanMode(), "reading the scan mode");
    Check(inst.QueryScanChannelList(), "reading the scan channel list");

    // The full read covers only the channels that report themselves on; the rest are read
    // here so that every channel shows what its probe holds.
    std::vector<std::shared_ptr<CVesk4710Channel>> channels;
    for (int16_t c = 1; c <= inst.NumChannels(); ++c) {
        auto ch = inst.GetChannelReference(c);
        if (!ch) {
            continue;
        }
        const std::string what = "reading channel " + std::to_string(c);
        if (full) {
            if (!ch->Enabled()) {
                Check(ch->QueryInfo(), what);
            }
        } else {
            if (!ch->Enabled()) {
                Check(ch->QuerySerialNumber(), what);
            }
            Check(ch->QueryConversionType(), what);
            Check(ch->QueryResolution(), what);
        }
        // After the reads above, which chose by the library's view of the channel.
        ch->Enabled(ChannelIsOn(inst, c));
        channels.push_back(ch);
    }

    if (out.Json()) {
        nlohmann::json j = {
            {"identification", inst.Identification()},
            {"model", inst.Model()},
            {"serial", inst.Serial()},
            {"firmware", inst.Firmware()},
            {"units", static_cast<int32_t>(inst.Units())},
            {"interval", static_cast<int32_t>(inst.Interval())},
            {"scanMode", static_cast<int32_t>(inst.ScanMode())},
            {"scanChannels", inst.ScanChannels()},
            {"autoPower", inst.AutoPower()},
            {"calDate", inst.CalDate().IsoDate()},
            {"numModules", inst.NumModules()},
            {"numChannels", inst.NumChannels()},
            {"passcodeState", static_cast<int32_t>(inst.PasscodeState())},
            {"protectConversion", inst.ProtectConversion()},
            {"protectCalParams", inst.ProtectCalParams()},
        };
        j["channels"] = nlohmann::json::array();
        for (const auto& ch : channels) {
            j["channels"].push_back(ChannelJson(*ch, full));
        }
        out.Json(j);
        return;
    }

    auto row = [&](std::string_view name, const std::string& value) {
        out.Line(fmt::format("{:<17}{}", name, value));
    };
    row("Identification", inst.Identification());
    row("Model", inst.Model());
    row("Serial", inst.Serial());
    row("Firmware", NumberString(inst.Firmware()));
    row("Units", UnitSymbol(inst.Units()));
    row("Interval", IntervalText(inst.Interval()));
    row("Scan mode", inst.ScanMode() == SM_SCAN ? "scan" : "simultaneous");
    row("Scan channels", inst.ScanChannels().empty() ? "-" : inst.ScanChannels());
    row("Auto power off", inst.AutoPower() ? "on" : "off");
    row("Calibration date", inst.CalDate().IsoDate());
    row("Passcode", PasscodeSummary(inst));
    std::string modules = std::to_string(inst.NumModules());
    for (int16_t i = 0; i < inst.NumModules() && i < kMaxModules; ++i) {
        if (auto m = inst.Modules(i)) {
            modules += (i == 0 ? ": " : ", ") + m->ModuleName();
        }
    }
    row("Modules", modules);
    row("Channels", std::to_string(inst.NumChannels()));
    for (const auto& ch : channels) {
        PrintChannel(out, *ch, full);
    }
}

}  // namespace

void AddInfoCommand(CLI::App& app, Commands& commands) {
    auto* sub = app.add_subcommand(
        "info", "Read the instrument's identification, settings, modules and channels");
    auto full = std::make_shared<bool>(false);
    sub->add_flag("--channels", *full, "Also each channel's full settings and coefficients");
    commands.push_back(
        {sub, true, [full](Session* s, const Output& out) { RunInfo(*s, out, *full); }});
}

}  // namespace vesk::cli
