#pragma once
// The recorder's database: readings, gaps, what each instrument is doing, and the runs of the
// recorder, in one SQLite file (write-ahead log). Instrument threads hand their records to
// Append and friends; one writer thread commits them in batches at least every
// kCommitInterval, so a crash or power cut loses at most that much.
//
// Each reading gets a sequence number that never changes and only grows, and publishers keep
// how far they have published in the outputs table (PublishedUpTo / SetPublishedUpTo).
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <variant>
#include <vector>

namespace SQLite {
class Database;
}

namespace vesk::rec {

// Microseconds since the Unix epoch, UTC.
using TimeUs = int64_t;
TimeUs NowUs();
// This computer's name ("" when it has none).
std::string HostName();

inline constexpr std::chrono::milliseconds kCommitInterval{250};
inline constexpr int kSchemaVersion = 1;

// What a reading was taken from and how it is to be read.
struct Source {
    std::string instrumentSerial;
    int32_t channel = 0;
    std::string probeSerial;
    std::string conversion;  // the instrument's conversion code ("ITS", "K", ...)
    std::string unit;        // C, F, K, OHM, mV
    auto Key() const { return std::tie(instrumentSerial, channel, probeSerial, conversion, unit); }
    bool operator<(const Source& other) const { return Key() < other.Key(); }
};

struct Reading {
    int64_t instrument = 0;  // the instrument's row (Store::Instrument)
    Source source;
    TimeUs time = 0;
    std::string text;  // as the instrument sent it
    double value = 0;
};

// How an instrument is doing, as `record status` shows it.
struct InstrumentStatus {
    std::string name;
    std::string device;
    std::string serial;
    std::string state;  // recording, gap, stopped
    TimeUs since = 0;   // this run's start for it
    int64_t readings = 0;
    TimeUs lastReading = 0;
    std::string lastError;
    TimeUs lastErrorTime = 0;
    std::optional<TimeUs> gapSince;
    std::string gapReason;
};

struct RunInfo {
    int64_t id = 0;
    TimeUs started = 0;
    std::optional<TimeUs> stopped;
    int64_t pid = 0;
    std::string host;
};

class Store {
  public:
    // Opens or creates the database and brings its schema up to date. Throws AutomationError
    // (a file that is no database, one made by a newer program, no room).
    explicit Store(const std::string& path, bool readOnly = false);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    const std::string& Path() const { return path_; }
    int SchemaVersion() const;

    // ---- recording (one recorder per database: BeginRun takes a lock beside the file) ----
    // Starts a run and its writer thread; throws AutomationError when another recorder
    // holds the database. Gaps left open by a run that ended without stopping are closed at
    // its last reading.
    int64_t BeginRun();
    // Commits everything queued, closes open gaps and ends the run.
    void EndRun();
    // The instrument's row, made on first use; the status row starts this run.
    int64_t Instrument(const std::string& name, const std::string& device);

    // Queued for the writer. Append returns false when the queue is full (the writer cannot
    // keep up or the disk refuses): the caller records the loss as a gap.
    bool Append(Reading reading);
    void SetSerial(int64_t instrument, const std::string& serial);
    void OpenGap(int64_t instrument, TimeUs since, const std::string& reason);
    void CloseGap(int64_t instrument, TimeUs until);
    // A gap already over (the link lent to a client for a while).
    void AddGap(int64_t instrument, TimeUs since, TimeUs until, const std::string& reason);
    void Error(int64_t instrument, TimeUs time, const std::string& text);

    // Blocks until everything queued so far is committed (or the writer reports an error).
    void Flush();
    // Adds a callback the writer calls after each commit with the highest sequence committed.
    void OnCommit(std::function<void(int64_t lastSequence, size_t readings)> callback);
    // The last error of the writer (empty when the last commit went through).
    std::string WriterError() const;
    // Errors passed to Error for the instrument since this Store was opened.
    uint64_t ErrorCount(int64_t instrument) const;

    // ---- for readers and publishers ----
    std::vector<InstrumentStatus> Status() const;
    std::optional<RunInfo> LastRun() const;
    int64_t PublishedUpTo(const std::string& output) const;
    void SetPublishedUpTo(const std::string& output, int64_t sequence);
    SQLite::Database& Db() { return *db_; }

    static constexpr size_t kMaxQueued = 500000;

  private:
    struct SerialOp {
        int64_t instrument;
        std::string serial;
    };
    struct GapOp {
        int64_t instrument;
        TimeUs since;
        std::optional<TimeUs> until;
        std::string reason;
        bool close = false;
    };
    struct ErrorOp {
        int64_t instrument;
        TimeUs time;
        std::string text;
    };
    using Op = std::variant<Reading, SerialOp, GapOp, ErrorOp>;

    void Migrate();
    void Push(Op op);
    void WriterLoop();
    // One transaction for the batch; throws on failure (nothing of it is kept).
    void Commit(const std::deque<Op>& batch, int64_t& lastSequence, size_t& readings);
    int64_t SourceId(const Source& source, int64_t instrument);

    std::string path_;
    std::unique_ptr<SQLite::Database> db_;
    int lockFd_ = -1;
    int64_t run_ = 0;
    std::map<std::pair<int64_t, Source>, int64_t> sources_;

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable done_;
    std::deque<Op> queue_;
    size_t queuedReadings_ = 0;
    uint64_t pushed_ = 0;
    uint64_t committed_ = 0;
    bool stopping_ = false;
    bool flushRequested_ = false;
    std::string writerError_;
    std::vector<std::function<void(int64_t, size_t)>> onCommit_;
    std::map<int64_t, uint64_t> errorCounts_;
    std::thread writer_;
    mutable std::mutex dbMutex_;  // the connection is used by the writer and by readers
};

}  // namespace vesk::rec
