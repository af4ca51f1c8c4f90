#pragma once
// The one layout for files of readings, and the way such files reach the disk.
//
//   # instrument: bath-1            metadata, one "# key: value" line each
//   # time zone: UTC
//   sequence,time,channel,...       one header row
//   1,2024-03-07T12:34:56.250+00:00,1,...
//
// Timestamps are ISO 8601 with their UTC offset; values go out as the instrument sent them.
// Analysis tools read the file as it is (pandas: read_csv(path, comment="#")).
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vesk::files {

// A file written under a temporary name in its own folder and put in place by Commit(),
// after fsync. An existing file is never replaced unless asked for; without Commit() (an
// error, an exception) the temporary file is removed and nothing appears.
class AtomicFile {
  public:
    enum class Existing : uint8_t { kKeep, kReplace };
    // Throws AutomationError when the target exists (kKeep) or the folder takes no file.
    explicit AtomicFile(std::string path, Existing existing = Existing::kKeep);
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    void Write(std::string_view data);
    // Throws AutomationError (disk full, target appeared meanwhile); the temporary file is
    // gone afterwards either way.
    void Commit();
    const std::string& Path() const { return path_; }

  private:
    [[noreturn]] void Fail(int err, const char* what);

    std::string path_;
    std::string temp_;
    Existing existing_;
    std::FILE* file_ = nullptr;
};

// A file that grows as rows arrive (a recording): made new, never over an existing file. Each
// Append goes to the kernel at once, so a program that is killed loses nothing it appended;
// Sync() also asks the disk to keep what was written (a power cut).
class AppendingFile {
  public:
    // Throws AutomationError when the file exists or cannot be made.
    explicit AppendingFile(std::string path);
    ~AppendingFile();
    AppendingFile(const AppendingFile&) = delete;
    AppendingFile& operator=(const AppendingFile&) = delete;

    // Throws AutomationError (disk full, the file gone bad); what went before stays.
    void Append(std::string_view data);
    void Sync();
    const std::string& Path() const { return path_; }

  private:
    std::string path_;
    int fd_ = -1;
};

// "2024-03-07T12:34:56.250+00:00": microseconds since the Unix epoch shown at a UTC offset
// (seconds east), with 0, 3 or 6 decimals.
std::string IsoTime(int64_t unixMicros, int decimals = 3, int32_t offsetSeconds = 0);
// The same, appended to out (the fast path of long exports).
void AppendIsoTime(std::string& out, int64_t unixMicros, int decimals, int32_t offsetSeconds);

// Seconds east of UTC of this computer's local time at that moment.
int32_t LocalUtcOffset(int64_t unixSeconds);
// The local time zone as the "time zone" line names it: "local (CET)".
std::string LocalZoneText();
// A date "2024/03/07" (or "2024-03-07") and time "12:34:56" from a clock that keeps this computer's
// local time, as "2024-03-07T12:34:56+01:00" with the offset in force then; nullopt when they are
// not such a date and time. In the hour a clock goes back, the offset is the C library's choice.
std::optional<std::string> IsoFromLocalClock(std::string_view date, std::string_view time);

// Thermocouple emf, in every tool and file.
inline constexpr std::string_view kEmfUnit = "mV";
// The same number scaled by 10^places, digit for digit: ("6146.487", -3) -> "6.146487",
// ("0.0061465", 3) -> "6.1465"; the digits sent are all kept. nullopt unless the text is a
// decimal number (sign, digits, one point, exponent).
std::optional<std::string> ShiftDecimal(std::string_view text, int places);

// One CSV field appended to out. Text fields are quoted when they need it, and one that a
// spreadsheet would run as a formula (leading = + - @) is quoted with a leading apostrophe;
// numbers (text false) go out untouched. Control bytes become spaces.
void AppendCsvField(std::string& out, std::string_view field, bool text);

using Metadata = std::vector<std::pair<std::string, std::string>>;

// The columns of recorded readings, as the recorder's export and the desktop app write them.
inline constexpr std::string_view kRecordingColumns[] = {
    "sequence", "time", "instrument", "serial", "channel", "probe", "value", "unit", "conversion"};

// Rows of readings in the layout above, into any sink of text.
class ReadingsCsv {
  public:
    explicit ReadingsCsv(std::string& out) : out_(out) {}
    // Metadata lines first, then the header row once.
    void Begin(const Metadata& metadata, std::span<const std::string_view> columns);
    // A comment line among the metadata (before Begin) or the rows.
    void Comment(std::string_view text);
    // One field of the current row (AppendCsvField).
    void Field(std::string_view text, bool number = false);
    void EndRow();

  private:
    std::string& out_;
    bool first_ = true;
};

}  // namespace vesk::files
