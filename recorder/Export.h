#pragma once
// Readings out of a recording database: the CSV layout every tool writes
// (components/readingfile), or JSON lines. Gaps in the range go along: as "# gap:" comment
// lines in CSV, as lines of "type": "gap" in JSON lines.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "recorder/Store.h"

namespace vesk::rec {

struct ExportOptions {
    std::optional<TimeUs> from;  // inclusive
    std::optional<TimeUs> to;    // exclusive
    std::string instrument;      // a name; empty: every instrument
    std::optional<int32_t> channel;
    bool jsonLines = false;
};

// Calls write with consecutive pieces of the output; returns the number of readings.
int64_t ExportReadings(Store& store, const ExportOptions& options,
                       const std::function<void(std::string_view)>& write);

// "2024-03-07", "2024-03-07T12:00:00", "...Z", "...+01:00" (no offset: UTC), or a number of
// microseconds since 1970. Throws AutomationError naming what.
TimeUs ParseTime(std::string_view text, const std::string& what);

}  // namespace vesk::rec
