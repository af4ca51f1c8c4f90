// One ReadSetting round trip through the in-process link to the simulator, protocol encoding
// and decoding included, beside the time the same exchange takes on a 9600 baud cable.
#include <benchmark/benchmark.h>

#include <chrono>
#include <string>

#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "vesk4710/platform/SettingIds.h"

namespace {

constexpr double kBaud = 9600;
constexpr double kBitsPerChar = 10;  // start, 8 data, stop

// The wire time of the exchange as it would travel: request and reply lines with their
// terminators, tagged as the component tags them.
double WireSeconds(const std::string& request, const std::string& reply) {
    double chars = static_cast<double>(request.size() + 1 + reply.size() + 1);
    return chars * kBitsPerChar / kBaud;
}

void RoundTrip(benchmark::State& state, int32_t id, const std::string& channel,
               const std::string& request, const std::string& replyShape) {
    vesk::sim::SimOptions options;
    options.persist = false;
    auto instrument = vesk::sim::Instrument::Create(options);
    auto session =
        vesk::comm::Communications::Create({}, [instrument](const vesk::comm::LinkRequest&) {
            return vesk::sim::ConnectEmbedded(instrument);
        });
    std::string reply;
    auto started = std::chrono::steady_clock::now();
    for (auto _ : state) {
        session->params().ClearAll();
        if (!channel.empty()) {
            session->params().Channel(channel);
        }
        reply = session->ReadSetting(id, true, "");
        benchmark::DoNotOptimize(reply);
    }
    double trip =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count() /
        static_cast<double>(state.iterations());
    double wire = WireSeconds("1234 " + request, "1234 " + replyShape);
    state.counters["roundtrip_us"] = trip * 1e6;
    state.counters["wire_us_at_9600"] = wire * 1e6;
    state.counters["wire_over_roundtrip"] = wire / trip;
    state.SetLabel("\"" + request + "\" -> \"" + reply + "\"");
}

void BM_ReadUnits(benchmark::State& state) {
    RoundTrip(state, vesk::SET_UNITS_READ, "", "UNIT?", "C");
}
void BM_ReadTemperature(benchmark::State& state) {
    RoundTrip(state, vesk::SET_TEMPERATURE, "1", "MEAS:TEMP? 1", "25.0000");
}
void BM_ReadIdentification(benchmark::State& state) {
    RoundTrip(state, vesk::SET_IDENTIFICATION, "", "*IDN?", "Vesk Scientific,4710,A47100,1.10");
}

}  // namespace

BENCHMARK(BM_ReadUnits)->UseRealTime();
BENCHMARK(BM_ReadTemperature)->UseRealTime();
BENCHMARK(BM_ReadIdentification)->UseRealTime();

BENCHMARK_MAIN();
