#pragma once
// What the application's tests share: one QApplication on the offscreen platform, a fresh
// in-memory simulator per test with a clock the test moves, and a closer for modal windows.
#include <gtest/gtest.h>

#include <QTimer>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "simulator/Instrument.h"

namespace vesk::gui::test {

// Wall time that moves only when told; the simulator and the window read the same one.
class ManualClock {
  public:
    ManualClock();
    Millis Now() const { return now_.load(); }
    void Advance(Millis ms) { now_ += ms; }
    std::function<Millis()> AsFunction() const;
    sim::WallClock AsWallClock() const;

  private:
    std::shared_ptr<std::atomic<Millis>> shared_;
    std::atomic<Millis>& now_;
};

// Registers the simulator afresh (state in memory, reset from its data at first use).
void UseFreshSimulator(const ManualClock* clock = nullptr);
// The simulated instrument behind "sim" once a session has opened it.
std::shared_ptr<sim::Instrument> SimulatedInstrument();

// A folder of its own per test, removed afterwards.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& Path() const { return path_; }
    std::string File(const std::string& name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

// Closes whatever modal window comes up (Escape's way: reject) and remembers its object name.
class ModalCloser : public QObject {
  public:
    ModalCloser();
    std::vector<std::string> closed;

  private:
    QTimer timer_;
    QWidget* seen_ = nullptr;
};

}  // namespace vesk::gui::test
