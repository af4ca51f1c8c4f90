#pragma once
// Where the recorder publishes: an MQTT broker (readings, and each instrument's status with a
// last will) and a Prometheus /metrics address. Both are off unless configured.
#include <chrono>
#include <cstdint>
#include <string>

namespace vesk::rec {

using Millis = std::chrono::milliseconds;

struct MqttConfig {
    bool enabled = false;
    std::string host = "127.0.0.1";
    int32_t port = 1883;
    std::string topicPrefix = "vesk4710";
    std::string clientId;  // empty: vesk4710-<host name>; the instrument's name is appended
    std::string username;
    std::string password;  // never logged, traced or shown
    bool tls = false;
    std::string caFile;    // with tls; empty: the system's certificates
    std::string certFile;  // client certificate and key, both or neither
    std::string keyFile;
    Millis keepAlive{30000};
};

struct PrometheusConfig {
    bool enabled = false;
    std::string listen = "127.0.0.1:9471";  // host:port; port 0 takes a free one
};

struct ListenAddress {
    std::string host;
    int32_t port = 0;
};

// "host:port" or "[v6]:port". Throws AutomationError naming what.
ListenAddress ParseListen(const std::string& text, const std::string& what);

// Throws AutomationError naming the key of the first wrong value.
void ValidatePublishing(const MqttConfig& mqtt, const PrometheusConfig& prometheus);

}  // namespace vesk::rec
