#pragma once
// The recorder: a database, one InstrumentRecorder per configured instrument and, where asked
// for, an endpoint that shares the instrument with other programs while it records.
#include <memory>
#include <string>
#include <vector>

#include "recorder/Config.h"
#include "recorder/InstrumentRecorder.h"
#include "recorder/Store.h"

namespace vesk::rec {

class Endpoint;

class Recorder {
  public:
    // Throws AutomationError for a configuration that cannot work.
    explicit Recorder(RecorderConfig config, Log log = {});
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // Opens the database (taking it for this recorder), starts every instrument's thread and
    // endpoint. Throws AutomationError; nothing keeps running then.
    void Start();
    // Stops the instruments and endpoints, commits everything and ends the run. Throws
    // AutomationError when readings could not be stored.
    void Stop();
    bool Running() const { return store_ != nullptr; }

    const RecorderConfig& Config() const { return config_; }
    // The endpoint of each instrument ("" when not shared), in configuration order.
    std::vector<std::string> Endpoints() const;
    // Rounds of readings taken so far (in this run, or the last), all instruments together.
    uint64_t Rounds() const;
    Store& Database() { return *store_; }

  private:
    RecorderConfig config_;
    Log log_;
    std::unique_ptr<Store> store_;
    std::vector<std::unique_ptr<InstrumentRecorder>> instruments_;
    std::vector<std::unique_ptr<Endpoint>> endpoints_;
    uint64_t stoppedRounds_ = 0;
};

}  // namespace vesk::rec
