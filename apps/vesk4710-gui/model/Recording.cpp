#include "apps/vesk4710-gui/model/Recording.h"

#include <fmt/format.h>

#include <ctime>

#include "apps/vesk4710-gui/model/ChartScale.h"

namespace vesk::gui {

std::string FileUnit(const std::string& displayUnit) {
    if (displayUnit == "\u00B0C" || displayUnit == "\u00B0F") {
        return displayUnit.substr(displayUnit.size() - 1);
    }
    if (displayUnit == "\u03A9") {
        return "OHM";
    }
    return displayUnit;
}

Recording::Recording(const std::string& path, const std::string& instrument,
                     const std::string& serial)
    : file_(path), instrument_(instrument), serial_(serial) {
    std::string head;
    files::ReadingsCsv csv(head);
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    csv.Begin({{"source", "vesk4710-gui recording"},
               {"instrument", instrument_},
               {"serial", serial_},
               {"time zone", fmt::format("local ({})", local.tm_zone)}},
              kReadingColumns);
    file_.Append(head);
}

void Recording::Write(const Reading& reading, const ChannelInfo& channel) {
    row_.clear();
    files::ReadingsCsv csv(row_);
    csv.Field(fmt::format("{}", count_ + 1), true);
    csv.Field(files::IsoTime(reading.time * 1000, 3, LocalUtcOffset(reading.time)), true);
    csv.Field(instrument_);
    csv.Field(serial_);
    csv.Field(fmt::format("{}", reading.channel), true);
    csv.Field(channel.serial);
    // {fmt} writes the shortest text that reads back as the same number.
    csv.Field(fmt::format("{}", reading.value), true);
    csv.Field(FileUnit(reading.unit));
    csv.Field(channel.conversionCode);
    csv.EndRow();
    file_.Append(row_);
    ++count_;
}

}  // namespace vesk::gui
