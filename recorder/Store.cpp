#include "recorder/Store.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "vesk4710/support/AutomationError.h"

namespace vesk::rec {

namespace {

constexpr const char* kSource = "vesk4710 recorder";

// Step n brings a database from version n to n + 1; a new database runs them all.
constexpr std::array<const char*, kSchemaVersion> kMigrations = {
    R"sql(
CREATE TABLE runs(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    started_us INTEGER NOT NULL,
    stopped_us INTEGER,
    pid INTEGER NOT NULL,
    host TEXT NOT NULL);
CREATE TABLE instruments(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL UNIQUE,
    device TEXT NOT NULL,
    serial TEXT NOT NULL DEFAULT '',
    run_id INTEGER REFERENCES runs(id),
    since_us INTEGER,
    readings INTEGER NOT NULL DEFAULT 0,
    last_reading_us INTEGER,
    last_error TEXT NOT NULL DEFAULT '',
    last_error_us INTEGER);
CREATE TABLE sources(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    instrument_id INTEGER NOT NULL REFERENCES instruments(id),
    instrument_serial TEXT NOT NULL,
    channel INTEGER NOT NULL,
    probe_serial TEXT NOT NULL,
    conversion TEXT NOT NULL,
    unit TEXT NOT NULL,
    UNIQUE(instrument_id, instrument_serial, channel, probe_serial, conversion, unit));
CREATE TABLE readings(
    seq INTEGER PRIMARY KEY AUTOINCREMENT,
    source_id INTEGER NOT NULL REFERENCES sources(id),
    time_us INTEGER NOT NULL,
    value_text TEXT NOT NULL,
    value REAL);
CREATE INDEX readings_time ON readings(time_us);
CREATE INDEX readings_source_time ON readings(source_id, time_us);
CREATE TABLE gaps(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    instrument_id INTEGER NOT NULL REFERENCES instruments(id),
    run_id INTEGER REFERENCES runs(id),
    started_us INTEGER NOT NULL,
    ended_us INTEGER,
    reason TEXT NOT NULL);
CREATE INDEX gaps_instrument_time ON gaps(instrument_id, started_us);
CREATE TABLE outputs(
    name TEXT PRIMARY KEY,
    published_seq INTEGER NOT NULL DEFAULT 0,
    updated_us INTEGER);
CREATE VIEW readings_view AS
    SELECT r.seq, r.time_us, i.name AS instrument, s.instrument_serial, s.channel,
           s.probe_serial, s.conversion, s.unit, r.value_text, r.value
    FROM readings r JOIN sources s ON s.id = r.source_id JOIN instruments i ON i.id = s.instrument_id;
)sql",
};

[[noreturn]] void Raise(const std::string& what, const std::exception& e) {
    int32_t number = kErrDeviceIO;
    if (const auto* sql = dynamic_cast<const SQLite::Exception*>(&e)) {
        if (sql->getErrorCode() == SQLITE_FULL) {
            number = kErrDiskFull;
        } else if (sql->getErrorCode() == SQLITE_CANTOPEN || sql->getErrorCode() == SQLITE_PERM ||
                   sql->getErrorCode() == SQLITE_READONLY) {
            number = kErrPermissionDenied;
        }
    }
    throw AutomationError(number, what + ": " + e.what(), kSource);
}

std::optional<TimeUs> OptionalTime(const SQLite::Column& column) {
    if (column.isNull()) {
        return std::nullopt;
    }
    return column.getInt64();
}

std::string HostName() {
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0) {
        return "";
    }
    return name;
}

}  // namespace

TimeUs NowUs() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

