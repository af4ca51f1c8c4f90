#pragma once
// Everything a simulated 4710 remembers between runs, and its JSON form.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vesk::sim {

// Log and clock times are the instrument's wall-clock time as seconds since 1970-01-01
// 00:00:00 of that clock (no time zone: the instrument has none).
struct Reading {
    int64_t time = 0;
    int32_t channel = 1;
    int32_t label = 1;
    double value = 0;
    std::string unit = "C";
};

struct ProbeState {
    std::string serial;
    std::string calDate = "2024,1,1";
    std::string conversion = "ITS";
    bool locked = false;
    std::map<std::string, double> params;
};

// The bath the probe sits in: a slow sine around a base temperature, plus noise.
struct Drift {
    double base = 25.0;
    double amplitude = 0.05;
    double periodSeconds = 900;
    double noise = 0.0005;
};

struct ChannelState {
    bool on = true;
    int32_t resolution = -1;  // -1 automatic, else 0 to 3 digits
    ProbeState probe;
    Drift drift;
};

struct CalPoint {
    double reference = 0;
    double value = 0;
};

struct LogSeed {
    int32_t count = 0;
    std::string start = "2024-01-01T00:00:00";
    int32_t stepSeconds = 60;
    std::vector<int32_t> labels{1};
};

// The calibration ranges, in the order the instrument lists them.
inline const std::vector<std::string>& CalibrationRanges() {
    static const std::vector<std::string> kRanges = {"L75_OHMS", "LO_OHMS", "MED_OHMS", "HI_OHMS",
                                                     "MV"};
    return kRanges;
}
inline constexpr int32_t kMaxCalPoints = 4;
inline constexpr int32_t kMaxLabels = 25;
inline constexpr size_t kMaxLabelLength = 8;

struct InstrumentState {
    std::string maker = "Vesk Scientific";
    std::string model = "4710";
    std::string serial = "A47100";
    std::string firmware = "1.10";
    std::string passcode;  // empty: no protection
    bool protectConversion = true;
    std::string units = "C";
    int32_t interval = 0;  // 0 automatic, else seconds
    int32_t scanMode = 0;
    std::vector<int32_t> scanList;
    int32_t scanSeqDelay = 0;
    bool autoPower = false;
    bool serialDisabled = false;
    bool measuring = true;
    int64_t stoppedAt = 0;  // when measuring stopped; readings hold that moment's values
    std::string calDate = "2024,1,1";
    std::map<std::string, std::vector<CalPoint>> calibration;
    std::vector<ChannelState> channels;
    std::vector<std::string> labels{"DEMAND"};
    int32_t currentLabel = 1;
    int32_t demandCapacity = 1000;
    int32_t autoCapacity = 2000;
    std::vector<Reading> demandLog;
    std::vector<Reading> autoLog;
    int64_t autoLogNext = 0;  // the next automatic log time, 0 until measuring is seen
    std::map<std::string, LogSeed> seedLogs;  // "demand", "auto": readings a fresh state gets
};

// Parses a state or data file's text; throws std::runtime_error naming what is wrong.
InstrumentState StateFromJson(const std::string& text);
std::string StateToJson(const InstrumentState& state);

// The file a state is kept in between runs, shared by every process that simulates the same
// port. A change is a read-modify-write under an exclusive lock (flock on "<file>.lock"): the
// state is read again when another process saved it, and a save goes to a temporary file of
// its own, reaches the disk, and then replaces the file in one step.
class StateFile {
  public:
    explicit StateFile(std::string path);
    ~StateFile();
    StateFile(const StateFile&) = delete;
    StateFile& operator=(const StateFile&) = delete;

    // Holds the lock while it lives. Without a lock file (a folder that cannot be written)
    // it holds nothing; the save then says why it failed.
    class Lock {
      public:
        explicit Lock(int fd);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        int fd_;
    };
    Lock Acquire() const { return Lock(lockFd_); }

    // The saved state when the file is new to this object (absent: nullopt). Throws
    // std::runtime_error when the file is damaged, after moving it aside to "<file>.bad".
    std::optional<InstrumentState> LoadIfChanged();
    // Throws std::runtime_error naming the file and why it could not be written.
    void Save(const InstrumentState& state);

  private:
    struct Stamp {
        uint64_t device = 0, inode = 0, size = 0;
        int64_t modified = 0;
        bool operator==(const Stamp&) const = default;
    };
    std::optional<Stamp> Current() const;

    std::string path_;
    int lockFd_ = -1;
    std::optional<Stamp> seen_;  // the file as last read or written here
};

// "2024-03-01T09:00:00" <-> instrument seconds.
int64_t ParseClockText(const std::string& text);
std::string ClockText(int64_t seconds);

}  // namespace vesk::sim
