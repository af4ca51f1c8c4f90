// read_and_download: opens a 4710, reads its settings, prints the readings of channels 1 and 2
// for a while and downloads the demand log into the download folder.
//
//   read_and_download                         the embedded simulator, 10 seconds
//   read_and_download /dev/ttyUSB0 --baud 9600 --seconds 60
//   read_and_download tcp://192.0.2.10:4001 --trace io.log
#include <charconv>
#include <chrono>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/DefaultHost.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/support/AutomationError.h"

namespace {

struct Options {
    std::string device = "sim";
    int baud = 9600;
    int seconds = 10;
    std::string trace;
};

int Usage(const char* program) {
    std::cerr << "usage: " << program
              << " [DEVICE] [--baud N] [--seconds N] [--trace FILE]\n"
                 "  DEVICE  sim (default), a serial device such as /dev/ttyUSB0, or "
                 "tcp://HOST:PORT\n";
    return 2;
}

bool ParseInt(std::string_view text, int& value) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size();
}

bool ParseArgs(int argc, char** argv, Options& o) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--baud" && hasValue) {
            if (!ParseInt(argv[++i], o.baud) || o.baud <= 0) {
                return false;
            }
        } else if (arg == "--seconds" && hasValue) {
            if (!ParseInt(argv[++i], o.seconds) || o.seconds < 0) {
                return false;
            }
        } else if (arg == "--trace" && hasValue) {
            o.trace = argv[++i];
        } else if (!arg.empty() && arg[0] != '-') {
            o.device = arg;
        } else {
            return false;
        }
    }
    return true;
}

const char* UnitSymbol(vesk::E4710Units units) {
    switch (static_cast<int>(units)) {
        case vesk::UNITS_DEGREESC:
            return "C";
        case vesk::UNITS_DEGREESF:
            return "F";
        case 2:
            return "K";
        default:
            return "";
    }
}

int Run(const Options& o) {
    vesk::HostOptions hostOptions;
    hostOptions.comm.device = o.device;
    hostOptions.comm.baud = o.baud;
    hostOptions.comm.tracePath = o.trace;
    // Unattended: a download over the previous one replaces it without asking.
    hostOptions.assumeYes = true;
    // The default host: real components; the device "sim" is the embedded simulator.
    auto host = vesk::MakeDefaultHost(hostOptions);

    // The instrument owns its modules and channels; channel references point back to it
    // weakly, so they are only good while `instrument` lives.
    auto instrument = vesk::CVesk4710::Create(host);
    instrument->SetRegistry(host->CreateRegistry());
    instrument->InitializeCommunications();
    if (!instrument->QueryInfo()) {
        std::cerr << "reading the instrument failed (the step is named above) or was cancelled\n";
        return 1;
    }
    std::cout << "instrument: " << instrument->Identification() << '\n'
              << "channels:   " << instrument->NumChannels() << '\n';

    std::vector<std::shared_ptr<vesk::CVesk4710Channel>> channels;
    for (int16_t n = 1; n <= 2 && n <= instrument->NumChannels(); ++n) {
        if (auto channel = instrument->GetChannelReference(n)) {
            channels.push_back(channel);
        }
    }
    const char* unit = UnitSymbol(instrument->Units());
    // One round of readings a second, the first at once.
    auto next = std::chrono::steady_clock::now();
    const auto end = next + std::chrono::seconds(o.seconds);
    for (;;) {
        for (const auto& channel : channels) {
            const int16_t number = channel->ActualChannel();
            const double value = instrument->QueryMeasurement(number);
            std::cout << "channel " << number << ": " << std::fixed << std::setprecision(4) << value
                      << ' ' << unit << std::endl;
        }
        next += std::chrono::seconds(1);
        if (next >= end) {
            break;
        }
        std::this_thread::sleep_until(next);
    }

    vesk::DownloadRequest request;
    request.log = vesk::DOWNLOAD_DEMAND_LOG;
    const vesk::DownloadResult result = vesk::DownloadLogFiles(*instrument, request);
    std::cout << "demand log: " << result.readings << " readings\n";
    for (const auto& file : result.files) {
        std::cout << "written:    "
                  << (std::filesystem::path(file->Folder()) / file->FileName()).string() << '\n';
    }
    if (result.outcome != vesk::DownloadOutcome::Written &&
        result.outcome != vesk::DownloadOutcome::NoReadings) {
        std::cerr << "download: " << result.message << '\n';
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseArgs(argc, argv, options)) {
        return Usage(argv[0]);
    }
    try {
        return Run(options);
    } catch (const vesk::AutomationError& e) {
        // Every failure of the library arrives as an AutomationError: number, text, source.
        std::cerr << "error " << e.Number() << " in " << e.Source() << ": " << e.Description()
                  << '\n';
        return 1;
    }
}