Store::Store(const std::string& path, bool readOnly) : path_(path) {
    try {
        if (readOnly) {
            if (!std::filesystem::exists(path)) {
                throw AutomationError(kErrFileNotFound,
                                      "There is no recording database '" + path + "'", kSource);
            }
            // Read and write: a reader after a crash must be able to recover the write-ahead
            // log, or it would see the database as it was before the log.
            db_ = std::make_unique<SQLite::Database>(path, SQLite::OPEN_READWRITE);
        } else {
            db_ = std::make_unique<SQLite::Database>(path,
                                                     SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        }
        db_->setBusyTimeout(5000);
        if (!readOnly) {
            db_->exec("PRAGMA journal_mode=WAL");
            // Every commit reaches the disk before it counts as committed.
            db_->exec("PRAGMA synchronous=FULL");
        }
        db_->exec("PRAGMA foreign_keys=ON");
        const int version = SchemaVersion();
        if (version > kSchemaVersion) {
            throw AutomationError(kErrNotSupported,
                                  "The recording database '" + path + "' has schema version " +
                                      std::to_string(version) + ", newer than this program's " +
                                      std::to_string(kSchemaVersion) + ": use a newer vesk4710",
                                  kSource);
        }
        if (version < kSchemaVersion) {
            if (readOnly) {
                throw AutomationError(kErrNotSupported,
                                      "The recording database '" + path +
                                          "' is from an older version: run the recorder on it "
                                          "once to bring it up to date",
                                      kSource);
            }
            Migrate();
        }
    } catch (const AutomationError&) {
        throw;
    } catch (const std::exception& e) {
        Raise("Cannot open the recording database '" + path + "'", e);
    }
}

Store::~Store() {
    try {
        if (writer_.joinable()) {
            EndRun();
        }
    } catch (...) {
        // Nothing more can be done about it here; EndRun's caller hears of failures.
    }
    if (lockFd_ >= 0) {
        ::close(lockFd_);
    }
}

int Store::SchemaVersion() const {
    std::lock_guard lock(dbMutex_);
    return db_->execAndGet("PRAGMA user_version").getInt();
}

void Store::Migrate() {
    SQLite::Transaction transaction(*db_);
    for (int v = db_->execAndGet("PRAGMA user_version").getInt(); v < kSchemaVersion; ++v) {
        db_->exec(kMigrations[static_cast<size_t>(v)]);
        db_->exec("PRAGMA user_version=" + std::to_string(v + 1));
    }
    transaction.commit();
}

int64_t Store::BeginRun() {
    const std::string lockPath = path_ + ".lock";
    lockFd_ = ::open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lockFd_ < 0 || ::flock(lockFd_, LOCK_EX | LOCK_NB) != 0) {
        const int err = errno;
        throw AutomationError(err == EWOULDBLOCK ? kErrPermissionDenied : kErrDeviceIO,
                              "Another recorder is writing to '" + path_ +
                                  "' (or its lock file cannot be made: " + std::strerror(err) + ")",
                              kSource);
    }
    try {
        std::lock_guard lock(dbMutex_);
        const TimeUs now = NowUs();
        SQLite::Transaction transaction(*db_);
        // A run that never stopped (killed, power lost): its open gaps end now, and the time
        // since its instruments' last readings is a gap of its own.
        SQLite::Statement crashed(*db_, "SELECT id FROM runs WHERE stopped_us IS NULL");
        while (crashed.executeStep()) {
            const int64_t run = crashed.getColumn(0).getInt64();
            SQLite::Statement gap(
                *db_,
                "INSERT INTO gaps(instrument_id, run_id, started_us, ended_us, "
                "reason) SELECT id, run_id, COALESCE(last_reading_us, since_us), ?, "
                "'the recorder ended without stopping (killed or power lost)' "
                "FROM instruments WHERE run_id = ? AND NOT EXISTS (SELECT 1 FROM "
                "gaps g WHERE g.instrument_id = instruments.id AND g.ended_us IS NULL)");
            gap.bind(1, now);
            gap.bind(2, run);
            gap.exec();
        }
        SQLite::Statement close(*db_, "UPDATE gaps SET ended_us = ? WHERE ended_us IS NULL");
        close.bind(1, now);
        close.exec();
        SQLite::Statement run(*db_, "INSERT INTO runs(started_us, pid, host) VALUES(?, ?, ?)");
        run.bind(1, now);
        run.bind(2, static_cast<int64_t>(::getpid()));
        run.bind(3, HostName());
        run.exec();
        run_ = db_->getLastInsertRowid();
        transaction.commit();
    } catch (const std::exception& e) {
        Raise("Cannot start recording into '" + path_ + "'", e);
    }
    {
        std::lock_guard lock(mutex_);
        stopping_ = false;
    }
    writer_ = std::thread([this] { WriterLoop(); });
    return run_;
}

