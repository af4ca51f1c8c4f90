#pragma once
// Reading the recorder's TOML file: every section checks its keys and value types the same way,
// and every complaint names the key.
#include <toml++/toml.h>

#include <initializer_list>
#include <string>
#include <string_view>

#include "recorder/Config.h"

namespace vesk::rec {

// Throws the AutomationError of a wrong configuration value.
[[noreturn]] void WrongConfig(const std::string& what);

// Every key of a table must be one we know: a misspelt key would silently do nothing.
void OnlyKeys(const toml::table& table, std::initializer_list<std::string_view> known,
              const std::string& where);

Millis GetDuration(const toml::table& table, std::string_view key, const std::string& where,
                   Millis fallback, bool allowNew = false);

template <typename T>
T Get(const toml::table& table, std::string_view key, const std::string& where, T fallback) {
    const toml::node* node = table.get(key);
    if (node == nullptr) {
        return fallback;
    }
    if (auto value = node->value_exact<T>()) {
        return *value;
    }
    WrongConfig(where + "." + std::string(key) + ": wrong type");
}

}  // namespace vesk::rec

namespace vesk::rec {

// The [mqtt] and [prometheus] sections of the file at path (files named relative to it).
void ReadPublishing(const toml::table& root, const std::string& path, MqttConfig& mqtt,
                    PrometheusConfig& prometheus);

}  // namespace vesk::rec
