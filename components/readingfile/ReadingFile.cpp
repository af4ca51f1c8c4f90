#include "components/readingfile/ReadingFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "components/registry/SystemError.h"

namespace vesk::files {

namespace {

constexpr const char* kSource = "vesk4710 files";

void Append2(std::string& out, unsigned value) {
    out.push_back(static_cast<char>('0' + value / 10));
    out.push_back(static_cast<char>('0' + value % 10));
}

}  // namespace

AtomicFile::AtomicFile(std::string path, Existing existing)
    : path_(std::move(path)), existing_(existing) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (existing_ == Existing::kKeep && fs::exists(path_, ec)) {
        RaiseErrno(EEXIST, "Will not replace the existing file", path_, kSource);
    }
    const fs::path target(path_);
    const std::string name = target.filename().string();
    temp_ = (target.parent_path() / ("." + name + ".XXXXXX")).string();
    const int fd = ::mkostemp(temp_.data(), O_CLOEXEC);
    if (fd < 0) {
        RaiseErrno(errno, "Cannot create a file beside", path_, kSource);
    }
    ::fchmod(fd, 0644);
    file_ = ::fdopen(fd, "wb");
    if (file_ == nullptr) {
        const int err = errno;
        ::close(fd);
        Fail(err, "Cannot write");
    }
}

AtomicFile::~AtomicFile() {
    if (file_ != nullptr) {
        std::fclose(file_);
        ::unlink(temp_.c_str());
    }
}

void AtomicFile::Fail(int err, const char* what) {
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    ::unlink(temp_.c_str());
    RaiseErrno(err, what, path_, kSource);
}

void AtomicFile::Write(std::string_view data) {
    if (file_ == nullptr) {
        RaiseErrno(EBADF, "The file is already closed:", path_, kSource);
    }
    if (std::fwrite(data.data(), 1, data.size(), file_) != data.size()) {
        Fail(errno, "Cannot write");
    }
}

void AtomicFile::Commit() {
    if (file_ == nullptr) {
        RaiseErrno(EBADF, "The file is already closed:", path_, kSource);
    }
    if (std::fflush(file_) != 0 || ::fsync(::fileno(file_)) != 0) {
        Fail(errno, "Cannot write");
    }
    const int closed = std::fclose(file_);
    file_ = nullptr;
    if (closed != 0) {
        Fail(errno, "Cannot write");
    }
    // RENAME_NOREPLACE refuses a file that appeared meanwhile instead of replacing it.
    const unsigned flags = existing_ == Existing::kKeep ? RENAME_NOREPLACE : 0;
    if (::renameat2(AT_FDCWD, temp_.c_str(), AT_FDCWD, path_.c_str(), flags) != 0) {
        Fail(errno, existing_ == Existing::kKeep ? "Will not replace" : "Cannot rename onto");
    }
    const std::string folder = std::filesystem::path(path_).parent_path().string();
    const int dir =
        ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);  // the rename itself survives a power cut
        ::close(dir);
    }
}

AppendingFile::AppendingFile(std::string path) : path_(std::move(path)) {
    fd_ = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0644);
    if (fd_ < 0) {
        RaiseErrno(errno, errno == EEXIST ? "Will not replace the existing file" : "Cannot create",
                   path_, kSource);
    }
}

AppendingFile::~AppendingFile() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void AppendingFile::Append(std::string_view data) {
    while (!data.empty()) {
        const ssize_t n = ::write(fd_, data.data(), data.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            RaiseErrno(n < 0 ? errno : ENOSPC, "Cannot write", path_, kSource);
        }
        data.remove_prefix(static_cast<size_t>(n));
    }
}

void AppendingFile::Sync() {
    if (::fdatasync(fd_) != 0) {
        RaiseErrno(errno, "Cannot write", path_, kSource);
    }
}

