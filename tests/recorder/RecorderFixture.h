#pragma once
// A recorder on embedded simulators (in memory) with a database in a fresh folder.
#include <gtest/gtest.h>

#include <SQLiteCpp/SQLiteCpp.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "recorder/Recorder.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "tests/testsupport/FakeFileSystem.h"

namespace vesk::test {

class RecorderTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        sim::SimOptions options;
        options.persist = false;
        sim::RegisterEmbeddedLink(options);
    }
    // One instrument on the embedded simulator of the port.
    rec::RecorderConfig Config(int port, std::chrono::milliseconds every, std::string serve = {}) {
        rec::RecorderConfig c;
        c.database = (dir_ / "r.db").string();
        c.retry.first = std::chrono::milliseconds(50);
        c.retry.max = std::chrono::milliseconds(200);
        rec::InstrumentConfig i;
        i.name = "bath-" + std::to_string(port);
        i.device = "sim:" + std::to_string(port);
        i.channels = {1, 2};
        i.every = every;
        i.serve = std::move(serve);
        c.instruments.push_back(i);
        return c;
    }
    static std::shared_ptr<sim::Instrument> Simulator(int port) {
        sim::SimOptions options;
        options.port = port;
        options.persist = false;
        return sim::Instrument::ForPort(options);
    }
    // Waits (bounded) until the recorder has taken that many more rounds (or in all).
    static bool WaitRounds(const rec::Recorder& r, uint64_t more, bool inAll = false) {
        const uint64_t target = inAll ? more : r.Rounds() + more;
        for (int i = 0; i < 500 && r.Rounds() < target; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return r.Rounds() >= target;
    }
    int64_t Count(const std::string& sql) const {
        SQLite::Database db((dir_ / "r.db").string(), SQLite::OPEN_READWRITE);
        db.setBusyTimeout(5000);
        return db.execAndGet(sql).getInt64();
    }

    FakeFileSystem scratch_;  // a fresh folder, removed afterwards
    const std::filesystem::path dir_{scratch_.Root()};
};

}  // namespace vesk::test
