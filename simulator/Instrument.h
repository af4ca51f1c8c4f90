#pragma once
// A simulated 4710: two PRT-style modules of one channel each, answering every command of the
// protocol table from a model of the instrument's settings, probes, calibration, logs and a
// slowly drifting bath. Thread-safe: several links may share one instrument.
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Faults.h"
#include "simulator/InstrumentState.h"
#include "simulator/SimOptions.h"

namespace vesk::comm {
struct CommandLine;
struct SettingCommand;
}  // namespace vesk::comm

namespace vesk::sim {

class RequestArgs;

// What the instrument does with one request line: the reply lines (without terminators),
// how long it waits before the first, and whether the link drops afterwards.
struct Exchange {
    std::vector<std::string> lines;
    std::chrono::milliseconds delay{0};
    bool dropLink = false;
};

class Instrument {
  public:
    // An instrument of its own. Throws std::runtime_error when the data file is unusable.
    static std::shared_ptr<Instrument> Create(const SimOptions& options);
    // The one instrument on options.port in this process, made on first use; a later call
    // with reset set resets it.
    static std::shared_ptr<Instrument> ForPort(const SimOptions& options);
    // Saves and forgets the per-port instruments.
    static void ReleaseAll();

    ~Instrument();
    Instrument(const Instrument&) = delete;
    Instrument& operator=(const Instrument&) = delete;

    Exchange Handle(std::string_view line);

    void InjectFault(const Fault& fault);
    void ClearFaults();
    size_t PendingFaults() const;
    // Requests handled so far; the next one is RequestCount() + 1.
    uint64_t RequestCount() const;

    // Back to the data file's state (locked, measuring as the data says).
    void Reset();
    // Saves what is not saved yet (after a save that failed).
    void Save();
    // Why the last save failed, empty when it worked.
    std::string LastSaveError() const;
    const std::string& StatePath() const { return statePath_; }
    int32_t Port() const { return options_.port; }

    // The front panel's log key: one demand-log reading per channel that is on. False when
    // the log is full.
    bool LogOnDemand();
    bool Unlocked() const;
    InstrumentState State() const;
    void Modify(const std::function<void(InstrumentState&)>& change);
    // The bath temperature at a channel's probe now, in degrees Celsius.
    double TemperatureAt(int32_t channel) const;

  private:
    explicit Instrument(const SimOptions& options);

    using Reply = std::optional<std::vector<std::string>>;

    InstrumentState FreshState() const;
    void SeedLogs(InstrumentState& state) const;
    // False when the state file could not take the state (saveError_ says why).
    bool SaveLocked();
    StateFile::Lock FileLock() const;
    // What another process saved since, taken up before this one works on the state.
    void TakeUpSaved();
    std::optional<Fault> TakeFault(int32_t id);
    std::vector<std::string> Execute(const comm::CommandLine& command,
                                     const comm::SettingCommand* setting);
    // The request handlers by group, one source each under requests/; each answers the
    // identifiers of its group and leaves the rest (nullopt).
    std::vector<std::string> Dispatch(int32_t id, const RequestArgs& args, double now);
    Reply SystemRequest(int32_t id, const RequestArgs& args, double now);
    Reply PasscodeRequest(int32_t id, const RequestArgs& args, double now);
    Reply MeasurementRequest(int32_t id, const RequestArgs& args, double now);
    Reply ScanRequest(int32_t id, const RequestArgs& args, double now);
    Reply CalibrationRequest(int32_t id, const RequestArgs& args, double now);
    Reply ChannelRequest(int32_t id, const RequestArgs& args, double now);
    Reply LogRequest(int32_t id, const RequestArgs& args, double now);
    bool TakeDemandReadings(double now);
    std::vector<std::string> Transfer(const RequestArgs& args, const std::vector<Reading>& log,
                                      std::optional<int32_t> label);

    double NowSeconds() const;
    double CelsiusAt(int32_t channel, double seconds) const;
    Reading ReadingAt(int32_t channel, double seconds) const;
    void CatchUpAutoLog(double now);
    double LatestReadingTime(double now) const;
    bool NewReadingReady(double now);
    ChannelState& ChannelArg(const RequestArgs& args, bool optional = false);
    int32_t ChannelNumber(const ChannelState& ch) const;
    void RequireOn(const ChannelState& ch) const;
    void RequireUnlocked(std::string_view what) const;
    std::vector<CalPoint>& SelectedRange();

    SimOptions options_;
    std::string statePath_;
    std::unique_ptr<StateFile> file_;  // null when the state lives in memory only
    mutable std::mutex mutex_;
    InstrumentState state_;
    bool unlocked_ = false;
    std::string selectedRange_;
    double lastReportedReading_ = -1;  // time of the last reading setting 15 announced
    uint64_t requests_ = 0;
    std::deque<Fault> faults_;
    bool dirty_ = false;
    std::string saveError_;
};

}  // namespace vesk::sim