void Store::EndRun() {
    Flush();
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (writer_.joinable()) {
        writer_.join();
    }
    std::string error;
    {
        std::lock_guard lock(mutex_);
        error = writerError_;
    }
    try {
        std::lock_guard lock(dbMutex_);
        const TimeUs now = NowUs();
        SQLite::Transaction transaction(*db_);
        SQLite::Statement close(*db_, "UPDATE gaps SET ended_us = ? WHERE ended_us IS NULL");
        close.bind(1, now);
        close.exec();
        SQLite::Statement run(*db_, "UPDATE runs SET stopped_us = ? WHERE id = ?");
        run.bind(1, now);
        run.bind(2, run_);
        run.exec();
        transaction.commit();
        db_->exec("PRAGMA wal_checkpoint(TRUNCATE)");
    } catch (const std::exception& e) {
        Raise("Cannot end the recording in '" + path_ + "'", e);
    }
    if (!error.empty()) {
        throw AutomationError(kErrDeviceIO, "Readings could not be stored: " + error, kSource);
    }
}

int64_t Store::Instrument(const std::string& name, const std::string& device) {
    try {
        std::lock_guard lock(dbMutex_);
        SQLite::Statement upsert(*db_,
                                 "INSERT INTO instruments(name, device, run_id, since_us) "
                                 "VALUES(?1, ?2, ?3, ?4) ON CONFLICT(name) DO UPDATE SET "
                                 "device = ?2, run_id = ?3, since_us = ?4");
        upsert.bind(1, name);
        upsert.bind(2, device);
        if (run_ != 0) {
            upsert.bind(3, run_);
        }
        upsert.bind(4, NowUs());
        upsert.exec();
        SQLite::Statement id(*db_, "SELECT id FROM instruments WHERE name = ?");
        id.bind(1, name);
        id.executeStep();
        return id.getColumn(0).getInt64();
    } catch (const std::exception& e) {
        Raise("Cannot register the instrument '" + name + "'", e);
    }
}

void Store::Push(Op op) {
    {
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(op));
        ++pushed_;
    }
}

bool Store::Append(Reading reading) {
    std::lock_guard lock(mutex_);
    if (queuedReadings_ >= kMaxQueued) {
        return false;
    }
    ++queuedReadings_;
    queue_.emplace_back(std::move(reading));
    ++pushed_;
    return true;
}

void Store::SetSerial(int64_t instrument, const std::string& serial) {
    Push(SerialOp{instrument, serial});
}

void Store::OpenGap(int64_t instrument, TimeUs since, const std::string& reason) {
    Push(GapOp{instrument, since, std::nullopt, reason});
}

void Store::CloseGap(int64_t instrument, TimeUs until) {
    Push(GapOp{instrument, 0, until, {}, true});
}

void Store::AddGap(int64_t instrument, TimeUs since, TimeUs until, const std::string& reason) {
    Push(GapOp{instrument, since, until, reason});
}

void Store::Error(int64_t instrument, TimeUs time, const std::string& text) {
    Push(ErrorOp{instrument, time, text});
}

void Store::OnCommit(std::function<void(int64_t, size_t)> callback) {
    std::lock_guard lock(mutex_);
    onCommit_ = std::move(callback);
}

std::string Store::WriterError() const {
    std::lock_guard lock(mutex_);
    return writerError_;
}

void Store::Flush() {
    std::unique_lock lock(mutex_);
    if (!writer_.joinable()) {
        return;
    }
    const uint64_t target = pushed_;
    flushRequested_ = true;
    wake_.notify_all();
    done_.wait(lock, [&] { return committed_ >= target || !writerError_.empty(); });
}

int64_t Store::SourceId(const Source& source, int64_t instrument) {
    const auto key = std::make_pair(instrument, source);
    if (auto it = sources_.find(key); it != sources_.end()) {
        return it->second;
    }
    SQLite::Statement insert(*db_,
                             "INSERT INTO sources(instrument_id, instrument_serial, channel, "
                             "probe_serial, conversion, unit) VALUES(?1, ?2, ?3, ?4, ?5, ?6) "
                             "ON CONFLICT DO NOTHING");
    SQLite::Statement find(*db_,
                           "SELECT id FROM sources WHERE instrument_id = ?1 AND "
                           "instrument_serial = ?2 AND channel = ?3 AND probe_serial = ?4 AND "
                           "conversion = ?5 AND unit = ?6");
    for (SQLite::Statement* s : {&insert, &find}) {
        s->bind(1, instrument);
        s->bind(2, source.instrumentSerial);
        s->bind(3, source.channel);
        s->bind(4, source.probeSerial);
        s->bind(5, source.conversion);
        s->bind(6, source.unit);
    }
    insert.exec();
    find.executeStep();
    const int64_t id = find.getColumn(0).getInt64();
    sources_.emplace(key, id);
    return id;
}

