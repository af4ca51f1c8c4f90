#pragma once
// Download files: one CSV per download (or per logging label), written to the user's download
// folder, and opened or printed later through external programs started without a shell. A file
// is written under a hidden temporary name and takes its own (or the next free) name only once
// it is complete and on the disk, so a full disk or a crash never leaves a cut file under a
// download's name and no download ever replaces another.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vesk4710/platform/IFileSystem.h"
#include "vesk4710/platform/IOutputFile.h"
#include "vesk4710/platform/IRegistry.h"
#include "vesk4710/platform/IUiServices.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk {

// Failures of the external viewer and printer programs.
inline constexpr int32_t kErrViewFailed = kObjectErrorBase + 1201;
inline constexpr int32_t kErrPrintFailed = kObjectErrorBase + 1202;
// The download folder is missing and cannot be made, or is not a folder.
inline constexpr int32_t kErrDownloadFolder = kObjectErrorBase + 1203;

// The header row of a download file, after its "#" metadata lines (the readings layout of
// components/readingfile). The time is the instrument clock's, read as this computer's local
// time, with its UTC offset.
inline constexpr std::string_view kOutputColumns[] = {
    "sequence", "time", "channel", "label_number", "label", "value", "unit"};

class OutputFile : public IOutputFile {
  public:
    // ui and files must outlive the object (they belong to the host that made it).
    static std::shared_ptr<OutputFile> Create(std::shared_ptr<IRegistry> registry, IUiServices& ui,
                                              IFileSystem& files);
    ~OutputFile() override;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void SetRegistry(std::shared_ptr<IRegistry> registry) override;
    std::shared_ptr<IRegistry> Registry() const override;
    void Create(const OutputFileSpec& spec) override;
    // Fields of one transfer line: seq, date, time, channel, label number, label, value, unit.
    // Emf in volts goes out in millivolts (kEmfUnit), digit for digit.
    void WriteReading(const std::vector<std::string_view>& fields) override;
    void WriteComment(std::string_view text) override;
    // Syncs the file and gives it its name, or "<name>_2.csv", "<name>_3.csv", ... when that is
    // taken. On failure nothing is left in the folder.
    void Close() override;
    std::string Folder() const override;
    std::string FileName() const override;
    // flag: wait for the launcher's verdict so that a failure is reported.
    void View(bool flag) override;
    // Prints with the system's default printer (lp); selectPrinter is honoured by choosing
    // the "PrinterName" per-user value when one is set.
    void Print(bool selectPrinter) override;

    // Full path of the file (empty before Create).
    std::string Path() const;
    // Readings written so far.
    int64_t Readings() const { return readings_; }

    // Where download files go: the "DownloadFolder" value, else documents, else home.
    static std::string DownloadFolder(IRegistry* registry, IFileSystem& files);
    // File name of a download: model, log, label and time, safe as one path component.
    static std::string MakeFileName(const OutputFileSpec& spec);
    // One file-name component from arbitrary text: no separators, dots, control characters
    // or excess length; a lossy change appends a short hash so distinct labels stay distinct.
    static std::string SafeNamePart(std::string_view text, size_t maxLength = 32);
    // A CSV field: quoted when needed; text fields are guarded against formula injection.
    static void AppendCsv(std::string& out, std::string_view field, bool text);

  private:
    OutputFile(std::shared_ptr<IRegistry> registry, IUiServices& ui, IFileSystem& files);
    void Flush();
    // Drops the unfinished file.
    void Discard() noexcept;
    [[noreturn]] void Fail(const char* member, std::string description, int32_t number) const;

    std::shared_ptr<IRegistry> registry_;
    IUiServices& ui_;
    IFileSystem& files_;
    std::unique_ptr<ITextFile> file_;
    std::string tempPath_;  // where the open file is written
    std::string folder_;
    std::string name_;
    std::string format_;
    std::string buffer_;
    int64_t readings_ = 0;
};

}  // namespace vesk
