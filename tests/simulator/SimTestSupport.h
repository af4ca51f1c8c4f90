#pragma once
// A simulated instrument on a clock the test moves, spoken to line by line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "simulator/Instrument.h"

namespace vesk::test {

class SimClock {
  public:
    SimClock() : now_(std::chrono::system_clock::from_time_t(1709283600)) {}  // 2024-03-01
    std::chrono::system_clock::time_point Now() const { return now_.load(); }
    void Advance(std::chrono::milliseconds by) { now_ = now_.load() + by; }
    sim::WallClock Function() {
        return [this] { return Now(); };
    }

  private:
    std::atomic<std::chrono::system_clock::time_point> now_;
};

class SimFolder {
  public:
    SimFolder() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("vesk-sim-" + std::to_string(getpid()) + "-" + std::to_string(++counter));
        std::filesystem::create_directories(path_);
    }
    ~SimFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path& Path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// The payload of the single reply line an untagged command gets ("" when none came).
inline std::string Ask(sim::Instrument& instrument, const std::string& command) {
    sim::Exchange exchange = instrument.Handle(command);
    EXPECT_EQ(exchange.lines.size(), 1u) << command;
    return exchange.lines.empty() ? std::string() : exchange.lines.front();
}

}  // namespace vesk::test
