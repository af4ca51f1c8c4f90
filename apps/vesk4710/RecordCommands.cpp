// record, record status and export: unattended recording into a database, what it is doing,
// and readings out of it.
#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <iostream>

#include "apps/vesk4710/Cli.h"
#include "components/readingfile/ReadingFile.h"
#include "recorder/Export.h"
#include "recorder/Recorder.h"

namespace vesk::cli {

namespace {

struct RecordOptions {
    std::string config;
    std::string db;
    std::string name;
    std::vector<int32_t> channels;
    std::string every = "1s";
    std::string serve;
    std::string duration;
    bool verbose = false;
};

struct ExportCliOptions {
    std::string db;
    std::string config;
    std::string from;
    std::string to;
    std::string instrument;
    int32_t channel = 0;
    bool jsonLines = false;
    std::string output;
    bool force = false;
};

// An instrument name from its device: "sim:3" -> "sim-3", "/dev/ttyUSB0" -> "ttyUSB0".
std::string NameFromDevice(const std::string& device) {
    std::string base = device.substr(device.rfind('/') + 1);
    if (base.empty()) {
        base = device;
    }
    std::string name;
    for (char c : base) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                        (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
        name.push_back(ok ? c : '-');
    }
    return name.substr(0, 64);
}

// Turns a library error about arguments into a usage error (exit status 2).
template <typename F>
auto AsUsage(F&& f) {
    try {
        return f();
    } catch (const AutomationError& e) {
        if (e.Number() == kErrInvalidProcedureCall) {
            throw UsageError(e.Description());
        }
        throw;
    }
}

rec::RecorderConfig ConfigOf(const GlobalOptions& global, const RecordOptions& o) {
    if (!o.config.empty()) {
        if (!o.db.empty() || !o.channels.empty() || !o.serve.empty() || !o.name.empty()) {
            throw UsageError(
                "--config names everything; leave out --db, --channels, --serve and --name");
        }
        return AsUsage([&] { return rec::LoadConfig(o.config); });
    }
    rec::RecorderConfig config;
    config.database = o.db;
    rec::InstrumentConfig i;
    i.device = global.device;
    i.name = o.name.empty() ? NameFromDevice(global.device) : o.name;
    i.baud = global.baud;
    i.channels = o.channels;
    i.timeout = rec::Millis{global.timeoutMs};
    i.serve = o.serve;
    i.every = AsUsage([&] { return rec::ParseDuration(o.every, "--every", true); });
    config.instruments.push_back(std::move(i));
    AsUsage([&] {
        rec::Validate(config);
        return 0;
    });
    return config;
}

void RunRecord(const GlobalOptions& global, const Output& out, const RecordOptions& o) {
    const rec::RecorderConfig config = ConfigOf(global, o);
    std::optional<std::chrono::steady_clock::time_point> until;
    if (!o.duration.empty()) {
        until = std::chrono::steady_clock::now() +
                AsUsage([&] { return rec::ParseDuration(o.duration, "--for"); });
    }
    // Ctrl-C and SIGTERM are taken here, by this thread alone: the recorder's threads inherit
    // the blocked mask.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    rec::Recorder recorder(config, [&out](const std::string& line) { out.Notice(line); });
    recorder.Start();
    if (o.verbose) {
        recorder.Database().OnCommit([&out](int64_t last, size_t readings) {
            if (readings > 0) {
                out.Notice(fmt::format("committed {} reading(s), up to #{}", readings, last));
            }
        });
    }
    const auto endpoints = recorder.Endpoints();
    for (size_t n = 0; n < endpoints.size(); ++n) {
        if (!endpoints[n].empty() && out.Json()) {
            out.Json({{"instrument", config.instruments[n].name}, {"endpoint", endpoints[n]}});
        } else if (!endpoints[n].empty()) {
            out.Line(config.instruments[n].name + " " + endpoints[n]);
        }
    }
    out.Notice(fmt::format("recording {} instrument(s) into {}; Ctrl-C or SIGTERM stops",
                           config.instruments.size(), config.database));
    while (true) {
        timespec wait{1, 0};
        const int sig = sigtimedwait(&stopSignals, nullptr, &wait);
        if (sig == SIGINT || sig == SIGTERM) {
            out.Notice(std::string("stopping (") + (sig == SIGINT ? "interrupt" : "SIGTERM") + ")");
            break;
        }
        if (until && std::chrono::steady_clock::now() >= *until) {
            break;
        }
    }
    recorder.Stop();
    out.Notice("stopped; every reading is committed");
}

std::string DatabaseOf(const std::string& db, const std::string& config) {
    if (!db.empty() && !config.empty()) {
        throw UsageError("give --db or --config, not both");
    }
    if (!config.empty()) {
        return AsUsage([&] { return rec::LoadConfig(config).database; });
    }
    if (db.empty()) {
        throw UsageError("name the database with --db (or --config)");
    }
    return db;
}

std::string TimeText(rec::TimeUs time) {
    return time == 0 ? std::string("-") : files::IsoTime(time, 3);
}

void RunStatus(const Output& out, const std::string& path) {
    rec::Store store(path, true);
    const auto run = store.LastRun();
    std::string recorder = "never ran";
    if (run) {
        char host[256] = {};
        ::gethostname(host, sizeof host - 1);
        const bool alive =
            run->host != host || ::kill(static_cast<pid_t>(run->pid), 0) == 0 || errno == EPERM;
        if (run->stopped) {
            recorder = "stopped at " + TimeText(*run->stopped);
        } else if (alive) {
            recorder = fmt::format("running since {} (process {} on {})", TimeText(run->started),
                                   run->pid, run->host);
        } else {
            recorder = "ended without stopping (started " + TimeText(run->started) + ")";
        }
    }
    const auto instruments = store.Status();
    if (out.Json()) {
        nlohmann::json list = nlohmann::json::array();
        for (const auto& s : instruments) {
            list.push_back({{"name", s.name},
                            {"device", s.device},
                            {"serial", s.serial},
                            {"state", s.state},
                            {"since", TimeText(s.since)},
                            {"readings", s.readings},
                            {"last_reading", TimeText(s.lastReading)},
                            {"last_error", s.lastError},
                            {"last_error_time", TimeText(s.lastErrorTime)},
                            {"gap_since", s.gapSince ? TimeText(*s.gapSince) : ""},
                            {"gap_reason", s.gapReason}});
        }
        out.Json({{"database", path}, {"recorder", recorder}, {"instruments", list}});
        return;
    }
    out.Line("database  " + path);
    out.Line("recorder  " + recorder);
    for (const auto& s : instruments) {
        out.Line(fmt::format("{}  {}  device {}  serial {}  since {}", s.name, s.state, s.device,
                             s.serial.empty() ? "-" : s.serial, TimeText(s.since)));
        out.Line(
            fmt::format("    {} readings, the last at {}", s.readings, TimeText(s.lastReading)));
        if (s.gapSince) {
            out.Line("    gap since " + TimeText(*s.gapSince) + ": " + s.gapReason);
        }
        if (!s.lastError.empty()) {
            out.Line("    last error at " + TimeText(s.lastErrorTime) + ": " + s.lastError);
        }
    }
}

void RunExport(const Output& out, const ExportCliOptions& o) {
    rec::ExportOptions options;
    if (!o.from.empty()) {
        options.from = AsUsage([&] { return rec::ParseTime(o.from, "--from"); });
    }
    if (!o.to.empty()) {
        options.to = AsUsage([&] { return rec::ParseTime(o.to, "--to"); });
    }
    options.instrument = o.instrument;
    if (o.channel != 0) {
        options.channel = o.channel;
    }
    options.jsonLines = o.jsonLines;
    rec::Store store(DatabaseOf(o.db, o.config), true);
    int64_t count = 0;
    if (o.output.empty() || o.output == "-") {
        count = rec::ExportReadings(store, options, [](std::string_view piece) {
            std::fwrite(piece.data(), 1, piece.size(), stdout);
        });
        if (std::fflush(stdout) != 0) {
            throw Failed("writing the readings to the standard output failed");
        }
    } else {
        files::AtomicFile file(o.output, o.force ? files::AtomicFile::Existing::kReplace
                                                 : files::AtomicFile::Existing::kKeep);
        count = rec::ExportReadings(store, options,
                                    [&file](std::string_view piece) { file.Write(piece); });
        file.Commit();
    }
    out.Notice(fmt::format("exported {} reading(s){}", count,
                           o.output.empty() || o.output == "-" ? "" : " to " + o.output));
}

}  // namespace

void AddRecordCommands(CLI::App& app, Commands& commands, const GlobalOptions& global) {
    auto o = std::make_shared<RecordOptions>();
    auto* sub = app.add_subcommand(
        "record",
        "Record readings into a database until stopped, sharing the instrument on an endpoint");
    sub->add_option("--config", o->config, "TOML file naming the database and the instruments");
    sub->add_option("--db", o->db, "Database file (SQLite) for one instrument given by --device");
    sub->add_option("--name", o->name,
                    "The instrument's name in the database (default: from --device)");
    sub->add_option("--channels", o->channels,
                    "Channels to record, e.g. 1,2 (default: every channel that is on)")
        ->delimiter(',')
        ->check(CLI::PositiveNumber);
    sub->add_option("--every", o->every, "Interval: 1s, 500ms, 2m..., or new (each new reading)")
        ->capture_default_str();
    sub->add_option("--serve", o->serve,
                    "Share the instrument on tcp://127.0.0.1:PORT or unix:PATH while recording");
    sub->add_option("--for", o->duration, "Stop by itself after this long (e.g. 1h)");
    sub->add_flag("--verbose", o->verbose, "Tell every commit to the database");
    commands.push_back(
        {sub, false, [&global, o](Session*, const Output& out) { RunRecord(global, out, *o); }});

    auto status = std::make_shared<std::pair<std::string, std::string>>();
    auto* st = sub->add_subcommand("status",
                                   "What is being recorded, since when, how many readings, the "
                                   "last error and the current gap");
    st->add_option("--db", status->first, "Database file");
    st->add_option("--config", status->second, "The recorder's TOML file (for its database)");
    commands.push_back({st, false, [status](Session*, const Output& out) {
                            RunStatus(out, DatabaseOf(status->first, status->second));
                        }});

    auto e = std::make_shared<ExportCliOptions>();
    auto* ex = app.add_subcommand("export", "Write recorded readings as CSV (or JSON lines)");
    ex->add_option("--db", e->db, "Database file");
    ex->add_option("--config", e->config, "The recorder's TOML file (for its database)");
    ex->add_option(
        "--from", e->from,
        "From this time on (2024-03-07, 2024-03-07T12:00:00Z; UTC unless a zone is given)");
    ex->add_option("--to", e->to, "Before this time");
    ex->add_option("--instrument", e->instrument, "Only this instrument (its name)");
    ex->add_option("--channel", e->channel, "Only this channel")->check(CLI::PositiveNumber);
    ex->add_flag("--jsonl", e->jsonLines, "JSON lines instead of CSV");
    ex->add_option("--output,-o", e->output, "File to write (default: standard output)");
    ex->add_flag("--force", e->force, "Replace an existing output file");
    commands.push_back({ex, false, [e](Session*, const Output& out) { RunExport(out, *e); }});
}

}  // namespace vesk::cli
