#pragma once
// The recorder's /metrics for Prometheus, in the text exposition format: the latest reading of
// each channel (and its age), counters of readings and errors, and the state of each
// instrument's link and MQTT connection. Served on its own thread from its own connection to
// the database, so a slow scraper never holds up recording.
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "recorder/Store.h"

namespace httplib {
class Server;
}

namespace vesk::rec {

class MqttPublisher;

class MetricsServer {
  public:
    struct Instrument {
        std::string name;
        const MqttPublisher* mqtt = nullptr;  // when it publishes to MQTT
    };

    // Takes the address at once; throws AutomationError when it cannot. The recorder's store
    // (for the error counters) and the publishers must outlive the server.
    MetricsServer(const std::string& listen, const Store& store,
                  std::vector<Instrument> instruments);
    ~MetricsServer();
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

    // host:port, with the port taken when 0 was asked for.
    const std::string& Address() const { return address_; }
    std::string Render();

  private:
    const Store& store_;
    std::vector<Instrument> instruments_;
    std::unique_ptr<Store> reader_;
    std::unique_ptr<httplib::Server> server_;
    std::string address_;
    std::thread thread_;
};

}  // namespace vesk::rec
