// Late-bound literals and results, and how a channel prints.
#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "apps/vesk4710/Cli.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/support/DispatchBinder.h"

namespace vesk::cli {

namespace {

bool LooksLikeIsoDate(const std::string& t) {
    return t.size() >= 10 && t[4] == '-' && t[7] == '-';
}

std::string DateText(const Date& d) {
    return d.TimePart() == 0.0 ? d.IsoDate() : d.IsoDateTime();
}

}  // namespace

Variant ParseLiteral(const std::string& token, bool quoted) {
    if (quoted) {
        return Variant(token);
    }
    const std::string lower = Lower(token);
    if (lower == "nothing") {
        return Variant();
    }
    if (lower == "true" || lower == "false") {
        return Variant(lower == "true");
    }
    if (LooksLikeIsoDate(token)) {
        if (auto d = Date::ParseIso(token)) {
            return Variant(*d);
        }
        throw UsageError("\"" + comm::Printable(token, 60) + "\" is not a valid date (YYYY-MM-DD)");
    }
    if (auto i = ParseInteger(token)) {
        if (*i >= std::numeric_limits<int16_t>::min() &&
            *i <= std::numeric_limits<int16_t>::max()) {
            return Variant(static_cast<int16_t>(*i));
        }
        if (*i >= std::numeric_limits<int32_t>::min() &&
            *i <= std::numeric_limits<int32_t>::max()) {
            return Variant(static_cast<int32_t>(*i));
        }
        return Variant(static_cast<double>(*i));
    }
    if (auto d = ParseNumber(token)) {
        return Variant(*d);
    }
    // A bare word is a text, so that simple labels need no quotes on a shell.
    return Variant(token);
}

std::string VariantText(const Variant& value) {
    switch (value.Type()) {
        case VariantType::Empty:
            return "";
        case VariantType::Boolean:
            return value.AsBoolean() ? "true" : "false";
        case VariantType::Integer:
        case VariantType::Long:
            return std::to_string(value.AsLong());
        case VariantType::Double:
            return NumberString(value.AsDouble());
        case VariantType::Date:
            return DateText(value.AsDate());
        case VariantType::String:
            return value.AsString();
        case VariantType::Object: {
            auto object = value.AsObject();
            if (!object) {
                return "nothing";
            }
            std::string text = "<" + object->ClassName() + ">";
            if (auto* list = dynamic_cast<ListBox*>(object.get())) {
                for (const auto& item : list->Items()) {
                    text += "\n  " + item.text + " (" + std::to_string(item.data) + ")";
                }
            }
            return text;
        }
    }
    return "";
}

nlohmann::json VariantJson(const Variant& value) {
    switch (value.Type()) {
        case VariantType::Empty:
            return nullptr;
        case VariantType::Boolean:
            return value.AsBoolean();
        case VariantType::Integer:
        case VariantType::Long:
            return value.AsLong();
        case VariantType::Double:
            return value.AsDouble();
        case VariantType::Date:
            return DateText(value.AsDate());
        case VariantType::String:
            return value.AsString();
        case VariantType::Object: {
            auto object = value.AsObject();
            if (!object) {
                return nullptr;
            }
            nlohmann::json j = {{"object", object->ClassName()}};
            if (auto* list = dynamic_cast<ListBox*>(object.get())) {
                j["items"] = nlohmann::json::array();
                for (const auto& item : list->Items()) {
                    j["items"].push_back({{"text", item.text}, {"data", item.data}});
                }
            }
            return j;
        }
    }
    return nullptr;
}

std::vector<Coefficient> Coefficients(CVesk4710Channel& channel) {
    std::vector<Coefficient> out;
    auto probe = channel.Probe();
    if (!probe) {
        return out;
    }
    const int32_t type = probe->ConversionType();
    IConversion& conv = probe->ActiveConversion();
    // The format each family writes with: per index for Callendar-Van Dusen and PT100, one
    // for the rest.
    auto indexed = [&](const std::string& name, auto& set, int32_t i, bool perIndex = false) {
        out.push_back({name, [&set, i] { return set.Coefficients(i); },
                       [&set, i](double v) { set.Coefficients(i, v); },
                       [&conv, &set, i, perIndex]() -> std::string {
                           if (perIndex) {
                               return conv.ValueFormat(i);
                           }
                           return set.ValueFormat();
                       }});
    };
    switch (type) {
        case kConvITS90:
        case kConvITS90Subrange5: {
            out.push_back({"RTPW", [&conv] { return conv.RTPW(); },
                           [&conv](double v) { conv.RTPW(v); },
                           [&conv] { return conv.RTPWFormat(); }});
            IConversionRange& low = conv.LowRange();
            if (low.Range() != -1) {
                const char* names[] = {"A", "B"};
                for (int32_t i = 0; i < std::min(low.NumCoefficients(), 2); ++i) {
                    indexed(names[i] + std::to_string(low.Range()), low, i);
                }
            }
            // The instrument's subrange 5 has no high-range coefficients to read.
            IConversionRange& high = conv.HighRange();
            if (type == kConvITS90 && high.Range() != -1) {
                const char* names[] = {"A", "B", "C", "D"};
                for (int32_t i = 0; i < std::min(high.NumCoefficients(), 4); ++i) {
                    indexed(names[i], high, i);
                }
            }
            break;
        }
        case kConvCVD: {
            const char* names[] = {"R0", "A", "B", "C"};
            for (int32_t i = 0; i < 4; ++i) {
                indexed(names[i], conv, i, true);
            }
            break;
        }
        case kConvPT100:
            indexed("R0", conv, 0, true);
            break;
        case kConvThermistor:
            for (int32_t i = 0; i < conv.NumCoefficients(); ++i) {
                indexed("B" + std::to_string(i), conv, i);
            }
            break;
        case kConvThermocouple:
            for (int32_t i = 0; i < conv.NumCoefficients(); ++i) {
                indexed("C" + std::to_string(i), conv, i);
            }
            break;
        default:
            break;
    }
    return out;
}

namespace {

std::string ConversionLabel(CVesk4710Channel& channel) {
    auto probe = channel.Probe();
    const int32_t type = probe ? probe->ConversionType() : kConvNone;
    std::string name = ConversionTypeName(type);
    if (type == kConvThermocouple) {
        name += " " + ThermocoupleCode(probe->ActiveConversion().TCType());
    }
    return name;
}

}  // namespace

nlohmann::json ChannelJson(CVesk4710Channel& channel, bool full) {
    auto probe = channel.Probe();
    nlohmann::json j = {
        {"channel", channel.ActualChannel()},
        {"enabled", channel.Enabled()},
        {"serial", probe ? probe->Serial() : std::string()},
        {"conversionType", probe ? probe->ConversionType() : kConvNone},
        {"conversionName", ConversionLabel(channel)},
        {"resolution", channel.Resolution()},
    };
    if (full) {
        j["calDate"] = channel.CalDate().IsoDate();
        j["probeLock"] = channel.ProbeLock();
        j["probeType"] = channel.ProbeType();
        j["rjcType"] = channel.RJCType();
        j["rjcTemperature"] = channel.RJCTemperature();
        j["minop"] = channel.MINOP();
        j["maxop"] = channel.MAXOP();
        nlohmann::json coefficients = nlohmann::json::object();
        for (const auto& c : Coefficients(channel)) {
            coefficients[c.name] = c.get();
        }
        j["coefficients"] = coefficients;
    }
    return j;
}

void PrintChannel(const Output& out, CVesk4710Channel& channel, bool full) {
    auto probe = channel.Probe();
    const std::string resolution =
        channel.Resolution() == -1 ? "auto" : std::to_string(channel.Resolution());
    out.Line(fmt::format("Channel {}: {}, probe {}, {}, resolution {}", channel.ActualChannel(),
                         channel.Enabled() ? "on" : "off",
                         probe && !probe->Serial().empty() ? probe->Serial() : "-",
                         ConversionLabel(channel), resolution));
    if (!full) {
        return;
    }
    out.Line(fmt::format("  calibration date {}, probe lock {}, MINOP {}, MAXOP {}",
                         channel.CalDate().IsoDate(), channel.ProbeLock() ? "on" : "off",
                         channel.MINOP(), channel.MAXOP()));
    if (probe && probe->ConversionType() == kConvThermocouple) {
        out.Line(fmt::format("  reference junction {}, {}",
                             channel.RJCType() == RJC_INTERNAL ? "internal" : "external",
                             NumberString(channel.RJCTemperature())));
    }
    for (const auto& c : Coefficients(channel)) {
        out.Line(fmt::format("  {:<6} {}", c.name, NumberString(c.get())));
    }
}

}  // namespace vesk::cli
