#pragma once
// One instrument's recording: its own thread and library objects, a round of readings at each
// interval (or at each new reading), and what happens when something fails: the failure is
// logged and stored, a gap is opened with the reason, and the instrument is found again
// after a growing pause until readings flow again, which closes the gap.
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "recorder/Config.h"
#include "recorder/Store.h"

namespace vesk {
class CVesk4710;
class CVesk4710Channel;
class Host;
}  // namespace vesk

namespace vesk::rec {

class SharedLink;
class SharedPort;

using Log = std::function<void(const std::string&)>;

class InstrumentRecorder {
  public:
    // The store must have begun its run.
    InstrumentRecorder(InstrumentConfig config, Store& store, RetryPolicy retry, Log log);
    ~InstrumentRecorder();
    InstrumentRecorder(const InstrumentRecorder&) = delete;
    InstrumentRecorder& operator=(const InstrumentRecorder&) = delete;

    void Start();
    // Ends the round or wait in progress and the thread; returns when it has ended.
    void Stop();
    const InstrumentConfig& Config() const { return config_; }
    const std::shared_ptr<SharedLink>& Link() const { return link_; }
    // Rounds completed so far.
    uint64_t Rounds() const { return rounds_; }

  private:
    struct Channel {
        std::shared_ptr<CVesk4710Channel> object;
        Source source;
    };

    void Run();
    void Connect();
    void ReadContext();
    void WaitForNewReading();
    void Round();
    void Failed(const std::string& what);
    // Sleeps until the deadline; false when stopping.
    bool SleepUntil(std::chrono::steady_clock::time_point deadline);
    std::string Say(const std::string& text) const;

    InstrumentConfig config_;
    Store& store_;
    RetryPolicy retry_;
    Log log_;
    int64_t id_ = 0;
    std::shared_ptr<SharedLink> link_;
    std::shared_ptr<SharedPort> port_;
    std::shared_ptr<Host> host_;
    std::shared_ptr<CVesk4710> instrument_;
    std::vector<Channel> channels_;
    std::string serial_;
    uint64_t seenClientWrites_ = 0;
    std::chrono::steady_clock::time_point contextRead_;
    bool gapOpen_ = false;
    std::atomic<uint64_t> rounds_{0};

    std::mutex mutex_;
    std::condition_variable wake_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

}  // namespace vesk::rec
