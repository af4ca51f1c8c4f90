#pragma once
// What the recorder records: the database, the instruments (device, name, channels, interval,
// the endpoint that shares each) and how it retries. Read from a TOML file or made from the
// command line for one instrument.
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::rec {

using Millis = std::chrono::milliseconds;

struct InstrumentConfig {
    std::string name;
    std::string device;
    int32_t baud = 9600;
    std::vector<int32_t> channels;  // empty: every channel the instrument has
    Millis every{1000};             // 0: each new reading
    Millis timeout{2000};           // reply time-out
    std::string serve;              // endpoint address; empty: not shared
};

struct RetryPolicy {
    Millis first{1000};
    Millis max{60000};
};

struct RecorderConfig {
    std::string database;
    std::vector<InstrumentConfig> instruments;
    RetryPolicy retry;
};

// "250ms", "1s", "1.5s", "2m", "1h", or a plain number of seconds; "new" is 0 where allowed.
// Throws AutomationError naming what.
Millis ParseDuration(std::string_view text, const std::string& what, bool allowNew = false);

// Throws AutomationError that names the file, the key and what is wrong with it.
RecorderConfig LoadConfig(const std::string& path);
// Throws AutomationError naming the first wrong value.
void Validate(const RecorderConfig& config);

}  // namespace vesk::rec
