#include "apps/vesk4710-gui/model/Recording.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "apps/vesk4710-gui/model/ChartScale.h"
#include "vesk4710/support/AutomationError.h"

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

std::string ReadingsHead(const std::string& source, const std::string& instrument,
                         const std::string& serial) {
    std::string head;
    files::ReadingsCsv csv(head);
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    csv.Begin({{"source", source},
               {"instrument", instrument},
               {"serial", serial},
               {"time zone", fmt::format("local ({})", local.tm_zone)}},
              files::kRecordingColumns);
    return head;
}

void AppendReadingRow(std::string& out, uint64_t sequence, const Reading& reading,
                      const ChannelInfo& channel, const std::string& instrument,
                      const std::string& serial) {
    files::ReadingsCsv csv(out);
    csv.Field(fmt::format("{}", sequence), true);
    csv.Field(files::IsoTime(reading.time * 1000, 3, LocalUtcOffset(reading.time)), true);
    csv.Field(instrument);
    csv.Field(serial);
    csv.Field(fmt::format("{}", reading.channel), true);
    csv.Field(channel.serial);
    // The instrument's own digits; where they are not at hand, {fmt}'s shortest text that
    // reads back as the same number, in any locale.
    csv.Field(reading.text.empty() ? fmt::format("{}", reading.value) : reading.text, true);
    csv.Field(FileUnit(reading.unit));
    csv.Field(channel.conversionCode);
    csv.EndRow();
}

std::string ExportReadings(const ReadingBuffer& buffer, const std::string& path,
                           const std::string& instrument, const std::string& serial,
                           const std::vector<ChannelInfo>& channels) {
    try {
        std::string text = ReadingsHead("vesk4710-gui export", instrument, serial);
        uint64_t sequence = 0;
        buffer.ForEachInTimeOrder([&](int16_t channel, const Sample& s, const std::string& unit) {
            const auto info =
                std::find_if(channels.begin(), channels.end(),
                             [channel](const ChannelInfo& c) { return c.number == channel; });
            AppendReadingRow(text, ++sequence, {channel, s.time, s.value, unit, {}},
                             info != channels.end() ? *info : ChannelInfo{}, instrument, serial);
        });
        // The user chose the name and agreed to replace a file of that name.
        files::AtomicFile file(path, files::AtomicFile::Existing::kReplace);
        file.Write(text);
        file.Commit();
    } catch (const AutomationError& e) {
        return e.Description();
    }
    return {};
}

Recording::Recording(const std::string& path, const std::string& instrument,
                     const std::string& serial)
    : file_(path), instrument_(instrument), serial_(serial) {
    file_.Append(ReadingsHead("vesk4710-gui recording", instrument_, serial_));
}

void Recording::Write(const Reading& reading, const ChannelInfo& channel) {
    row_.clear();
    AppendReadingRow(row_, count_ + 1, reading, channel, instrument_, serial_);
    file_.Append(row_);
    ++count_;
}

}  // namespace vesk::gui
