#pragma once
// "Record to file": the readings of a live session, as they arrive, into a CSV file in the
// layout every tool of the project writes (ReadingsCsv). Each row reaches the kernel before
// the next reading is taken, so a crash of the program loses at most the reading in hand.
#include <cstdint>
#include <string>
#include <vector>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "components/readingfile/ReadingFile.h"

namespace vesk::gui {

// The unit as files carry it: "C", "F", "K", "OHM", "mV".
std::string FileUnit(const std::string& displayUnit);

// The "#" lines and the header row of a readings file.
std::string ReadingsHead(const std::string& source, const std::string& instrument,
                         const std::string& serial);
// One reading as a row of that file.
void AppendReadingRow(std::string& out, uint64_t sequence, const Reading& reading,
                      const ChannelInfo& channel, const std::string& instrument,
                      const std::string& serial);
// Every reading the buffer holds, in time order, into path (replaced whole, through a
// temporary file, as the user chose it). Empty on success, otherwise why it failed.
std::string ExportReadings(const ReadingBuffer& buffer, const std::string& path,
                           const std::string& instrument, const std::string& serial,
                           const std::vector<ChannelInfo>& channels);

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
