#include "simulator/InstrumentState.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace vesk::sim {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ProbeState, serial, calDate, conversion, locked,
                                                params)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(Drift, base, amplitude, periodSeconds, noise)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(ChannelState, on, resolution, probe, drift)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(LogSeed, count, start, stepSeconds, labels)

// Points and readings are arrays: a log of a thousand readings stays a small file.
void to_json(nlohmann::json& j, const CalPoint& p) {
    j = nlohmann::json::array({p.reference, p.value});
}
void from_json(const nlohmann::json& j, CalPoint& p) {
    p.reference = j.at(0).get<double>();
    p.value = j.at(1).get<double>();
}
void to_json(nlohmann::json& j, const Reading& r) {
    j = nlohmann::json::array({ClockText(r.time), r.channel, r.label, r.value, r.unit});
}
void from_json(const nlohmann::json& j, Reading& r) {
    r.time = ParseClockText(j.at(0).get<std::string>());
    r.channel = j.at(1).get<int32_t>();
    r.label = j.at(2).get<int32_t>();
    r.value = j.at(3).get<double>();
    r.unit = j.at(4).get<std::string>();
}

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE_WITH_DEFAULT(InstrumentState, maker, model, serial, firmware,
                                                passcode, protectConversion, units, interval,
                                                scanMode, scanList, scanSeqDelay, autoPower,
                                                serialDisabled, measuring, stoppedAt, calDate,
                                                calibration, channels, labels, currentLabel,
                                                demandCapacity, autoCapacity, demandLog, autoLog,
                                                autoLogNext, seedLogs)

InstrumentState StateFromJson(const std::string& text) {
    InstrumentState state;
    try {
        nlohmann::json::parse(text).get_to(state);
    } catch (const nlohmann::json::exception& e) {
        throw std::runtime_error(std::string("bad instrument data: ") + e.what());
    }
    if (state.channels.empty() || state.channels.size() > 2) {
        throw std::runtime_error("bad instrument data: one or two channels expected");
    }
    if (state.labels.empty() || state.labels.size() > static_cast<size_t>(kMaxLabels)) {
        throw std::runtime_error("bad instrument data: 1 to 25 labels expected");
    }
    return state;
}

std::string StateToJson(const InstrumentState& state) {
    // One line per setting: readable, yet a full log stays a small file.
    nlohmann::json j = state;
    std::string out = "{\n";
    for (auto it = j.begin(); it != j.end(); ++it) {
        out += " " + nlohmann::json(it.key()).dump() + ": " + it.value().dump();
        out += std::next(it) == j.end() ? "\n" : ",\n";
    }
    return out + "}\n";
}

StateFile::StateFile(std::string path) : path_(std::move(path)) {
    std::error_code ignored;
    const auto folder = std::filesystem::path(path_).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder, ignored);
    }
    lockFd_ = open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
}

StateFile::~StateFile() {
    if (lockFd_ >= 0) {
        close(lockFd_);
    }
}

StateFile::Lock::Lock(int fd) : fd_(fd) {
    while (fd_ >= 0 && flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
    }
}

StateFile::Lock::~Lock() {
    if (fd_ >= 0) {
        flock(fd_, LOCK_UN);
    }
}

std::optional<StateFile::Stamp> StateFile::Current() const {
    struct stat st {};
    if (stat(path_.c_str(), &st) != 0) {
        return std::nullopt;
    }
    return Stamp{static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino),
                 static_cast<uint64_t>(st.st_size),
                 static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
}

std::optional<InstrumentState> StateFile::LoadIfChanged() {
    const auto now = Current();
    if (!now || now == seen_) {
        return std::nullopt;
    }
    seen_ = now;
    std::ifstream in(path_);
    std::stringstream text;
    text << in.rdbuf();
    try {
        return StateFromJson(text.str());
    } catch (const std::exception&) {
        // Kept for inspection; the caller goes on from what it holds.
        std::error_code ignored;
        std::filesystem::rename(path_, path_ + ".bad", ignored);
        seen_.reset();
        throw;
    }
}

void StateFile::Save(const InstrumentState& state) {
    const std::string text = StateToJson(state);
    std::string temp = path_ + ".XXXXXX";
    const int fd = mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0) {
        throw std::runtime_error("cannot store the state in " + path_ + ": " +
                                 std::strerror(errno));
    }
    size_t done = 0;
    int error = 0;
    while (done < text.size() && error == 0) {
        const ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n > 0) {
            done += static_cast<size_t>(n);
        } else if (n < 0 && errno != EINTR) {
            error = errno;
        }
    }
    if (error == 0 && fsync(fd) != 0) {
        error = errno;
    }
    if (close(fd) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && rename(temp.c_str(), path_.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        unlink(temp.c_str());
        throw std::runtime_error("cannot store the state in " + path_ + ": " +
                                 std::strerror(error));
    }
    seen_ = Current();
}

int64_t ParseClockText(const std::string& text) {
    std::tm tm{};
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d%c", &y, &mo, &d, &h, &mi, &s, &tail) !=
        6) {
        throw std::runtime_error("bad instrument time \"" + text + "\"");
    }
    tm.tm_year = y - 1900;
    tm.tm_mon = mo - 1;
    tm.tm_mday = d;
    tm.tm_hour = h;
    tm.tm_min = mi;
    tm.tm_sec = s;
    return static_cast<int64_t>(timegm(&tm));
}

std::string ClockText(int64_t seconds) {
    auto t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    gmtime_r(&t, &tm);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", tm.tm_year + 1900, tm.tm_mon + 1,
                       tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec);
}

}  // namespace vesk::sim
