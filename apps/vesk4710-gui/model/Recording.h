#pragma once
// "Record to file": the readings of a live session, as they arrive, into a CSV file in the
// layout every tool of the project writes (ReadingsCsv). Each row reaches the kernel before
// the next reading is taken, so a crash of the program loses at most the reading in hand.
#include <cstdint>
#include <string>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "components/readingfile/ReadingFile.h"

namespace vesk::gui {

// The columns of a readings file.
inline constexpr std::string_view kReadingColumns[] = {
    "sequence", "time", "instrument", "serial", "channel", "probe", "value", "unit", "conversion"};

// The unit as files carry it: "C", "F", "K", "OHM", "V".
std::string FileUnit(const std::string& displayUnit);

class Recording {
  public:
    // Makes the file (never over an existing one: AutomationError) and writes the metadata
    // lines and the header row. instrument names the link ("sim", "/dev/ttyUSB0").
    Recording(const std::string& path, const std::string& instrument, const std::string& serial);

    // One row; throws AutomationError when the file takes no more (the rows before stay).
    void Write(const Reading& reading, const ChannelInfo& channel);
    uint64_t Count() const { return count_; }
    const std::string& Path() const { return file_.Path(); }

  private:
    files::AppendingFile file_;
    std::string instrument_;
    std::string serial_;
    uint64_t count_ = 0;
    std::string row_;
};

}  // namespace vesk::gui
