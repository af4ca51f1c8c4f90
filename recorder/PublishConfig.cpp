#include "recorder/PublishConfig.h"

#include <filesystem>

#include "components/comm/DeviceAddress.h"
#include "components/comm/Text.h"
#include "recorder/ConfigFields.h"

namespace vesk::rec {

namespace {

std::string Beside(const std::string& configPath, const std::string& file) {
    if (file.empty() || std::filesystem::path(file).is_absolute()) {
        return file;
    }
    return (std::filesystem::path(configPath).parent_path() / file).lexically_normal().string();
}

void Readable(const std::string& file, const std::string& key) {
    std::error_code ec;
    if (!file.empty() && !std::filesystem::is_regular_file(file, ec)) {
        WrongConfig(key + ": there is no file '" + file + "'");
    }
}

}  // namespace

ListenAddress ParseListen(const std::string& text, const std::string& what) {
    ListenAddress a;
    if (const auto split = comm::SplitHostPort(text)) {
        a.host = split->host;
        const auto port = comm::ParseWhole<int32_t>(split->port);
        a.port = port.value_or(-1);
        if (port && a.port >= 0 && a.port <= 65535) {
            return a;
        }
    }
    WrongConfig(what + ": '" + text + "' is no address such as 127.0.0.1:9471");
}

void ValidatePublishing(const MqttConfig& mqtt, const PrometheusConfig& prometheus) {
    if (mqtt.enabled) {
        if (mqtt.host.empty()) {
            WrongConfig("mqtt.host: no broker is named");
        }
        if (mqtt.port < 1 || mqtt.port > 65535) {
            WrongConfig("mqtt.port: " + std::to_string(mqtt.port) + " is no port (1 to 65535)");
        }
        const std::string& p = mqtt.topicPrefix;
        if (p.empty() || p.size() > 200 || p.front() == '/' || p.back() == '/' ||
            p.find_first_of("+#") != std::string::npos || p.find("//") != std::string::npos) {
            WrongConfig("mqtt.topic_prefix: '" + p +
                        "' must be a topic without wildcards (+ #) or empty levels");
        }
        if (mqtt.clientId.size() > 64) {
            WrongConfig("mqtt.client_id: use at most 64 characters");
        }
        if (!mqtt.password.empty() && mqtt.username.empty()) {
            WrongConfig("mqtt.password: give mqtt.username with it");
        }
        if (!mqtt.tls && !(mqtt.caFile.empty() && mqtt.certFile.empty() && mqtt.keyFile.empty())) {
            WrongConfig("mqtt.tls: certificate files are given but tls is not true");
        }
        if (mqtt.certFile.empty() != mqtt.keyFile.empty()) {
            WrongConfig("mqtt.cert_file: give mqtt.cert_file and mqtt.key_file together");
        }
        Readable(mqtt.caFile, "mqtt.ca_file");
        Readable(mqtt.certFile, "mqtt.cert_file");
        Readable(mqtt.keyFile, "mqtt.key_file");
        if (mqtt.keepAlive < Millis{5000} || mqtt.keepAlive > Millis{3600000}) {
            WrongConfig("mqtt.keep_alive: give 5s to 1h");
        }
    }
    if (prometheus.enabled) {
        ParseListen(prometheus.listen, "prometheus.listen");
    }
}

void ReadPublishing(const toml::table& root, const std::string& path, MqttConfig& mqtt,
                    PrometheusConfig& prometheus) {
    if (root.contains("mqtt") && !root["mqtt"].is_table()) {
        WrongConfig("mqtt: write it as a [mqtt] section");
    }
    if (const toml::table* t = root["mqtt"].as_table()) {
        OnlyKeys(*t,
                 {"enabled", "host", "port", "topic_prefix", "client_id", "username", "password",
                  "tls", "ca_file", "cert_file", "key_file", "keep_alive"},
                 "mqtt");
        mqtt.enabled = Get<bool>(*t, "enabled", "mqtt", true);
        mqtt.host = Get<std::string>(*t, "host", "mqtt", mqtt.host);
        mqtt.port = static_cast<int32_t>(Get<int64_t>(*t, "port", "mqtt", mqtt.port));
        mqtt.topicPrefix = Get<std::string>(*t, "topic_prefix", "mqtt", mqtt.topicPrefix);
        mqtt.clientId = Get<std::string>(*t, "client_id", "mqtt", "");
        mqtt.username = Get<std::string>(*t, "username", "mqtt", "");
        mqtt.password = Get<std::string>(*t, "password", "mqtt", "");
        mqtt.tls = Get<bool>(*t, "tls", "mqtt", false);
        mqtt.caFile = Beside(path, Get<std::string>(*t, "ca_file", "mqtt", ""));
        mqtt.certFile = Beside(path, Get<std::string>(*t, "cert_file", "mqtt", ""));
        mqtt.keyFile = Beside(path, Get<std::string>(*t, "key_file", "mqtt", ""));
        mqtt.keepAlive = GetDuration(*t, "keep_alive", "mqtt", mqtt.keepAlive);
    }
    if (root.contains("prometheus") && !root["prometheus"].is_table()) {
        WrongConfig("prometheus: write it as a [prometheus] section");
    }
    if (const toml::table* t = root["prometheus"].as_table()) {
        OnlyKeys(*t, {"enabled", "listen"}, "prometheus");
        prometheus.enabled = Get<bool>(*t, "enabled", "prometheus", true);
        prometheus.listen = Get<std::string>(*t, "listen", "prometheus", prometheus.listen);
    }
}

}  // namespace vesk::rec
