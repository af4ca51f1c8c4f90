#include "recorder/Config.h"

#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <set>

#include "vesk4710/support/AutomationError.h"

namespace vesk::rec {

namespace {

constexpr const char* kSource = "vesk4710 recorder";

[[noreturn]] void Wrong(const std::string& what) {
    throw AutomationError(kErrInvalidProcedureCall, what, kSource);
}

bool IsNameChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.';
}

// Every key of a table must be one we know: a misspelt key would silently do nothing.
void OnlyKeys(const toml::table& table, std::initializer_list<std::string_view> known,
              const std::string& where) {
    for (const auto& [key, value] : table) {
        if (std::find(known.begin(), known.end(), key.str()) == known.end()) {
            Wrong(where + ": unknown key '" + std::string(key.str()) + "'");
        }
    }
}

template <typename T>
T Get(const toml::table& table, std::string_view key, const std::string& where, T fallback) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
        return fallback;
    }
    if (auto value = node->value_exact<T>()) {
        return *value;
    }
    Wrong(where + "." + std::string(key) + ": wrong type");
}

Millis GetDuration(const toml::table& table, std::string_view key, const std::string& where,
                   Millis fallback, bool allowNew = false) {
    const toml::node* node = table.get(key);
    const std::string name = where + "." + std::string(key);
    if (node == nullptr) {
        return fallback;
    }
    if (auto text = node->value_exact<std::string>()) {
        return ParseDuration(*text, name, allowNew);
    }
    if (auto number = node->value<double>()) {
        return ParseDuration(std::to_string(*number), name, allowNew);
    }
    Wrong(name + ": give a duration such as \"1s\" or \"500ms\"");
}

}  // namespace

Millis ParseDuration(std::string_view text, const std::string& what, bool allowNew) {
    if (allowNew && text == "new") {
        return Millis{0};
    }
    double number = 0;
    const char* end = text.data() + text.size();
    auto [rest, ec] = std::from_chars(text.data(), end, number);
    const std::string_view unit(rest, static_cast<size_t>(end - rest));
    double scale = 0;
    if (unit.empty() || unit == "s") {
        scale = 1000;
    } else if (unit == "ms") {
        scale = 1;
    } else if (unit == "m" || unit == "min") {
        scale = 60000;
    } else if (unit == "h") {
        scale = 3600000;
    }
    const double ms = number * scale;
    if (ec != std::errc() || scale == 0 || !std::isfinite(ms) || ms < 1 || ms > 86400000) {
        Wrong(what + ": '" + std::string(text) + "' is no duration from 1ms to 24h (such as 1s, " +
              "500ms, 2m" + (allowNew ? ", or new" : "") + ")");
    }
    return Millis{static_cast<int64_t>(std::llround(ms))};
}

void Validate(const RecorderConfig& config) {
    if (config.database.empty()) {
        Wrong("no database is given (--db, or database in the configuration file)");
    }
    if (config.instruments.empty()) {
        Wrong("no instrument to record");
    }
    std::set<std::string> names;
    std::set<std::string> serves;
    std::set<std::string> devices;
    for (const InstrumentConfig& i : config.instruments) {
        const std::string where = "instrument '" + i.name + "'";
        if (i.name.empty() || i.name.size() > 64 ||
            !std::all_of(i.name.begin(), i.name.end(), IsNameChar)) {
            Wrong("instrument name '" + i.name + "': use 1 to 64 letters, digits, - _ or .");
        }
        if (!names.insert(i.name).second) {
            Wrong(where + " is named twice");
        }
        if (i.device.empty()) {
            Wrong(where + ": no device");
        }
        if (!devices.insert(i.device).second) {
            Wrong(where + ": the device " + i.device + " is recorded twice");
        }
        for (int32_t c : i.channels) {
            if (c < 1 || c > 64) {
                Wrong(where + ": channel " + std::to_string(c) + " is out of range");
            }
        }
        if (i.every.count() != 0 && i.every < Millis{10}) {
            Wrong(where + ": the interval must be at least 10ms");
        }
        if (!i.serve.empty() && !serves.insert(i.serve).second) {
            Wrong(where + ": the endpoint " + i.serve + " is served twice");
        }
    }
    if (config.retry.first.count() <= 0 || config.retry.max < config.retry.first) {
        Wrong("retry: first must be positive and no more than max");
    }
}

RecorderConfig LoadConfig(const std::string& path) {
    toml::table root;
    try {
        root = toml::parse_file(path);
    } catch (const toml::parse_error& e) {
        const auto& at = e.source().begin;
        Wrong(path + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " +
              std::string(e.description()));
    }
    RecorderConfig config;
    try {
        OnlyKeys(root, {"database", "retry", "instrument"}, path);
        config.database = Get<std::string>(root, "database", path, "");
        if (!config.database.empty() && std::filesystem::path(config.database).is_relative()) {
            config.database =
                (std::filesystem::path(path).parent_path() / config.database).lexically_normal();
        }
        if (const toml::table* retry = root["retry"].as_table()) {
            OnlyKeys(*retry, {"first", "max"}, path + ": retry");
            config.retry.first = GetDuration(*retry, "first", "retry", config.retry.first);
            config.retry.max = GetDuration(*retry, "max", "retry", config.retry.max);
        }
        const toml::array* list = root["instrument"].as_array();
        if (list == nullptr && root.contains("instrument")) {
            Wrong(path + ": write each instrument as [[instrument]]");
        }
        for (size_t n = 0; list != nullptr && n < list->size(); ++n) {
            const toml::table* t = list->get(n)->as_table();
            const std::string where = "instrument[" + std::to_string(n + 1) + "]";
            if (t == nullptr) {
                Wrong(path + ": " + where + " is no table");
            }
            OnlyKeys(*t, {"name", "device", "baud", "channels", "every", "timeout", "serve"},
                     path + ": " + where);
            InstrumentConfig i;
            i.name = Get<std::string>(*t, "name", where, "");
            i.device = Get<std::string>(*t, "device", where, "");
            i.baud = static_cast<int32_t>(Get<int64_t>(*t, "baud", where, 9600));
            if (const toml::node* channels = t->get("channels")) {
                const toml::array* a = channels->as_array();
                if (a == nullptr) {
                    Wrong(where + ".channels: give a list such as [1, 2]");
                }
                for (const toml::node& c : *a) {
                    auto value = c.value_exact<int64_t>();
                    if (!value) {
                        Wrong(where + ".channels: channel numbers only");
                    }
                    i.channels.push_back(static_cast<int32_t>(*value));
                }
            }
            i.every = GetDuration(*t, "every", where, i.every, true);
            i.timeout = GetDuration(*t, "timeout", where, i.timeout);
            i.serve = Get<std::string>(*t, "serve", where, "");
            config.instruments.push_back(std::move(i));
        }
        Validate(config);
    } catch (const AutomationError& e) {
        if (e.Description().rfind(path, 0) == 0) {
            throw;
        }
        Wrong(path + ": " + e.Description());
    }
    return config;
}

}  // namespace vesk::rec
