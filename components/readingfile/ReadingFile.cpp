#include "components/readingfile/ReadingFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <ctime>
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

int32_t LocalUtcOffset(int64_t unixSeconds) {
    const auto t = static_cast<std::time_t>(unixSeconds);
    std::tm local{};
    localtime_r(&t, &local);
    return static_cast<int32_t>(local.tm_gmtoff);
}

std::string LocalZoneText() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return std::string("local (") + (local.tm_zone != nullptr ? local.tm_zone : "?") + ")";
}

std::optional<std::string> IsoFromLocalClock(std::string_view date, std::string_view time) {
    int parts[6] = {};
    const auto number = [](std::string_view text, size_t at, size_t count, int& value) {
        const char* first = text.data() + at;
        const auto [ptr, ec] = std::from_chars(first, first + count, value);
        return ec == std::errc() && ptr == first + count && *first != '-' && *first != '+';
    };
    if (date.size() != 10 || (date[4] != '/' && date[4] != '-') || date[7] != date[4] ||
        time.size() != 8 || time[2] != ':' || time[5] != ':' || !number(date, 0, 4, parts[0]) ||
        !number(date, 5, 2, parts[1]) || !number(date, 8, 2, parts[2]) ||
        !number(time, 0, 2, parts[3]) || !number(time, 3, 2, parts[4]) ||
        !number(time, 6, 2, parts[5]) || parts[3] > 23 || parts[4] > 59 || parts[5] > 59) {
        return std::nullopt;
    }
    std::tm tm{};
    tm.tm_year = parts[0] - 1900;
    tm.tm_mon = parts[1] - 1;
    tm.tm_mday = parts[2];
    tm.tm_hour = parts[3];
    tm.tm_min = parts[4];
    tm.tm_sec = parts[5];
    tm.tm_isdst = -1;
    // mktime moves an impossible date (February 30) on: such a date is no date.
    if (std::mktime(&tm) == -1 || tm.tm_year != parts[0] - 1900 || tm.tm_mon != parts[1] - 1 ||
        tm.tm_mday != parts[2]) {
        return std::nullopt;
    }
    // The clock's own digits, with the offset in force then.
    std::string out(date.substr(0, 4));
    out += '-';
    out += date.substr(5, 2);
    out += '-';
    out += date.substr(8, 2);
    out += 'T';
    out += time;
    const std::string zone = IsoTime(0, 0, static_cast<int32_t>(tm.tm_gmtoff));
    out += zone.substr(zone.size() - 6);
    return out;
}

std::optional<std::string> ShiftDecimal(std::string_view text, int places) {
    std::string_view sign;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        sign = text.substr(0, 1);
        text.remove_prefix(1);
    }
    const size_t e = text.find_first_of("eE");
    const std::string_view mantissa = text.substr(0, e);
    const size_t point = mantissa.find('.');
    std::string digits(mantissa.substr(0, point));
    if (point != std::string_view::npos) {
        digits += mantissa.substr(point + 1);
    }
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    if (e != std::string_view::npos) {
        // An exponent takes the shift itself.
        int exponent = 0;
        std::string_view rest = text.substr(e + 1);
        if (!rest.empty() && rest.front() == '+') {
            rest.remove_prefix(1);
        }
        const auto [ptr, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), exponent);
        if (rest.empty() || ec != std::errc() || ptr != rest.data() + rest.size()) {
            return std::nullopt;
        }
        return std::string(sign) + std::string(mantissa) + "e" + std::to_string(exponent + places);
    }
    const auto whole = static_cast<long>(point == std::string_view::npos ? mantissa.size() : point);
    const long at = whole + places;
    std::string out;
    if (at <= 0) {
        out = "0." + std::string(static_cast<size_t>(-at), '0') + digits;
    } else if (static_cast<size_t>(at) >= digits.size()) {
        out = digits + std::string(static_cast<size_t>(at) - digits.size(), '0');
    } else {
        out = digits.substr(0, static_cast<size_t>(at)) + "." +
              digits.substr(static_cast<size_t>(at));
    }
    // Zeros in front say nothing; those behind the point are digits the instrument sent.
    const size_t lead =
        std::min(out.find_first_not_of('0'),
                 out.find('.') == std::string::npos ? out.size() - 1 : out.find('.') - 1);
    return std::string(sign) + out.substr(lead);
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
