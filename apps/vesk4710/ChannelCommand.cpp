// channel CH [set NAME VALUE...]: one channel's settings and its probe's coefficients.
#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "apps/vesk4710/Cli.h"
#include "vesk4710/channel/ConversionTypes.h"

namespace vesk::cli {

namespace {

struct ChannelOptions {
    int32_t channel = 0;
    std::vector<std::string> pairs;
};

struct ConversionChoice {
    int32_t type = kConvNone;
    int32_t tcType = kDefaultTCType;
};

// A conversion by its instrument code ("ITS", "CVD", "K"), its display name when that is
// unambiguous ("ITS-90", "Callendar-Van Dusen") or its number.
ConversionChoice ParseConversion(const std::string& text) {
    const std::string wanted = Lower(text);
    std::vector<std::pair<std::string, ConversionChoice>> known;
    for (int32_t type = 0; type <= 20; ++type) {
        if (!IsSupportedConversionType(type)) {
            continue;
        }
        if (type == kConvThermocouple) {
            for (int32_t tc = 0; tc < 12; ++tc) {
                const std::string code = ThermocoupleCode(tc);
                known.push_back({Lower(code), {type, tc}});
                known.push_back({"tc-" + Lower(code), {type, tc}});
            }
            continue;
        }
        known.push_back({Lower(ConversionTypeCode(type, kDefaultTCType)), {type, kDefaultTCType}});
        known.push_back({std::to_string(type), {type, kDefaultTCType}});
        known.push_back({Lower(ConversionTypeName(type)), {type, kDefaultTCType}});
    }
    std::vector<ConversionChoice> found;
    for (const auto& [name, choice] : known) {
        if (name == wanted &&
            std::none_of(found.begin(), found.end(), [&](const ConversionChoice& c) {
                return c.type == choice.type && c.tcType == choice.tcType;
            })) {
            found.push_back(choice);
        }
    }
    if (found.size() == 1) {
        return found.front();
    }
    throw UsageError(found.empty()
                         ? "unknown conversion \"" + text +
                               "\"; use ITS, ITS5, CVD, PT, TRES, RPRT, RTHM, V or a "
                               "thermocouple letter (B C E J K L M N R S T U)"
                         : "\"" + text + "\" names more than one conversion; use its code");
}

double ParseValue(const std::string& name, const std::string& v) {
    auto n = ParseNumber(v);
    if (!n) {
        throw UsageError(name + " takes a number with \".\" as decimal point, not \"" + v + "\"");
    }
    return *n;
}

int16_t ParseInt16(const std::string& name, const std::string& v) {
    auto n = ParseInteger(v);
    if (!n || *n < std::numeric_limits<int16_t>::min() ||
        *n > std::numeric_limits<int16_t>::max()) {
        throw UsageError(name + " takes a whole number from -32768 to 32767");
    }
    return static_cast<int16_t>(*n);
}

void ApplyConversion(CVesk4710Channel& ch, const ConversionChoice& c) {
    auto probe = ch.Probe();
    if (probe->ConversionType() != c.type) {
        Check(ch.SetConversionType(c.type, c.tcType), "setting the conversion type");
        ch.ProbeType(ProbeFamilyOf(c.type));
    }
    // The conversion type alone does not carry a change of thermocouple letter.
    if (c.type == kConvThermocouple) {
        probe->ActiveConversion().TCType(c.tcType);
    }
}

void ApplySetting(CVesk4710Channel& ch, const std::string& name, const std::string& v) {
    const std::string key = Lower(name);
    if (key == "serial") {
        const auto max = static_cast<size_t>(ch.MaxSerialLength());
        if (!ValidSerialText(v, max)) {
            throw UsageError(
                fmt::format("a probe serial number has 1 to {} letters, digits or - _ / .", max));
        }
        std::string upper = v;
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
        ch.Probe()->Serial(upper);
    } else if (key == "caldate") {
        ch.CalDate(ParseCalDate(v));
    } else if (key == "resolution") {
        if (Lower(v) == "auto") {
            ch.Resolution(-1);
        } else {
            auto n = ParseInteger(v);
            if (!n || *n < -1 || *n > 3) {
                throw UsageError("the resolution is auto or 0 to 3 digits");
            }
            ch.Resolution(static_cast<int16_t>(*n));
        }
    } else if (key == "rjc" || key == "rjctype") {
        const std::string t = Lower(v);
        if (t == "internal" || t == "1") {
            ch.RJCType(RJC_INTERNAL);
        } else if (t == "external" || t == "0") {
            ch.RJCType(RJC_EXTERNAL);
        } else {
            throw UsageError("the reference junction is internal or external");
        }
    } else if (key == "rjctemp" || key == "rjctemperature") {
        const double t = ParseValue(name, v);
        if (t < ch.MinRJCTemperature() || t > ch.MaxRJCTemperature()) {
            throw UsageError(fmt::format("the reference junction temperature is from {} to {}",
                                         NumberString(ch.MinRJCTemperature()),
                                         NumberString(ch.MaxRJCTemperature())));
        }
        ch.RJCTemperature(t);
    } else if (key == "probelock" || key == "lock") {
        auto b = ParseBool(v);
        if (!b) {
            throw UsageError("the probe lock is on or off");
        }
        ch.ProbeLock(*b);
    } else if (key == "minop") {
        ch.MINOP(ParseInt16(name, v));
    } else if (key == "maxop") {
        ch.MAXOP(ParseInt16(name, v));
    } else {
        for (const auto& c : Coefficients(ch)) {
            if (Lower(c.name) == key) {
                c.set(ParseValue(name, v));
                ch.Changed(true);
                return;
            }
        }
        std::string names;
        for (const auto& c : Coefficients(ch)) {
            names += " " + c.name;
        }
        throw UsageError("unknown channel setting \"" + name +
                         "\"; use conversion, serial, caldate, resolution, rjc, rjctemp, "
                         "probelock, minop, maxop" +
                         (names.empty() ? std::string() : " or a coefficient:" + names));
    }
}

void Show(const Output& out, CVesk4710Channel& ch) {
    if (out.Json()) {
        out.Json(ChannelJson(ch, true));
    } else {
        PrintChannel(out, ch, true);
    }
}

void RunShow(Session& s, const Output& out, const ChannelOptions& o) {
    s.ReadTopology();
    auto ch = s.Channel(o.channel);
    s.Require([&] { return ch->QueryInfo(); }, "reading channel " + std::to_string(o.channel));
    ch->Enabled(ChannelIsOn(s.Instrument(), static_cast<int16_t>(o.channel)));
    Show(out, *ch);
}

// One write of a changed setting; guarded when the instrument protects it.
struct ChannelWrite {
    std::string item;
    bool guarded = false;
    std::function<bool()> write;
};

// The writes for the settings named on the command line, in the instrument's order, each
// once. Only these are written: an unprotected change never needs the passcode.
std::vector<ChannelWrite> ChangedWrites(CVesk4710& inst, CVesk4710Channel& ch,
                                        const std::vector<std::string>& pairs) {
    std::vector<std::string> keys;
    for (size_t i = 0; i < pairs.size(); i += 2) {
        std::string key = Lower(pairs[i]);
        key = key == "rjctype" ? "rjc" : key == "rjctemperature" ? "rjctemp" : key;
        key = key == "lock" ? "probelock" : key;
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            keys.push_back(key);
        }
    }
    auto named = [&](const char* key) {
        return std::find(keys.begin(), keys.end(), key) != keys.end();
    };
    const bool conversionsGuarded = inst.ProtectConversion();
    std::vector<ChannelWrite> writes;
    auto add = [&](const char* key, std::string item, bool guarded, bool (CVesk4710Channel::*w)()) {
        if (named(key)) {
            writes.push_back({std::move(item), guarded, [&ch, w] { return (ch.*w)(); }});
        }
    };
    add("serial", "probe serial number", true, &CVesk4710Channel::UpdateSerialNumber);
    add("conversion", "conversion", conversionsGuarded, &CVesk4710Channel::UpdateConversionType);
    add("caldate", "calibration date", false, &CVesk4710Channel::UpdateCalDate);
    add("rjc", "reference junction", false, &CVesk4710Channel::UpdateRJCType);
    add("rjctemp", "reference junction temperature", false,
        &CVesk4710Channel::UpdateExternalRJCTemperature);
    add("resolution", "resolution", false, &CVesk4710Channel::UpdateResolution);
    add("minop", "MINOP", false, &CVesk4710Channel::UpdateMINOP);
    add("maxop", "MAXOP", false, &CVesk4710Channel::UpdateMAXOP);
    add("probelock", "probe lock", false, &CVesk4710Channel::UpdateProbeLock);
    for (const auto& c : Coefficients(ch)) {
        if (named(Lower(c.name).c_str())) {
            writes.push_back({"coefficient " + c.name, conversionsGuarded, [&ch, c] {
                                  return ch.UpdateCoefficient(c.name, c.get(), c.format());
                              }});
        }
    }
    return writes;
}

void RunSet(Session& s, const Output& out, const ChannelOptions& o) {
    if (o.pairs.empty() || o.pairs.size() % 2 != 0) {
        throw UsageError("channel set takes NAME VALUE pairs");
    }
    // The conversion decides which coefficient names exist: validate it before anything.
    std::optional<ConversionChoice> conversion;
    for (size_t i = 0; i < o.pairs.size(); i += 2) {
        if (Lower(o.pairs[i]) == "conversion") {
            conversion = ParseConversion(o.pairs[i + 1]);
        }
    }
    s.ReadTopology();
    CVesk4710& inst = s.Instrument();
    auto ch = s.Channel(o.channel);
    const std::string what = "channel " + std::to_string(o.channel);
    s.Require([&] { return ch->QueryInfo(); }, "reading " + what);
    if (conversion) {
        ApplyConversion(*ch, *conversion);
    }
    for (size_t i = 0; i < o.pairs.size(); i += 2) {
        if (Lower(o.pairs[i]) != "conversion") {
            ApplySetting(*ch, o.pairs[i], o.pairs[i + 1]);
        }
    }
    Check(inst.QueryPasscodeProtection(), "reading the passcode protection");
    const auto writes = ChangedWrites(inst, *ch, o.pairs);
    std::string guarded;
    for (const auto& w : writes) {
        if (w.guarded) {
            guarded += (guarded.empty() ? "" : ", ") + w.item;
        }
    }
    // With a protected change among them, all are written unlocked: a missing passcode then
    // leaves the channel as it was.
    auto writeAll = [&] {
        for (const auto& w : writes) {
            s.Require(w.write, "writing the " + w.item + " of " + what);
        }
    };
    if (guarded.empty()) {
        writeAll();
    } else {
        s.Unlocked("the " + guarded + " of " + what, writeAll);
    }
    // What the instrument kept, read afresh.
    s.Require([&] { return ch->QueryInfo(); }, "reading back " + what);
    ch->Changed(false);
    ch->Enabled(ChannelIsOn(inst, static_cast<int16_t>(o.channel)));
    Show(out, *ch);
}

}  // namespace

void AddChannelCommand(CLI::App& app, Commands& commands) {
    auto o = std::make_shared<ChannelOptions>();
    auto* sub = app.add_subcommand("channel", "Show a channel's settings, or change them");
    sub->add_option("CH", o->channel, "Channel number, 1 to " + std::to_string(kMaxChannels))
        ->required()
        ->check(CLI::PositiveNumber);
    commands.push_back({sub, true, [o](Session* s, const Output& out) { RunShow(*s, out, *o); }});

    auto* set = sub->add_subcommand(
        "set",
        "Change settings: conversion (ITS, ITS5, CVD, PT, TRES, RPRT, RTHM, V, or a "
        "thermocouple letter), coefficients by name (RTPW, A4, R0, C0, ...), serial, caldate, "
        "resolution, rjc, rjctemp, probelock, minop, maxop");
    set->add_option("PAIRS", o->pairs, "NAME VALUE [NAME VALUE ...]")->required();
    commands.push_back({set, true, [o](Session* s, const Output& out) { RunSet(*s, out, *o); }});
}

}  // namespace vesk::cli
