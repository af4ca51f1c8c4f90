#include "components/filesystem/LocalFileSystem.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "components/registry/SystemError.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Paths.h"

namespace vesk {

namespace {

constexpr const char* kSource = "LocalFileSystem";
constexpr size_t kBufferLimit = 64 * 1024;

std::string Env(const char* name) {
    const char* v = std::getenv(name);
    return v != nullptr ? std::string(v) : std::string();
}

std::string StripTrailingSlash(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

bool IsFolder(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string HomeFolder() {
    std::string home = Env("HOME");
    if (!home.empty()) {
        return StripTrailingSlash(home);
    }
    if (const struct passwd* pw = ::getpwuid(::getuid()); pw != nullptr && pw->pw_dir) {
        return pw->pw_dir;
    }
    return "/";
}

// XDG variables count only when absolute.
std::string XdgFolder(const char* variable, const char* fallbackUnderHome) {
    std::string v = Env(variable);
    if (!v.empty() && v.front() == '/') {
        return StripTrailingSlash(v);
    }
    return HomeFolder() + "/" + fallbackUnderHome;
}

class LocalTextFile : public ITextFile {
  public:
    LocalTextFile(int fd, std::string path) : fd_(fd), path_(std::move(path)) {}
    ~LocalTextFile() override {
        if (fd_ >= 0) {
            try {
                WriteBuffer();
            } catch (...) {
                // Nobody is left to tell; Close() is where failures are reported.
            }
            ::close(fd_);
        }
    }
    LocalTextFile(const LocalTextFile&) = delete;
    LocalTextFile& operator=(const LocalTextFile&) = delete;

    void Write(std::string_view text) override {
        RequireOpen();
        buffer_.append(text);
        if (buffer_.size() >= kBufferLimit) {
            WriteBuffer();
        }
    }

    void WriteLine(std::string_view line) override {
        RequireOpen();
        buffer_.append(line);
        buffer_.push_back('\n');
        if (buffer_.size() >= kBufferLimit) {
            WriteBuffer();
        }
    }

    void Flush() override {
        RequireOpen();
        WriteBuffer();
    }

    void Sync() override {
        Flush();
        if (::fsync(fd_) != 0) {
            RaiseErrno(errno, "Cannot write file", path_, kSource, true);
        }
    }

    void Close() override {
        if (fd_ < 0) {
            return;
        }
        // On failure the file stays open with its unwritten text, so a retry can succeed.
        WriteBuffer();
        const int fd = fd_;
        fd_ = -1;
        if (::close(fd) != 0 && errno != EINTR) {
            RaiseErrno(errno, "Cannot close file", path_, kSource, true);
        }
    }

  private:
    void RequireOpen() const {
        if (fd_ < 0) {
            throw AutomationError(kErrDeviceIO, "File is already closed: '" + path_ + "'", kSource);
        }
    }

    void WriteBuffer() {
        size_t done = 0;
        while (done < buffer_.size()) {
            const ssize_t n = ::write(fd_, buffer_.data() + done, buffer_.size() - done);
            if (n < 0) {
                if (errno == EINTR) {
                    continue;
                }
                const int err = errno;
                buffer_.erase(0, done);
                RaiseErrno(err, "Cannot write file", path_, kSource, true);
            }
            done += static_cast<size_t>(n);
        }
        buffer_.clear();
    }

    int fd_;
    std::string path_;
    std::string buffer_;
};

}  // namespace

std::string LocalFileSystem::GetSpecialFolder(SpecialFolder which) {
    switch (which) {
        case SpecialFolder::Temporary: {
            std::string tmp = Env("TMPDIR");
            return tmp.empty() ? std::string("/tmp") : StripTrailingSlash(tmp);
        }
        case SpecialFolder::Library:
            return StripTrailingSlash(LibraryFolder());
        case SpecialFolder::System:
            return "/usr/lib";
        case SpecialFolder::Documents: {
            std::string docs = Env("XDG_DOCUMENTS_DIR");
            if (!docs.empty() && docs.front() == '/') {
                return StripTrailingSlash(docs);
            }
            const std::string home = HomeFolder();
            return IsFolder(home + "/Documents") ? home + "/Documents" : home;
        }
        case SpecialFolder::Home:
            return HomeFolder();
        case SpecialFolder::Config:
            return XdgFolder("XDG_CONFIG_HOME", ".config");
        case SpecialFolder::State:
            return XdgFolder("XDG_STATE_HOME", ".local/state");
    }
    throw AutomationError(kErrInvalidProcedureCall, "Unknown special folder", kSource);
}

std::string LocalFileSystem::BuildPath(const std::string& folder, const std::string& name) {
    if (folder.empty()) {
        return name;
    }
    if (name.empty()) {
        return folder;
    }
    const bool folderSlash = folder.back() == '/';
    const bool nameSlash = name.front() == '/';
    if (folderSlash && nameSlash) {
        return folder + name.substr(1);
    }
    if (folderSlash || nameSlash) {
        return folder + name;
    }
    return folder + "/" + name;
}

bool LocalFileSystem::FileExists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

void LocalFileSystem::DeleteFile(const std::string& path) {
    if (::unlink(path.c_str()) != 0) {
        const int err = errno;
        if (err == ENOENT) {
            throw AutomationError(kErrFileNotFound, "File not found: '" + path + "'", kSource);
        }
        RaiseErrno(err, "Cannot delete file", path, kSource, true);
    }
}

bool LocalFileSystem::RenameFile(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0) {
        int err = errno;
        if (err == EINVAL || err == ENOSYS) {
            // A file system without the no-replace rename: a hard link is refused just the same
            // when the name is taken.
            err = ::link(from.c_str(), to.c_str()) == 0 ? 0 : errno;
            if (err == 0) {
                ::unlink(from.c_str());
            }
        }
        if (err == EEXIST) {
            return false;
        }
        if (err != 0) {
            RaiseErrno(err, "Cannot rename file", from, kSource, true);
        }
    }
    // The new name lasts only once the folder is on the disk too.
    std::string folder = to.substr(0, to.rfind('/') + 1);
    const int dir =
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

std::unique_ptr<ITextFile> LocalFileSystem::CreateTextFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd < 0) {
        RaiseErrno(errno, "Cannot create file", path, kSource, true);
    }
    return std::make_unique<LocalTextFile>(fd, path);
}

}  // namespace vesk
