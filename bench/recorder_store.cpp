// Recording database: a burst of readings through the store's batch commits (held against
// 50,000 readings/s), and export of 1 million readings to CSV (held against 2 s).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "recorder/Export.h"
#include "recorder/Store.h"

namespace {

namespace fs = std::filesystem;

constexpr double kBurstTarget = 50000;  // readings per second
constexpr double kExportLimit = 2.0;    // seconds for a million readings
constexpr int64_t kExportReadings = 1000000;

fs::path Folder() {
    static const fs::path dir = [] {
        fs::path d = fs::temp_directory_path() / ("vesk-bench-store-" + std::to_string(::getpid()));
        fs::remove_all(d);
        fs::create_directories(d);
        return d;
    }();
    return dir;
}

// Readings of two channels as the recorder makes them, one every 500 ms per channel.
void Fill(vesk::rec::Store& store, int64_t count, vesk::rec::TimeUs start) {
    const int64_t bath = store.Instrument("bath-1", "/dev/ttyUSB0");
    for (int64_t n = 0; n < count; ++n) {
        vesk::rec::Reading r;
        r.instrument = bath;
        r.source = {"A47100", static_cast<int32_t>(1 + n % 2), n % 2 ? "TC2002" : "S1001",
                    n % 2 ? "K" : "ITS", "C"};
        r.time = start + n * 250000;
        r.text = n % 2 ? "150.0002" : "24.9991";
        r.value = n % 2 ? 150.0002 : 24.9991;
        while (!store.Append(r)) {
            store.Flush();
        }
    }
    store.Flush();
}

void BM_BurstOfReadings(benchmark::State& state) {
    const int64_t count = state.range(0);
    double seconds = 0;
    int run = 0;
    for (auto _ : state) {
        const fs::path path = Folder() / ("burst-" + std::to_string(run++) + ".db");
        vesk::rec::Store store(path.string());
        store.BeginRun();
        const auto started = std::chrono::steady_clock::now();
        Fill(store, count, 1709814896000000);
        seconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        store.EndRun();
    }
    const double rate =
        static_cast<double>(count) * static_cast<double>(state.iterations()) / seconds;
    state.counters["readings_per_s"] = rate;
    state.counters["ratio_to_50k"] = rate / kBurstTarget;
    if (rate < kBurstTarget) {
        state.SkipWithError("the store takes fewer than 50,000 readings/s");
    }
}
BENCHMARK(BM_BurstOfReadings)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

void BM_ExportMillion(benchmark::State& state) {
    const fs::path path = Folder() / "million.db";
    {
        vesk::rec::Store store(path.string());
        store.BeginRun();
        Fill(store, kExportReadings, 1709814896000000);
        store.EndRun();
    }
    vesk::rec::Store store(path.string(), true);
    const fs::path csv = Folder() / "million.csv";
    double seconds = 0;
    int64_t count = 0;
    for (auto _ : state) {
        const auto started = std::chrono::steady_clock::now();
        std::FILE* out = std::fopen(csv.c_str(), "wb");
        count = vesk::rec::ExportReadings(store, {}, [out](std::string_view piece) {
            std::fwrite(piece.data(), 1, piece.size(), out);
        });
        std::fclose(out);
        seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
        state.SetIterationTime(seconds);
    }
    state.counters["readings"] = static_cast<double>(count);
    state.counters["seconds"] = seconds;
    state.counters["ratio_to_2s"] = seconds / kExportLimit;
    state.counters["MB"] = static_cast<double>(fs::file_size(csv)) / 1e6;
    if (count != kExportReadings || seconds > kExportLimit) {
        state.SkipWithError("exporting a million readings took longer than 2 s");
    }
}
BENCHMARK(BM_ExportMillion)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    if (std::getenv("VESK_BENCH_KEEP") == nullptr) {
        fs::remove_all(Folder());
    }
    return 0;
}