void Store::Commit(const std::deque<Op>& batch, int64_t& lastSequence, size_t& readings) {
    std::lock_guard lock(dbMutex_);
    SQLite::Transaction transaction(*db_);
    SQLite::Statement insert(
        *db_, "INSERT INTO readings(source_id, time_us, value_text, value) VALUES(?, ?, ?, ?)");
    std::map<int64_t, std::pair<int64_t, TimeUs>> counts;  // instrument: readings, last time
    for (const Op& op : batch) {
        if (const auto* r = std::get_if<Reading>(&op)) {
            insert.bind(1, SourceId(r->source, r->instrument));
            insert.bind(2, r->time);
            insert.bind(3, r->text);
            insert.bind(4, r->value);
            insert.exec();
            insert.reset();
            lastSequence = db_->getLastInsertRowid();
            ++readings;
            auto& c = counts[r->instrument];
            ++c.first;
            c.second = std::max(c.second, r->time);
        } else if (const auto* s = std::get_if<SerialOp>(&op)) {
            SQLite::Statement update(*db_, "UPDATE instruments SET serial = ? WHERE id = ?");
            update.bind(1, s->serial);
            update.bind(2, s->instrument);
            update.exec();
        } else if (const auto* g = std::get_if<GapOp>(&op)) {
            if (g->close) {
                SQLite::Statement close(
                    *db_,
                    "UPDATE gaps SET ended_us = ? WHERE instrument_id = ? AND ended_us IS NULL");
                close.bind(1, *g->until);
                close.bind(2, g->instrument);
                close.exec();
                continue;
            }
            SQLite::Statement open(*db_,
                                   "INSERT INTO gaps(instrument_id, run_id, started_us, ended_us, "
                                   "reason) VALUES(?, ?, ?, ?, ?)");
            open.bind(1, g->instrument);
            open.bind(2, run_);
            open.bind(3, g->since);
            if (g->until) {
                open.bind(4, *g->until);
            }
            open.bind(5, g->reason);
            open.exec();
        } else if (const auto* e = std::get_if<ErrorOp>(&op)) {
            SQLite::Statement update(
                *db_, "UPDATE instruments SET last_error = ?, last_error_us = ? WHERE id = ?");
            update.bind(1, e->text);
            update.bind(2, e->time);
            update.bind(3, e->instrument);
            update.exec();
        }
    }
    SQLite::Statement count(*db_,
                            "UPDATE instruments SET readings = readings + ?, last_reading_us = "
                            "MAX(COALESCE(last_reading_us, 0), ?) WHERE id = ?");
    for (const auto& [instrument, c] : counts) {
        count.bind(1, c.first);
        count.bind(2, c.second);
        count.bind(3, instrument);
        count.exec();
        count.reset();
    }
    transaction.commit();
}

void Store::WriterLoop() {
    std::chrono::milliseconds backoff{0};
    std::unique_lock lock(mutex_);
    while (true) {
        wake_.wait_for(lock, std::max<std::chrono::milliseconds>(kCommitInterval, backoff),
                       [&] { return stopping_ || (flushRequested_ && backoff.count() == 0); });
        flushRequested_ = false;
        if (queue_.empty()) {
            if (stopping_) {
                return;
            }
            continue;
        }
        std::deque<Op> batch;
        batch.swap(queue_);
        const size_t size = batch.size();
        lock.unlock();
        int64_t last = 0;
        size_t readings = 0;
        std::string failure;
        try {
            Commit(batch, last, readings);
        } catch (const std::exception& e) {
            failure = e.what();
            std::lock_guard db(dbMutex_);
            sources_.clear();  // ids made by the rolled-back transaction are gone
        }
        lock.lock();
        if (failure.empty()) {
            committed_ += size;
            queuedReadings_ -= readings;
            writerError_.clear();
            backoff = std::chrono::milliseconds{0};
            if (onCommit_) {
                onCommit_(last, readings);
            }
        } else {
            // Kept in order for the next attempt: nothing is dropped because the disk is full.
            for (auto it = batch.rbegin(); it != batch.rend(); ++it) {
                queue_.push_front(std::move(*it));
            }
            writerError_ = failure;
            backoff = std::min<std::chrono::milliseconds>(
                std::chrono::milliseconds{10000}, backoff * 2 + std::chrono::milliseconds{500});
            if (stopping_) {
                done_.notify_all();
                return;  // EndRun reports the error
            }
        }
        done_.notify_all();
    }
}

