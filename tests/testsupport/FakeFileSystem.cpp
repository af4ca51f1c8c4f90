#include "tests/testsupport/FakeFileSystem.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

namespace fs = std::filesystem;

namespace {

class FakeTextFile : public ITextFile {
  public:
    FakeTextFile(FakeFileSystem& owner, std::string path)
        : owner_(owner), path_(std::move(path)), out_(path_, std::ios::binary | std::ios::trunc) {}

    void Write(std::string_view text) override {
        if (!out_.is_open()) {
            throw AutomationError(kErrDeviceIO, "File is closed: " + path_);
        }
        if (!owner_.fullFolder.empty() && path_.rfind(owner_.fullFolder + "/", 0) == 0) {
            throw AutomationError(kErrDiskFull, "Disk full: " + path_);
        }
        if (owner_.diskCapacity && owner_.bytesWritten + text.size() > *owner_.diskCapacity) {
            // Keep what fits, like a real full disk.
            const size_t room = *owner_.diskCapacity - owner_.bytesWritten;
            out_.write(text.data(), static_cast<std::streamsize>(room));
            owner_.bytesWritten += room;
            throw AutomationError(kErrDiskFull, "Disk full: " + path_);
        }
        out_.write(text.data(), static_cast<std::streamsize>(text.size()));
        owner_.bytesWritten += text.size();
    }

    void WriteLine(std::string_view line) override { Write(std::string(line) + "\n"); }

    void Flush() override { out_.flush(); }
    void Sync() override { out_.flush(); }
    void Close() override { out_.close(); }

  private:
    FakeFileSystem& owner_;
    std::string path_;
    std::ofstream out_;
};

std::string FolderName(SpecialFolder which) {
    static const char* const names[] = {"temp", "lib",    "system", "documents",
                                        "home", "config", "state"};
    return names[static_cast<int>(which)];
}

}  // namespace

FakeFileSystem::FakeFileSystem() {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        (tmp && *tmp ? std::string(tmp) : std::string("/tmp")) + "/vesk-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("cannot create a temporary folder from " + pattern);
    }
    root_ = pattern;
}

FakeFileSystem::~FakeFileSystem() {
    std::error_code ec;
    fs::remove_all(root_, ec);
}

std::string FakeFileSystem::GetSpecialFolder(SpecialFolder which) {
    auto o = folderOverrides.find(which);
    std::string folder = o != folderOverrides.end() ? o->second : root_ + "/" + FolderName(which);
    std::error_code ec;
    fs::create_directories(folder, ec);
    return folder;
}

std::string FakeFileSystem::BuildPath(const std::string& folder, const std::string& name) {
    return folder.empty() || folder.back() == '/' ? folder + name : folder + "/" + name;
}

bool FakeFileSystem::FileExists(const std::string& path) {
    std::error_code ec;
    return fs::is_regular_file(path, ec);
}

void FakeFileSystem::DeleteFile(const std::string& path) {
    std::error_code ec;
    if (vanishBeforeDelete) {
        fs::remove(path, ec);
    }
    if (!fs::remove(path, ec)) {
        throw AutomationError(kErrFileNotFound, "File not found: " + path);
    }
    deleted.push_back(path);
}

bool FakeFileSystem::RenameFile(const std::string& from, const std::string& to) {
    if (fs::exists(to)) {
        return false;
    }
    fs::rename(from, to);
    return true;
}

std::unique_ptr<ITextFile> FakeFileSystem::CreateTextFile(const std::string& path) {
    created.push_back(path);
    if (failCreate) {
        throw AutomationError(kErrPermissionDenied, "Permission denied: " + path);
    }
    auto file = std::make_unique<FakeTextFile>(*this, path);
    if (!fs::exists(path)) {
        throw AutomationError(kErrPathNotFound, "Path not found: " + path);
    }
    return file;
}

std::string FakeFileSystem::ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void FakeFileSystem::WriteFile(const std::string& path, const std::string& content) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path(), ec);
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

}  // namespace vesk::test
