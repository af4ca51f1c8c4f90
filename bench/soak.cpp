// Soak: one instrument object reads both channels, turn about, from vesk4710-sim served on a
// pseudo-terminal, while the simulator injects random faults (late, lost and garbled replies,
// error replies, dropped links). Bounded in requests and in time. Reports the requests done,
// the faults met and survived, the errors reported, the resident memory growth and the open
// file descriptors before and after; fails when memory or descriptors grow or when the object
// cannot read after the last fault.
//
//   soak [--requests=N] [--seconds=S] [--seed=N] [--sim=PATH] [benchmark flags]
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "components/comm/CommErrors.h"
#include "host/DefaultHost.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/platform/IProgress.h"
#include "vesk4710/platform/IUiServices.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

struct Settings {
    int requests = 2000;
    int seconds = 20;
    unsigned seed = 4710;
    std::string sim;
};
Settings g_settings;
bool g_failed = false;

constexpr int kTimeoutMs = 150;
constexpr int kSetupRequests = 200;  // faults start after the session is set up
constexpr double kFaultRate = 0.02;

// Counts what the library shows instead of drawing it.
class QuietProgress : public vesk::IProgress {
  public:
    void SetOwner(vesk::IForm*, bool) override {}
    void StartPhase(const std::string&, double) override {}
    bool Step() override { return true; }
    void Status(const std::string&, double) override {}
    bool Continue() override { return true; }
    void Reset() override {}
    void Hide() override {}
    void Close() override {}
};

class QuietUi : public vesk::IUiServices {
  public:
    int32_t MessageBox(const std::string&, int32_t, const std::string&, const std::string&,
                       int32_t) override {
        ++boxes;
        return vesk::kAnsOk;
    }
    void MousePointer(int32_t p) override { pointer_ = p; }
    int32_t MousePointer() const override { return pointer_; }
    void DoEvents() override {}
    void WaitEvents(int32_t maxMillis) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(maxMillis));
    }
    int32_t Ticks() override {
        return static_cast<int32_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now().time_since_epoch())
                .count());
    }
    int32_t ShowHelp(const std::string&, int32_t, int32_t) override { return 0; }
    vesk::PasscodeEntry PromptPasscode(vesk::IForm*) override { return {}; }
    std::unique_ptr<vesk::IProgress> CreateProgress() override {
        return std::make_unique<QuietProgress>();
    }
    bool ShowModal(vesk::IDialogLogic&, vesk::IForm*) override { return false; }

    int boxes = 0;

  private:
    int32_t pointer_ = vesk::kPointerDefault;
};

