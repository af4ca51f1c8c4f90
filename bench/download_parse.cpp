// Logged-data download: a transfer of 10 k, 100 k and 1 M readings parsed and written to one
// file through the real splitter, output file, file system and console services (and once
// more with the lines handed over one by one, as a link does, to price the raw file's
// write-through). Reports the
// time per reading, the fit to linear growth, the ratio to a plain line count of the same
// text and the peak memory over the transfer size.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "components/filesystem/LocalFileSystem.h"
#include "components/outputfile/OutputFile.h"
#include "components/registry/Registry.h"
#include "components/splitter/TextSplitter.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/support/RegistryKeys.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

class QuietParams : public vesk::IRequestParams {
  public:
    void ClearAll() override {}
    void Value(const std::string&) override {}
    void Channel(const std::string&) override {}
    void ChannelList(const std::string&) override {}
    void paramname(const std::string&) override {}
    void PointNumber(const std::string&) override {}
};

class QuietPort : public vesk::ISerialPort {
  public:
    void PortNumber(int32_t) override {}
    int32_t PortNumber() const override { return 1; }
    void BaudRateCode(int32_t) override {}
    int32_t BaudRateCode() const override { return 6; }
    void AutoClose(int32_t) override {}
    int32_t AutoClose() const override { return 0; }
    void LinkMode(int32_t mode) override { mode_ = mode; }
    int32_t LinkMode() const override { return mode_; }

  private:
    int32_t mode_ = 2;
};

// Answers the demand-log status and hands out a fresh copy of the prepared transfer, as a
// link would build it.
class CannedCommunications : public vesk::ICommunications {
  public:
    vesk::IRequestParams& params() override { return params_; }
    std::string ReadSetting(int32_t, bool, const std::string&) override { return "0,30000"; }
    void WriteSetting(int32_t) override {}
    using vesk::ICommunications::Transfer;
    vesk::TransferResult Transfer(int32_t, int32_t, const std::string&,
                                  const vesk::TransferSink& sink) override {
        if (stream && sink) {
            for (size_t start = 0; start < transfer->size();) {
                const size_t end = transfer->find('\r', start) + 1;
                sink(std::string_view(*transfer).substr(start, end - start));
                start = end;
            }
        }
        return {*transfer, false, {}};
    }
    vesk::ISerialPort& Port() override { return port_; }
    void FolderPath(const std::string&) override {}
    void InstrumentCode(int32_t) override {}

    const std::string* transfer = nullptr;
    // Lines handed over one by one as they would arrive, or the whole text at the end.
    bool stream = false;

  private:
    QuietParams params_;
    QuietPort port_;
};

class BenchHost : public vesk::Host {
  public:
    explicit BenchHost(const std::string& root)
        : comm(std::make_shared<CannedCommunications>()),
          registry(vesk::Registry::Create(root + "/settings.json")),
          ui_(vesk::ConsoleOptions{}, std::cerr, nullptr, false) {}
    std::shared_ptr<vesk::ICommunications> CreateCommunications() override { return comm; }
    std::shared_ptr<vesk::IProbe> CreateProbe() override { return nullptr; }
    std::shared_ptr<vesk::IOutputFile> CreateOutputFile() override {
        return vesk::OutputFile::Create(registry, ui_, files_);
    }
    std::shared_ptr<vesk::ITextSplitter> CreateTextSplitter() override {
        return vesk::TextSplitter::Create();
    }
    std::shared_ptr<vesk::IRegistry> CreateRegistry() override { return registry; }
    vesk::IUiServices& Ui() override { return ui_; }
    vesk::IFileSystem& Files() override { return files_; }

    std::shared_ptr<CannedCommunications> comm;
    std::shared_ptr<vesk::Registry> registry;

  private:
    vesk::ConsoleUi ui_;
    vesk::LocalFileSystem files_;
};

// Readings as the instrument sends them: fields separated by commas, lines by a lone CR.
std::string MakeTransfer(int64_t readings) {
    static const char* const kLabels[] = {"RUN1", "RUN2", "BATH-A", "CAL"};
    std::string text;
    text.reserve(static_cast<size_t>(readings) * 52);
    char line[96];
    for (int64_t i = 1; i <= readings; ++i) {
        const int64_t s = i % 86400;
        const int n = std::snprintf(
            line, sizeof line, "%lld,2024/03/07,%02lld:%02lld:%02lld,%lld,%lld,%s,%.4f,C\r",
            static_cast<long long>(i), static_cast<long long>(s / 3600),
            static_cast<long long>(s / 60 % 60), static_cast<long long>(s % 60),
            static_cast<long long>(i % 12 + 1), static_cast<long long>(i % 4 + 1), kLabels[i % 4],
            20.0 + static_cast<double>(i % 1000) / 997.0);
        text.append(line, static_cast<size_t>(n));
    }
    return text;
}

