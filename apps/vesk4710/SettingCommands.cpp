// get / set of the instrument's own settings, and passcode.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "apps/vesk4710/Cli.h"

namespace vesk::cli {

namespace {

// How one instrument setting is read, validated, written and shown.
struct Setting {
    const char* name;
    const char* help;
    // Reads the setting into the object and returns it as JSON; null when it cannot be read.
    std::function<nlohmann::json(Session&)> get;
    // Validates the text (UsageError), stores it in the object and writes it.
    std::function<void(Session&, const std::string&)> set;
};

nlohmann::json IntervalJson(const CVesk4710& inst) {
    if (inst.Interval() == INT_AUTO) {
        return "auto";
    }
    return static_cast<int32_t>(inst.Interval());
}

std::string Describe(const nlohmann::json& value) {
    return value.is_string() ? value.get<std::string>() : JsonText(value);
}

int32_t ParseUnits(const std::string& v) {
    const std::string t = Lower(v);
    if (t == "c" || t == "0") {
        return UNITS_DEGREESC;
    }
    if (t == "f" || t == "1") {
        return UNITS_DEGREESF;
    }
    if (t == "k" || t == "2") {
        return kUnitsKelvin;
    }
    throw UsageError("units are C, F or K");
}

E4710Interval ParseInterval(const std::string& v) {
    if (Lower(v) == "auto") {
        return INT_AUTO;
    }
    static const std::set<int64_t> allowed = {1, 2, 5, 10, 30, 60};
    auto n = ParseInteger(v);
    if (!n || allowed.count(*n) == 0) {
        throw UsageError("the interval is auto or one of 1, 2, 5, 10, 30, 60 seconds");
    }
    return static_cast<E4710Interval>(*n);
}

bool ParseOnOff(const std::string& name, const std::string& v) {
    auto b = ParseBool(v);
    if (!b) {
        throw UsageError(name + " is on or off");
    }
    return *b;
}

int16_t ParseBounded(const std::string& name, const std::string& v, int64_t lo, int64_t hi) {
    auto n = ParseInteger(v);
    if (!n || *n < lo || *n > hi) {
        throw UsageError(fmt::format("{} is a whole number from {} to {}", name, lo, hi));
    }
    return static_cast<int16_t>(*n);
}

// "1,2": channels of the instrument, each once, separated by commas.
std::string ParseScanList(Session& s, const std::string& v) {
    Check(s.Instrument().QueryNumChannels(), "reading the channel count");
    const int16_t count = s.Instrument().NumChannels();
    std::vector<int64_t> channels;
    size_t pos = 0;
    while (pos <= v.size()) {
        size_t comma = v.find(',', pos);
        if (comma == std::string::npos) {
            comma = v.size();
        }
        auto n = ParseInteger(std::string_view(v).substr(pos, comma - pos));
        if (!n || *n < 1 || *n > count) {
            throw UsageError(fmt::format(
                "the scan list names channels 1 to {} separated by commas, such as 1,2", count));
        }
        if (std::find(channels.begin(), channels.end(), *n) != channels.end()) {
            throw UsageError(fmt::format("channel {} is twice in the scan list", *n));
        }
        channels.push_back(*n);
        pos = comma + 1;
    }
    return v;
}

const std::vector<Setting>& Settings() {
    static const std::vector<Setting> settings = {
        {"identification", "identification text (read only)",
         [](Session& s) -> nlohmann::json {
             s.Identify();
             return s.Instrument().Identification();
         },
         nullptr},
        {"model", "model (read only)",
         [](Session& s) -> nlohmann::json {
             s.Identify();
             return s.Instrument().Model();
         },
         nullptr},
        {"firmware", "firmware version (read only)",
         [](Session& s) -> nlohmann::json {
             s.Identify();
             return s.Instrument().Firmware();
         },
         nullptr},
        {"serial", "instrument serial number (passcode protected)",
         [](Session& s) -> nlohmann::json {
             s.Identify();
             return s.Instrument().Serial();
         },
         [](Session& s, const std::string& v) {
             if (!ValidSerialText(v, 12)) {
                 throw UsageError("a serial number has 1 to 12 letters, digits or - _ / .");
             }
             s.Identify();
             s.Instrument().Serial(v);
             s.WithUnlock("the serial number", [&] { s.Instrument().UpdateSerialNumber(); });
         }},
        {"units", "temperature units: C, F or K",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryUnits(), "reading the units");
             return UnitSymbol(s.Instrument().Units());
         },
         [](Session& s, const std::string& v) {
             s.Instrument().Units(static_cast<E4710Units>(ParseUnits(v)));
             s.Instrument().UpdateUnits();
         }},
        {"interval", "logging interval: auto or 1, 2, 5, 10, 30, 60 seconds",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryInterval(), "reading the interval");
             return IntervalJson(s.Instrument());
         },
         [](Session& s, const std::string& v) {
             s.Instrument().Interval(ParseInterval(v));
             s.Instrument().UpdateInterval();
         }},
        {"scanmode", "scan mode: simultaneous (0) or scan (1)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryScanMode(), "reading the scan mode");
             return s.Instrument().ScanMode() == SM_SCAN ? "scan" : "simultaneous";
         },
         [](Session& s, const std::string& v) {
             const std::string t = Lower(v);
             E4710ScanMode mode;
             if (t == "simultaneous" || t == "0") {
                 mode = SM_SIMULTANEOUS;
             } else if (t == "scan" || t == "1") {
                 mode = SM_SCAN;
             } else {
                 throw UsageError("the scan mode is simultaneous or scan");
             }
             s.Instrument().ScanMode(mode);
             s.Instrument().UpdateScanMode();
         }},
        {"scanchannels", "channels scanned, such as 1,2",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryScanChannelList(), "reading the scan list");
             return s.Instrument().ScanChannels();
         },
         [](Session& s, const std::string& v) {
             s.Instrument().ScanChannels(ParseScanList(s, v));
             s.Instrument().UpdateScanChannelList();
         }},
        {"scanseqdelay", "delay between scanned channels in seconds (write only)", nullptr,
         [](Session& s, const std::string& v) {
             s.Instrument().ScanSeqDelay(ParseBounded("the scan delay", v, 0, 3600));
             s.Instrument().UpdateScanSeqDelay();
         }},
        {"resolution", "display resolution in digits, 0 to 3 (write only)", nullptr,
         [](Session& s, const std::string& v) {
             CVesk4710& inst = s.Instrument();
             inst.Resolution(
                 ParseBounded("the resolution", v, inst.MinResolution(), inst.MaxResolution()));
             inst.UpdateResolution();
         }},
        {"autopower", "automatic power off: on or off",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryAutoPower(), "reading automatic power off");
             // In the words set takes.
             return s.Instrument().AutoPower() ? "on" : "off";
         },
         [](Session& s, const std::string& v) {
             s.Instrument().AutoPower(ParseOnOff("autopower", v));
             s.Instrument().UpdateAutoPower();
         }},
        {"disableserial", "on disables the serial port until the next session (write only)",
         nullptr,
         [](Session& s, const std::string& v) {
             if (!ParseOnOff("disableserial", v)) {
                 throw UsageError(
                     "only on can be written: the instrument re-enables the port "
                     "itself");
             }
             s.Instrument().DisableSerial(true);
             s.Instrument().UpdateDisableSerial();
         }},
        {"caldate", "calibration date, YYYY-MM-DD (passcode protected)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryCalibrationDate(), "reading the calibration date");
             return s.Instrument().CalDate().IsoDate();
         },
         [](Session& s, const std::string& v) {
             s.Instrument().CalDate(ParseCalDate(v));
             s.WithUnlock("the calibration date", [&] { s.Instrument().UpdateCalibrationDate(); });
         }},
        {"label", "current logging label",
         [](Session& s) -> nlohmann::json {
             std::string label;
             Check(s.Instrument().QueryLoggingLabel(label), "reading the logging label");
             return label;
         },
         [](Session& s, const std::string& v) {
             CheckLoggingLabel(v, static_cast<size_t>(s.Instrument().MaxLabelLength()));
             Check(s.Instrument().UpdateLoggingLabel(v), "writing the logging label");
         }},
        {"passcodestate", "whether protected settings are open: unlocked or locked (read only)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryPasscodeState(), "reading the passcode state");
             return s.Instrument().PasscodeState() == PS_ENABLED ? "unlocked" : "locked";
         },
         nullptr},
        {"protectconversion", "whether conversions are passcode protected (read only)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryProtectConversion(), "reading conversion protection");
             return s.Instrument().ProtectConversion();
         },
         nullptr},
        {"numchannels", "number of channels (read only)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryNumChannels(), "reading the channel count");
             return s.Instrument().NumChannels();
         },
         nullptr},
        {"nummodules", "number of modules (read only)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryNumModules(), "reading the module count");
             return s.Instrument().NumModules();
         },
         nullptr},
        {"modulelist", "module list as the instrument reports it (read only)",
         [](Session& s) -> nlohmann::json {
             Check(s.Instrument().QueryModuleList(), "reading the module list");
             return s.Instrument().ModuleList();
         },
         nullptr},
    };
    return settings;
}

