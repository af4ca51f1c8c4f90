#pragma once
// File-system services: folders, path building, existence, deletion, renaming and text writing.
#include <memory>
#include <string>
#include <string_view>

namespace vesk {

class ITextFile {
  public:
    virtual ~ITextFile() = default;
    virtual void Write(std::string_view text) = 0;
    virtual void WriteLine(std::string_view line) = 0;
    // Hands what was written to the system: a process killed afterwards does not lose it.
    virtual void Flush() = 0;
    // Flushes and waits until the text is on the disk.
    virtual void Sync() = 0;
    // Flushes and closes; raises on a write failure (a full disk).
    virtual void Close() = 0;
};

enum class SpecialFolder { Temporary, Library, System, Documents, Home, Config, State };

class IFileSystem {
  public:
    virtual ~IFileSystem() = default;
    virtual std::string GetSpecialFolder(SpecialFolder which) = 0;
    virtual std::string BuildPath(const std::string& folder, const std::string& name) = 0;
    virtual bool FileExists(const std::string& path) = 0;
    virtual void DeleteFile(const std::string& path) = 0;
    // Gives the file at from the path to (in the same folder) and makes that last, unless a file
    // has that path already: then nothing changes and the answer is false.
    virtual bool RenameFile(const std::string& from, const std::string& to) = 0;
    // Creates (or truncates) a text file for writing; raises AutomationError on failure.
    virtual std::unique_ptr<ITextFile> CreateTextFile(const std::string& path) = 0;
};

}  // namespace vesk