void AppendIsoTime(std::string& out, int64_t unixMicros, int decimals, int32_t offsetSeconds) {
    using namespace std::chrono;
    const int64_t local = unixMicros + int64_t{offsetSeconds} * 1000000;
    const sys_time<microseconds> tp{microseconds{local}};
    const auto day = floor<days>(tp);
    const year_month_day ymd{day};
    const hh_mm_ss hms{tp - day};
    const int y = static_cast<int>(ymd.year());
    if (y < 0 || y > 9999) {
        out += "0000-00-00T00:00:00";
    } else {
        out.push_back(static_cast<char>('0' + y / 1000));
        out.push_back(static_cast<char>('0' + y / 100 % 10));
        Append2(out, static_cast<unsigned>(y % 100));
        out.push_back('-');
        Append2(out, static_cast<unsigned>(ymd.month()));
        out.push_back('-');
        Append2(out, static_cast<unsigned>(ymd.day()));
        out.push_back('T');
        Append2(out, static_cast<unsigned>(hms.hours().count()));
        out.push_back(':');
        Append2(out, static_cast<unsigned>(hms.minutes().count()));
        out.push_back(':');
        Append2(out, static_cast<unsigned>(hms.seconds().count()));
    }
    if (decimals > 0) {
        int64_t fraction = hms.subseconds().count();
        int digits = 6;
        for (; digits > decimals && digits > 0; --digits) {
            fraction /= 10;
        }
        char buf[7] = {};
        for (int i = digits - 1; i >= 0; --i) {
            buf[i] = static_cast<char>('0' + fraction % 10);
            fraction /= 10;
        }
        out.push_back('.');
        out.append(buf, static_cast<size_t>(digits));
    }
    const int32_t offset = offsetSeconds < 0 ? -offsetSeconds : offsetSeconds;
    out.push_back(offsetSeconds < 0 ? '-' : '+');
    Append2(out, static_cast<unsigned>(offset / 3600));
    out.push_back(':');
    Append2(out, static_cast<unsigned>(offset / 60 % 60));
}

std::string IsoTime(int64_t unixMicros, int decimals, int32_t offsetSeconds) {
    std::string out;
    AppendIsoTime(out, unixMicros, decimals, offsetSeconds);
    return out;
}

void AppendCsvField(std::string& out, std::string_view field, bool text) {
    // A leading =, +, - or @ makes spreadsheets run the cell as a formula.
    const bool formula = text && !field.empty() &&
                         (field.front() == '=' || field.front() == '+' || field.front() == '-' ||
                          field.front() == '@' || field.front() == '\t');
    bool quote = formula;
    for (char c : field) {
        if (c == ',' || c == '"' || c == '\r' || c == '\n' || c == ';') {
            quote = true;
            break;
        }
    }
    // A row that began with '#' would read as a comment (metadata, the incomplete mark).
    if (!quote && !field.empty() &&
        (field.front() == ' ' || field.back() == ' ' || field.front() == '#')) {
        quote = true;
    }
    if (!quote) {
        for (unsigned char c : field) {
            out.push_back(c < 0x20 || c == 0x7F ? ' ' : static_cast<char>(c));
        }
        return;
    }
    out.push_back('"');
    if (formula) {
        out.push_back('\'');
    }
    for (unsigned char c : field) {
        if (c == '"') {
            out += "\"\"";
        } else if (c < 0x20 || c == 0x7F) {
            out.push_back(' ');
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
    out.push_back('"');
}

void ReadingsCsv::Comment(std::string_view text) {
    out_ += "# ";
    for (unsigned char c : text) {
        out_.push_back(c < 0x20 || c == 0x7F ? ' ' : static_cast<char>(c));
    }
    out_.push_back('\n');
}

void ReadingsCsv::Begin(const Metadata& metadata, std::span<const std::string_view> columns) {
    for (const auto& [key, value] : metadata) {
        Comment(key + ": " + value);
    }
    for (std::string_view column : columns) {
        Field(column);
    }
    EndRow();
}

void ReadingsCsv::Field(std::string_view text, bool number) {
    if (!first_) {
        out_.push_back(',');
    }
    first_ = false;
    AppendCsvField(out_, text, !number);
}

void ReadingsCsv::EndRow() {
    out_.push_back('\n');
    first_ = true;
}

}  // namespace vesk::files