std::string SettingsHelp() {
    std::string text = "Settings:\n";
    for (const auto& st : Settings()) {
        text += fmt::format("  {:<18}{}\n", st.name, st.help);
    }
    return text;
}

const Setting& Find(const std::string& name) {
    const std::string wanted = Lower(name);
    for (const auto& st : Settings()) {
        if (wanted == st.name) {
            return st;
        }
    }
    throw UsageError("unknown setting \"" + comm::Printable(name, 60) + "\"; " + "known: " + [] {
        std::string names;
        for (const auto& st : Settings()) {
            names += (names.empty() ? "" : ", ") + std::string(st.name);
        }
        return names;
    }());
}

void Show(const Output& out, const Setting& st, const nlohmann::json& value) {
    if (out.Json()) {
        out.Json({{"name", st.name}, {"value", value}});
    } else {
        out.Line(Describe(value));
    }
}

void RunGet(Session& s, const Output& out, const std::string& name) {
    const Setting& st = Find(name);
    if (!st.get) {
        throw UsageError(std::string(st.name) + " can be written but not read back");
    }
    Show(out, st, st.get(s));
}

void RunSet(Session& s, const Output& out, const std::string& name, const std::string& value) {
    const Setting& st = Find(name);
    if (!st.set) {
        throw UsageError(std::string(st.name) + " is read only");
    }
    st.set(s, value);
    // Read back what the instrument kept, where it can be read.
    if (st.get) {
        Show(out, st, st.get(s));
    } else if (out.Json()) {
        out.Json({{"name", st.name}, {"value", value}});
    }
}

