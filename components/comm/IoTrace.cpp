#include "components/comm/IoTrace.h"

#include <charconv>
#include <chrono>
#include <ctime>

#include "components/comm/Protocol.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::comm {

namespace {

void Append(std::string& out, long value, int width) {
    char digits[24];
    auto [end, ec] = std::to_chars(digits, digits + sizeof digits, value);
    for (int n = static_cast<int>(end - digits); n < width; ++n) {
        out += '0';
    }
    out.append(digits, end);
}

// A transfer's remainder can be hundreds of late lines: a few show what they were.
constexpr size_t kLateShown = 3;

}  // namespace

void TraceEntry::NoteLate(std::string_view line) {
    if (++lateLines <= kLateShown) {
        late += "[late: " + Printable(line, 60) + "] ";
    }
}

IoTrace::IoTrace(const std::string& path) : out_(path, std::ios::app) {
    if (!out_) {
        throw AutomationError(kErrPathNotFound, "Cannot open the I/O trace file " + path);
    }
}

std::string IoTrace::Timestamp() {
    auto now = std::chrono::system_clock::now();
    std::time_t t = std::chrono::system_clock::to_time_t(now);
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()) % 1000;
    std::tm tm{};
    gmtime_r(&t, &tm);
    std::string out;
    Append(out, tm.tm_year + 1900, 4);
    out += '-';
    Append(out, tm.tm_mon + 1, 2);
    out += '-';
    Append(out, tm.tm_mday, 2);
    out += 'T';
    Append(out, tm.tm_hour, 2);
    out += ':';
    Append(out, tm.tm_min, 2);
    out += ':';
    Append(out, tm.tm_sec, 2);
    out += '.';
    Append(out, static_cast<long>(ms.count()), 3);
    out += 'Z';
    return out;
}

void IoTrace::Record(const TraceEntry& entry) {
    std::string line = Timestamp();
    line += '\t';
    Append(line, entry.id, 0);
    line += '\t';
    line += entry.params;
    line += '\t';
    line += entry.sent;
    line += '\t';
    line += entry.late;
    if (entry.lateLines > kLateShown) {
        line += "[" + std::to_string(entry.lateLines - kLateShown) + " more late lines] ";
    }
    line += entry.received;
    line += '\n';
    std::lock_guard lock(mutex_);
    out_ << line;
    out_.flush();
}

}  // namespace vesk::comm
