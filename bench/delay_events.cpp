// Delay(1000) on the console services: how much of one core the wait costs, and how often
// pending events are still processed during it.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <chrono>

#include "bench/ProcessCpu.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/support/Delay.h"

namespace {

void BM_Delay1000(benchmark::State& state) {
    vesk::ConsoleUi ui(vesk::ConsoleOptions{});
    using Clock = std::chrono::steady_clock;
    Clock::time_point last;
    double maxGapMs = 0.0;
    int64_t rounds = 0;
    ui.onEvents = [&] {
        const auto now = Clock::now();
        maxGapMs =
            std::max(maxGapMs, std::chrono::duration<double, std::milli>(now - last).count());
        last = now;
        ++rounds;
    };
    double cpu = 0.0;
    double wall = 0.0;
    for (auto _ : state) {
        last = Clock::now();
        const double cpu0 = CpuSeconds();
        const auto wall0 = Clock::now();
        vesk::Delay(ui, 1000);
        wall += std::chrono::duration<double>(Clock::now() - wall0).count();
        cpu += CpuSeconds() - cpu0;
    }
    const double cpuPercent = 100.0 * cpu / wall;
    state.counters["cpu_percent"] = cpuPercent;
    state.counters["cpu_vs_5pct_budget"] = cpuPercent / 5.0;
    state.counters["max_event_gap_ms"] = maxGapMs;
    state.counters["event_gap_vs_10ms"] = maxGapMs / 10.0;
    state.counters["event_rounds"] = static_cast<double>(rounds);
}
BENCHMARK(BM_Delay1000)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