void RunPasscode(Session& s, const Output& out, bool statusOnly) {
    CVesk4710& inst = s.Instrument();
    Check(inst.QueryPasscodeProtection(), "reading the passcode protection");
    bool accepted = inst.PasscodeState() == PS_ENABLED;
    if (!statusOnly && !accepted) {
        accepted = inst.ValidatePasscode(nullptr);
    }
    if (out.Json()) {
        nlohmann::json j = {{"passcodeState", static_cast<int32_t>(inst.PasscodeState())},
                            {"protectConversion", inst.ProtectConversion()},
                            {"protectCalParams", inst.ProtectCalParams()}};
        if (!statusOnly) {
            j["accepted"] = accepted;
        }
        out.Json(j);
    } else {
        out.Line("passcode " + PasscodeSummary(inst));
        if (!statusOnly) {
            out.Line(accepted ? "passcode accepted" : "no passcode accepted");
        }
    }
    if (!statusOnly && !accepted) {
        throw Failed("the passcode was not accepted");
    }
}

}  // namespace

void AddSettingCommands(CLI::App& app, Commands& commands) {
    auto name = std::make_shared<std::string>();
    auto* get = app.add_subcommand("get", "Read one instrument setting");
    get->add_option("NAME", *name, "Setting name")->required();
    get->footer(SettingsHelp());
    commands.push_back(
        {get, true, [name](Session* s, const Output& out) { RunGet(*s, out, *name); }});

    auto setName = std::make_shared<std::string>();
    auto value = std::make_shared<std::string>();
    auto* set = app.add_subcommand(
        "set", "Write one instrument setting (unlocks with the passcode when the instrument asks)");
    set->add_option("NAME", *setName, "Setting name")->required();
    set->add_option("VALUE", *value, "New value")->required();
    set->footer(SettingsHelp());
    commands.push_back({set, true, [setName, value](Session* s, const Output& out) {
                            RunSet(*s, out, *setName, *value);
                        }});

    auto statusOnly = std::make_shared<bool>(false);
    auto* passcode = app.add_subcommand(
        "passcode", "Give the instrument its passcode (prompt or --passcode) and show the state");
    passcode->add_flag("--status", *statusOnly, "Only show the protection state");
    commands.push_back({passcode, true, [statusOnly](Session* s, const Output& out) {
                            RunPasscode(*s, out, *statusOnly);
                        }});
}

}  // namespace vesk::cli