std::vector<InstrumentStatus> Store::Status() const {
    std::vector<InstrumentStatus> result;
    try {
        std::lock_guard lock(dbMutex_);
        SQLite::Statement q(*db_,
                            "SELECT i.name, i.device, i.serial, i.since_us, i.readings, "
                            "i.last_reading_us, i.last_error, i.last_error_us, g.started_us, "
                            "g.reason, r.stopped_us IS NULL AND r.id = (SELECT MAX(id) FROM runs) "
                            "FROM instruments i LEFT JOIN runs r ON r.id = i.run_id "
                            "LEFT JOIN gaps g ON g.id = (SELECT MAX(id) FROM gaps WHERE "
                            "instrument_id = i.id AND ended_us IS NULL) ORDER BY i.name");
        while (q.executeStep()) {
            InstrumentStatus s;
            s.name = q.getColumn(0).getString();
            s.device = q.getColumn(1).getString();
            s.serial = q.getColumn(2).getString();
            s.since = q.getColumn(3).getInt64();
            s.readings = q.getColumn(4).getInt64();
            s.lastReading = q.getColumn(5).getInt64();
            s.lastError = q.getColumn(6).getString();
            s.lastErrorTime = q.getColumn(7).getInt64();
            s.gapSince = OptionalTime(q.getColumn(8));
            s.gapReason = q.getColumn(9).getString();
            const bool running = q.getColumn(10).getInt() != 0;
            s.state = !running ? "stopped" : s.gapSince ? "gap" : "recording";
            result.push_back(std::move(s));
        }
    } catch (const std::exception& e) {
        Raise("Cannot read the status from '" + path_ + "'", e);
    }
    return result;
}

std::optional<RunInfo> Store::LastRun() const {
    try {
        std::lock_guard lock(dbMutex_);
        SQLite::Statement q(*db_,
                            "SELECT id, started_us, stopped_us, pid, host FROM runs ORDER BY id "
                            "DESC LIMIT 1");
        if (!q.executeStep()) {
            return std::nullopt;
        }
        return RunInfo{q.getColumn(0).getInt64(), q.getColumn(1).getInt64(),
                       OptionalTime(q.getColumn(2)), q.getColumn(3).getInt64(),
                       q.getColumn(4).getString()};
    } catch (const std::exception& e) {
        Raise("Cannot read the runs from '" + path_ + "'", e);
    }
}

int64_t Store::PublishedUpTo(const std::string& output) const {
    try {
        std::lock_guard lock(dbMutex_);
        SQLite::Statement q(*db_, "SELECT published_seq FROM outputs WHERE name = ?");
        q.bind(1, output);
        return q.executeStep() ? q.getColumn(0).getInt64() : 0;
    } catch (const std::exception& e) {
        Raise("Cannot read the output '" + output + "'", e);
    }
}

void Store::SetPublishedUpTo(const std::string& output, int64_t sequence) {
    try {
        std::lock_guard lock(dbMutex_);
        SQLite::Statement q(
            *db_,
            "INSERT INTO outputs(name, published_seq, updated_us) VALUES(?1, ?2, ?3) "
            "ON CONFLICT(name) DO UPDATE SET published_seq = MAX(published_seq, ?2), "
            "updated_us = ?3");
        q.bind(1, output);
        q.bind(2, sequence);
        q.bind(3, NowUs());
        q.exec();
    } catch (const std::exception& e) {
        Raise("Cannot store the output '" + output + "'", e);
    }
}

}  // namespace vesk::rec
