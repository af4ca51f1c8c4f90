#pragma once
// Output files of a download: created in the download folder, filled reading by reading,
// closed, and later viewed or printed from the downloaded-files dialog.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {

class IRegistry;

// What a new download file's header names and how its readings are formatted.
struct OutputFileSpec {
    std::string model;         // "4710"
    std::string serial;        // instrument serial number
    std::string log;           // "demand" or "auto"
    std::string label;         // logging label of this file, empty for all
    std::string downloadTime;  // ISO date and time of the download
    std::string valueFormat;   // number format of readings ("###0.00")
};

class IOutputFile {
  public:
    virtual ~IOutputFile() = default;
    virtual void SetRegistry(std::shared_ptr<IRegistry> registry) = 0;
    virtual std::shared_ptr<IRegistry> Registry() const = 0;
    // Starts a file for the download folder. It appears there only when Close succeeds, under
    // a name no earlier file has: an existing file is never replaced.
    virtual void Create(const OutputFileSpec& spec) = 0;
    // One reading: the fields of one transfer line.
    virtual void WriteReading(const std::vector<std::string_view>& fields) = 0;
    // A comment line after the readings ("# " and the text), such as the mark of a download
    // that ended early.
    virtual void WriteComment(std::string_view text) = 0;
    virtual void Close() = 0;
    // Where the file is, once closed; before that, where it is meant to go.
    virtual std::string Folder() const = 0;
    virtual std::string FileName() const = 0;
    // Opens the file in the desktop's viewer.
    virtual void View(bool flag) = 0;
    // Sends the file to the printer, first letting the user choose one when asked.
    virtual void Print(bool selectPrinter) = 0;
};

}  // namespace vesk