long ResidentKiB() {
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

int OpenDescriptors() {
    int n = 0;
    for ([[maybe_unused]] const auto& e : fs::directory_iterator("/proc/self/fd")) {
        ++n;
    }
    return n - 1;  // the iterator's own
}

std::string SimulatorPath() {
    if (!g_settings.sim.empty()) {
        return g_settings.sim;
    }
    if (const char* env = std::getenv("VESK_SIM")) {
        return env;
    }
    // The build tree: bench/soak beside apps/vesk4710-sim.
    return (fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "apps" /
            "vesk4710-sim")
        .string();
}

// The simulator as a child process on a pseudo-terminal, reached through a link that stays
// valid when a planned fault drops the terminal.
class SimulatorProcess {
  public:
    SimulatorProcess(const std::string& folder, const std::vector<std::string>& faults) {
        link_ = folder + "/tty";
        std::vector<std::string> args = {SimulatorPath(), "--pty", "--memory", "--reset",
                                         "--port",        "47",    "--link",   link_};
        for (const auto& f : faults) {
            args.push_back("--fault");
            args.push_back(f);
        }
        std::vector<char*> argv;
        for (auto& a : args) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        int out[2];
        if (pipe(out) != 0) {
            throw std::runtime_error("no pipe");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        const int rc = posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        if (rc != 0) {
            close(out[0]);
            throw std::runtime_error("cannot start " + args[0] + ": " + std::strerror(rc));
        }
        // The first line names the terminal; the link is in place once it is printed.
        std::string line;
        char c = 0;
        while (read(out[0], &c, 1) == 1 && c != '\n') {
            line += c;
        }
        close(out[0]);
        if (line.empty()) {
            throw std::runtime_error("the simulator did not start");
        }
    }
    ~SimulatorProcess() {
        kill(pid_, SIGTERM);
        int status = 0;
        waitpid(pid_, &status, 0);
    }
    const std::string& Device() const { return link_; }

  private:
    pid_t pid_ = -1;
    std::string link_;
};

void BM_Soak(benchmark::State& state) {
    const fs::path folder = fs::temp_directory_path() / ("vesk-soak-" + std::to_string(getpid()));
    fs::create_directories(folder);

    // Random faults at random requests after the set-up, the same for the same seed.
    std::mt19937 rng(g_settings.seed);
    std::uniform_real_distribution<double> chance(0, 1);
    const char* kinds[] = {"delay:300", "noreply", "garbage", "drop", "error:5"};
    std::vector<std::string> faults;
    for (int r = kSetupRequests; r < kSetupRequests + g_settings.requests; ++r) {
        if (chance(rng) < kFaultRate) {
            faults.push_back(std::string(kinds[rng() % 5]) + "@req=" + std::to_string(r));
        }
    }

    int64_t done = 0;
    int64_t errors = 0;
    int64_t faultsMet = 0;
    int64_t survived = 0;
    long rssBefore = 0;
    long rssAfter = 0;
    int fdBefore = 0;
    int fdAfter = 0;
    bool lastReadOk = false;
    bool measured = false;
    for (auto _ : state) {
        SimulatorProcess simulator(folder.string(), faults);
        auto ui = std::make_shared<QuietUi>();
        vesk::HostOptions options;
        options.comm.device = simulator.Device();
        options.comm.timeoutMs = kTimeoutMs;
        options.comm.tracePath = (folder / "io.trace").string();
        options.console = false;
        options.ui = ui;
        options.registryPath = (folder / "settings.json").string();
        auto unit = vesk::CVesk4710::Create(vesk::MakeDefaultHost(options));
        unit->InitializeCommunications();
        if (!unit->QueryInfo()) {
            state.SkipWithError("the session could not be set up");
            g_failed = true;
            return;
        }
        const auto traced = [&] {
            std::ifstream in(folder / "io.trace");
            return std::count(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>(),
                              '\n');
        };
        // Warm up to the first fault so that the baseline holds every lazily made buffer.
        while (traced() < kSetupRequests - 1) {
            unit->QueryMeasurement(static_cast<int16_t>(1 + traced() % 2));
        }
        const long rssStart = ResidentKiB();
        // Each reading is one request on the line: request numbers follow from here.
        const int64_t base = traced();
        int64_t lastGood = base;

        const auto start = Clock::now();
        const auto deadline = start + std::chrono::seconds(g_settings.seconds);
        // A quarter into the run, in requests or in time, whichever comes first: a run that
        // the clock ends is measured as well as one that runs out of requests.
        const auto quarter = start + (deadline - start) / 4;
        for (int i = 0; i < g_settings.requests && Clock::now() < deadline; ++i) {
            if (!measured && (i >= g_settings.requests / 4 || Clock::now() >= quarter)) {
                // By now the first faults have made every buffer their paths need: from here
                // on nothing may grow.
                measured = true;
                rssBefore = ResidentKiB();
                fdBefore = OpenDescriptors();
                std::cout << "soak: resident memory " << rssStart << " KiB after the set-up, "
                          << rssBefore << " KiB after a quarter of the run (" << i << " requests)"
                          << std::endl;
            }
            const auto channel = static_cast<int16_t>(1 + i % 2);
            try {
                const double value = unit->QueryMeasurement(channel);
                benchmark::DoNotOptimize(value);
                lastReadOk = true;
                lastGood = base + i + 1;
            } catch (const vesk::AutomationError&) {
                ++errors;
                lastReadOk = false;
            }
            ++done;
        }
        // After the last fault the object must read as before.
        for (int i = 0; i < 4 && !lastReadOk; ++i) {
            try {
                unit->QueryMeasurement(1);
                lastReadOk = true;
            } catch (const vesk::AutomationError&) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2 * kTimeoutMs));
            }
        }
        const auto total = traced();
        if (lastReadOk) {
            lastGood = total;  // the very last request read a value
        }
        for (const auto& f : faults) {
            const long at = std::stol(f.substr(f.find("req=") + 4));
            faultsMet += at <= total ? 1 : 0;
            // Survived: a later reading of the same object worked.
            survived += at < lastGood ? 1 : 0;
        }
        rssAfter = ResidentKiB();
        fdAfter = OpenDescriptors();
        errors += ui->boxes;
    }
    std::error_code ec;
    fs::remove_all(folder, ec);

    const long growth = rssAfter - rssBefore;
    state.counters["requests"] = static_cast<double>(done);
    state.counters["faults"] = static_cast<double>(faultsMet);
    state.counters["survived"] = static_cast<double>(survived);
    state.counters["errors"] = static_cast<double>(errors);
    state.counters["rss_growth_KiB"] = static_cast<double>(growth);
    state.counters["fd_delta"] = fdAfter - fdBefore;
    std::cout << "soak: " << done << " requests, " << faultsMet << " faults injected, " << survived
              << " survived, " << errors << " errors reported; resident memory " << rssBefore
              << " KiB -> " << rssAfter << " KiB (" << (growth >= 0 ? "+" : "") << growth
              << "); open descriptors " << fdBefore << " -> " << fdAfter << std::endl;
    // Flat: a few pages of allocator noise, nothing that grows with the requests.
    if (!measured) {
        g_failed = true;
        state.SkipWithError("the run ended before its starting measurement");
    } else if (growth > 256 || fdAfter != fdBefore || !lastReadOk || survived < faultsMet) {
        g_failed = true;
        state.SkipWithError("memory grew, descriptors leaked or the object stopped reading");
    }
}
BENCHMARK(BM_Soak)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const auto value = [&](const char* name) -> const char* {
            const std::string prefix = std::string(name) + "=";
            return arg.rfind(prefix, 0) == 0 ? argv[i] + prefix.size() : nullptr;
        };
        if (const char* v = value("--requests")) {
            g_settings.requests = std::atoi(v);
        } else if (const char* v = value("--seconds")) {
            g_settings.seconds = std::atoi(v);
        } else if (const char* v = value("--seed")) {
            g_settings.seed = static_cast<unsigned>(std::strtoul(v, nullptr, 10));
        } else if (const char* v = value("--sim")) {
            g_settings.sim = v;
        } else {
            std::cerr << "soak: unknown argument " << arg << "\n";
            return 2;
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return g_failed ? 1 : 0;
}
