#pragma once
// A simulated instrument on a clock the test moves, spoken to line by line.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "simulator/Instrument.h"
#include "tests/testsupport/FakeFileSystem.h"

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

// The payload of the single reply line an untagged command gets ("" when none came).
inline std::string Ask(sim::Instrument& instrument, const std::string& command) {
    sim::Exchange exchange = instrument.Handle(command);
    EXPECT_EQ(exchange.lines.size(), 1u) << command;
    return exchange.lines.empty() ? std::string() : exchange.lines.front();
}

// Sends each command in turn and expects its reply.
inline void Converse(sim::Instrument& instrument,
                     const std::vector<std::pair<std::string, std::string>>& exchanges) {
    for (const auto& [command, reply] : exchanges) {
        EXPECT_EQ(Ask(instrument, command), reply) << command;
    }
}

}  // namespace vesk::test
