// The recorder's own cost: 8 simulated instruments x 2 channels at 1 reading/s each, recorded
// for 60 s (VESK_BENCH_SECONDS) into a database. Reports the share of one core the whole
// process used (the embedded simulators included), held against 2 %, and the resident memory
// after the first tenth of the run and at its end (flat: growth under 1 MB).
// Run by hand: it takes a minute.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "recorder/Recorder.h"
#include "simulator/EmbeddedLink.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr double kCpuTarget = 2.0;  // percent of one core

double CpuSeconds() {
    rusage u{};
    ::getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

double ResidentMB() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void BM_EightInstrumentsAtOnePerSecond(benchmark::State& state) {
    const char* env = std::getenv("VESK_BENCH_SECONDS");
    const int seconds = env != nullptr ? std::max(10, std::atoi(env)) : 60;
    const fs::path dir =
        fs::temp_directory_path() / ("vesk-bench-cpu-" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    vesk::sim::SimOptions sim;
    sim.persist = false;
    vesk::sim::RegisterEmbeddedLink(sim);

    vesk::rec::RecorderConfig config;
    config.database = (dir / "lab.db").string();
    for (int n = 0; n < 8; ++n) {
        vesk::rec::InstrumentConfig i;
        i.name = "bath-" + std::to_string(n + 1);
        i.device = "sim:" + std::to_string(71 + n);
        i.channels = {1, 2};
        i.every = std::chrono::seconds(1);
        config.instruments.push_back(i);
    }
    for (auto _ : state) {
        vesk::rec::Recorder recorder(config);
        recorder.Start();
        std::this_thread::sleep_for(std::chrono::seconds(3));  // connected and settled
        const double cpu0 = CpuSeconds();
        const auto t0 = Clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(seconds / 10));
        const double early = ResidentMB();
        std::this_thread::sleep_for(std::chrono::seconds(seconds - seconds / 10));
        const double cpu = CpuSeconds() - cpu0;
        const double wall = std::chrono::duration<double>(Clock::now() - t0).count();
        const double late = ResidentMB();
        const uint64_t rounds = recorder.Rounds();
        recorder.Stop();
        const double percent = 100.0 * cpu / wall;
        state.counters["cpu_percent"] = percent;
        state.counters["ratio_to_2pct"] = percent / kCpuTarget;
        state.counters["rss_MB_early"] = early;
        state.counters["rss_MB_end"] = late;
        state.counters["readings"] = static_cast<double>(2 * rounds);
        if (percent > kCpuTarget || late - early > 1.0) {
            state.SkipWithError("more than 2 % of a core, or memory grew");
        }
    }
    fs::remove_all(dir);
}
BENCHMARK(BM_EightInstrumentsAtOnePerSecond)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