// Resident set size now, in bytes.
long CurrentRss() {
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

long PeakRss() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss * 1024L;
}

struct Workspace {
    std::string root;
    std::shared_ptr<BenchHost> host;
    std::shared_ptr<vesk::CVesk4710> instrument;

    Workspace() {
        std::string pattern = (fs::temp_directory_path() / "vesk-bench-XXXXXX").string();
        root = mkdtemp(pattern.data());
        fs::create_directories(root + "/temp");
        setenv("TMPDIR", (root + "/temp").c_str(), 1);
        host = std::make_shared<BenchHost>(root);
        host->registry->WriteValue(vesk::kRegDownloadFolder, 0, vesk::kHKeyCurrentUser,
                                   root + "/downloads");
        instrument = vesk::CVesk4710::Create(host);
        instrument->SetRegistry(host->registry);
        instrument->InitializeCommunications();
    }
    ~Workspace() {
        std::error_code ec;
        fs::remove_all(root, ec);
    }
};

Workspace& Shared() {
    static Workspace w;
    return w;
}

void DownloadToOneFile(benchmark::State& state, bool stream) {
    const int64_t readings = state.range(0);
    Workspace& w = Shared();
    const std::string transfer = MakeTransfer(readings);
    w.host->comm->transfer = &transfer;
    w.host->comm->stream = stream;

    // The yardstick: counting the lines of the same text.
    double countSeconds = 1e9;
    for (int rep = 0; rep < 5; ++rep) {
        const auto t0 = Clock::now();
        const auto lines = std::count(transfer.begin(), transfer.end(), '\r');
        benchmark::DoNotOptimize(lines);
        countSeconds =
            std::min(countSeconds, std::chrono::duration<double>(Clock::now() - t0).count());
    }

    vesk::DownloadRequest request;
    request.decimals = 3;
    double seconds = 0;
    double peakOver = 0;
    int64_t written = 0;
    uintmax_t traceBytes = 0;
    for (auto _ : state) {
        const long before = CurrentRss();
        const auto t0 = Clock::now();
        vesk::DownloadResult result = vesk::DownloadLogFiles(*w.instrument, request);
        seconds += std::chrono::duration<double>(Clock::now() - t0).count();
        peakOver = std::max(peakOver, static_cast<double>(PeakRss() - before));
        state.PauseTiming();
        written = result.readings;
        traceBytes = fs::file_size(result.tracePath);
        for (const auto& f : result.files) {
            fs::remove(fs::path(f->Folder()) / f->FileName());
        }
        state.ResumeTiming();
    }
    if (written != readings) {
        state.SkipWithError("not every reading was written");
        return;
    }
    const double perRun = seconds / static_cast<double>(state.iterations());
    state.SetComplexityN(readings);
    state.counters["transfer_MB"] = static_cast<double>(transfer.size()) / 1e6;
    state.counters["trace_MB"] = static_cast<double>(traceBytes) / 1e6;
    state.counters["ns_per_reading"] = perRun * 1e9 / static_cast<double>(readings);
    state.counters["x_line_count"] = perRun / countSeconds;
    if (!stream) {
        // The process's peak: after a larger run it no longer says anything about this one.
        state.counters["peak_x_transfer"] = peakOver / static_cast<double>(transfer.size());
    }
    state.counters["readings_per_s"] =
        benchmark::Counter(static_cast<double>(readings) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

// The transfer handed over whole: the parse and the files.
void BM_DownloadToOneFile(benchmark::State& state) {
    DownloadToOneFile(state, false);
}

// Line by line as a link delivers it: each line also goes to the raw file as it comes.
void BM_DownloadStreamedToOneFile(benchmark::State& state) {
    DownloadToOneFile(state, true);
}

BENCHMARK(BM_DownloadToOneFile)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Complexity(benchmark::oN);
BENCHMARK(BM_DownloadStreamedToOneFile)->Arg(100'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
