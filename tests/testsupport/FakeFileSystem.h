#pragma once
// File system over real files in a fresh temporary folder, removed at destruction. Special
// folders are subfolders of it. Failures can be injected: creation refused, a full disk on
// write (after a capacity) or on close.
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vesk4710/platform/IFileSystem.h"

namespace vesk::test {

class FakeFileSystem : public IFileSystem {
  public:
    FakeFileSystem();
    ~FakeFileSystem() override;
    FakeFileSystem(const FakeFileSystem&) = delete;
    FakeFileSystem& operator=(const FakeFileSystem&) = delete;

    std::string GetSpecialFolder(SpecialFolder which) override;
    std::string BuildPath(const std::string& folder, const std::string& name) override;
    bool FileExists(const std::string& path) override;
    // A missing file raises 53 (file not found).
    void DeleteFile(const std::string& path) override;
    bool RenameFile(const std::string& from, const std::string& to) override;
    std::unique_ptr<ITextFile> CreateTextFile(const std::string& path) override;

    // The temporary root folder of this instance.
    const std::string& Root() const { return root_; }
    // Whole content of a file ("" when missing).
    static std::string ReadFile(const std::string& path);
    // Writes a file directly (test setup).
    void WriteFile(const std::string& path, const std::string& content);
    // Overrides a special folder (e.g. Library placed inside System).
    std::map<SpecialFolder, std::string> folderOverrides;

    // Failure injection.
    bool failCreate = false;             // CreateTextFile raises 70 (permission denied)
    std::optional<size_t> diskCapacity;  // bytes all files may hold; beyond it Write raises 61
    std::string fullFolder;              // files under it cannot grow: Write raises 61
    bool vanishBeforeDelete = false;     // someone else removes a file just before DeleteFile

    std::vector<std::string> created;  // paths passed to CreateTextFile, in order
    std::vector<std::string> deleted;
    size_t bytesWritten = 0;  // across all files of this instance

  private:
    std::string root_;
};

}  // namespace vesk::test
