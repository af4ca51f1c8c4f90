// Publishing to a real local mosquitto (started here on a free loopback port).
// - Drain: an hour of a lab's readings (16 readings/s: 8 instruments x 2 channels at 1/s, so
//   57,600) waits in the database for a broker that was away; measured is how long the
//   publishers take until the broker has acknowledged the last of them, held against 60 s.
// - Cost: the same 8 x 2 recorded at 1/s (embedded simulators) for VESK_BENCH_SECONDS (30)
//   without and then with publishing; the difference in the share of one core the process
//   used is what publishing adds, held against 1 %.
// Run by hand: it takes about a minute and a half.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "bench/ProcessCpu.h"
#include "recorder/MqttPublisher.h"
#include "recorder/Recorder.h"
#include "simulator/EmbeddedLink.h"
#include "tests/apps/Processes.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr int kInstruments = 8;
constexpr int kHour = 3600 * 2 * kInstruments;  // readings
constexpr double kDrainTarget = 60.0;           // seconds
constexpr double kCpuTarget = 1.0;              // percent of one core

// mosquitto on a free loopback port, for as long as the object lives.
struct Broker {
    explicit Broker(const fs::path& dir) : port(vesk::test::FreePort()) {
        const std::string conf = (dir / "mosquitto.conf").string();
        std::ofstream(conf) << "listener " << port << " 127.0.0.1\nallow_anonymous true\n";
        process = std::make_unique<vesk::test::Child>(
            std::vector<std::string>{"/usr/sbin/mosquitto", "-c", conf},
            std::map<std::string, std::string>{});
        std::this_thread::sleep_for(500ms);
    }
    int port;
    std::unique_ptr<vesk::test::Child> process;
};

fs::path FreshDir(const std::string& name) {
    const fs::path dir = fs::temp_directory_path() / (name + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir;
}

void BM_DrainAnHourAfterAnOutage(benchmark::State& state) {
    const fs::path dir = FreshDir("vesk-bench-drain-");
    const std::string db = (dir / "lab.db").string();
    {
        vesk::rec::Store store(db);
        store.BeginRun();
        std::vector<int64_t> ids;
        for (int n = 0; n < kInstruments; ++n) {
            ids.push_back(store.Instrument("bath-" + std::to_string(n + 1), "sim"));
        }
        const vesk::rec::TimeUs start = vesk::rec::NowUs() - 3600LL * 1000000;
        for (int r = 0; r < kHour; ++r) {
            const int n = r % kInstruments;
            vesk::rec::Reading reading{
                ids[static_cast<size_t>(n)],
                {"A4710" + std::to_string(n), 1 + (r / kInstruments) % 2, "P-100", "ITS", "C"},
                start + static_cast<int64_t>(r) * 62500,
                "0.010012",
                0.010012};
            while (!store.Append(reading)) {
                store.Flush();
            }
        }
        store.EndRun();
    }
    Broker broker(dir);
    vesk::rec::MqttConfig mqtt;
    mqtt.enabled = true;
    mqtt.port = broker.port;
    auto committed = std::make_shared<std::atomic<int64_t>>(kHour);
    for (auto _ : state) {
        std::vector<std::unique_ptr<vesk::rec::MqttPublisher>> publishers;
        for (int n = 0; n < kInstruments; ++n) {
            publishers.push_back(std::make_unique<vesk::rec::MqttPublisher>(
                mqtt, vesk::rec::RetryPolicy{}, db, "bath-" + std::to_string(n + 1), committed,
                [](const std::string&) {}));
        }
        const auto t0 = Clock::now();
        for (auto& p : publishers) {
            p->Start();
        }
        auto drained = [&] {
            int64_t lowest = kHour;
            for (const auto& p : publishers) {
                lowest = std::min(lowest, p->Acknowledged());
            }
            return lowest >= kHour - kInstruments + 1;
        };
        while (!drained() && Clock::now() - t0 < 300s) {
            std::this_thread::sleep_for(10ms);
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - t0).count();
        publishers.clear();
        state.counters["drain_s"] = seconds;
        std::printf("%d readings drained in %.2f s (%.3f of 60 s)\n", kHour, seconds,
                    seconds / kDrainTarget);
        state.counters["ratio_to_60s"] = seconds / kDrainTarget;
        state.counters["readings_per_s"] = kHour / seconds;
        if (!drained() || seconds > kDrainTarget) {
            state.SkipWithError("an hour of readings was not drained within a minute");
        }
    }
    fs::remove_all(dir);
}
BENCHMARK(BM_DrainAnHourAfterAnOutage)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void BM_PublishingCostAtSixteenReadingsPerSecond(benchmark::State& state) {
    const char* env = std::getenv("VESK_BENCH_SECONDS");
    const int seconds = env != nullptr ? std::max(10, std::atoi(env)) : 30;
    const fs::path dir = FreshDir("vesk-bench-pubcpu-");
    vesk::sim::SimOptions sim;
    sim.persist = false;
    vesk::sim::RegisterEmbeddedLink(sim);
    Broker broker(dir);
    // The share of a core the recorder takes over the run, with or without publishing.
    auto percent = [&](bool publish) {
        vesk::rec::RecorderConfig config;
        config.database = (dir / (publish ? "with.db" : "without.db")).string();
        config.mqtt.enabled = publish;
        config.mqtt.port = broker.port;
        for (int n = 0; n < kInstruments; ++n) {
            vesk::rec::InstrumentConfig i;
            i.name = "bath-" + std::to_string(n + 1);
            i.device = "sim:" + std::to_string(71 + n);
            i.channels = {1, 2};
            i.every = 1s;
            config.instruments.push_back(i);
        }
        vesk::rec::Recorder recorder(config);
        recorder.Start();
        std::this_thread::sleep_for(3s);  // connected and settled
        const double cpu0 = CpuSeconds();
        const auto t0 = Clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(seconds));
        const double cpu = CpuSeconds() - cpu0;
        const double wall = std::chrono::duration<double>(Clock::now() - t0).count();
        recorder.Stop();
        return 100.0 * cpu / wall;
    };
    for (auto _ : state) {
        const double without = percent(false);
        const double with = percent(true);
        state.counters["cpu_percent_recording"] = without;
        state.counters["cpu_percent_publishing"] = with;
        state.counters["added_percent"] = with - without;
        state.counters["ratio_to_1pct"] = (with - without) / kCpuTarget;
        std::printf(
            "recording %.3f %%, with publishing %.3f %% of a core: adds %.3f %% (%.2f of 1 %%)\n",
            without, with, with - without, (with - without) / kCpuTarget);
        if (with - without > kCpuTarget) {
            state.SkipWithError("publishing added more than 1 % of a core");
        }
    }
    fs::remove_all(dir);
}
BENCHMARK(BM_PublishingCostAtSixteenReadingsPerSecond)
    ->Iterations(1)
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
