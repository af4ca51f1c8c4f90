#pragma once
// What the application's tests share: one QApplication on the offscreen platform, a fresh
// in-memory simulator per test with a clock the test moves, and a closer for modal windows.
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "apps/vesk4710-gui/model/LiveSession.h"
#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "simulator/Instrument.h"

namespace vesk::gui::test {

// Wall time that moves only when told; the simulator and the window read the same one.
class ManualClock {
  public:
    Millis Now() const { return now_->load(); }
    void Advance(Millis ms) { *now_ += ms; }
    std::function<Millis()> AsFunction() const {
        return [now = now_] { return now->load(); };
    }
    sim::WallClock AsWallClock() const {
        return [now = now_] {
            return std::chrono::system_clock::time_point(std::chrono::milliseconds(now->load()));
        };
    }

  private:
    std::shared_ptr<std::atomic<Millis>> now_ =
        std::make_shared<std::atomic<Millis>>(SystemMillis());
};

// Registers the simulator afresh (state in memory, reset from its data at first use).
void UseFreshSimulator(const ManualClock* clock = nullptr);
// The simulated instrument behind "sim" once a session has opened it.
std::shared_ptr<sim::Instrument> SimulatedInstrument();
// A fault at the next request after skip others; each reading is one request, and later ones
// of a round follow in channel order.
void InjectFault(sim::FaultKind kind, int32_t skip, int32_t errorCode = 5);

// The whole of a text file; empty when there is none.
std::string Slurp(const std::string& path);

// A folder of its own per test, removed afterwards.
class TempDir {
  public:
    std::filesystem::path Path() const { return dir_.path().toStdString(); }
    std::string File(const std::string& name) const { return (Path() / name).string(); }

  private:
    QTemporaryDir dir_;
};

// Closes whatever modal window comes up (Escape's way: reject) and remembers its object name;
// settled, when given, sees each window first.
class ModalCloser : public QObject {
  public:
    explicit ModalCloser(std::function<void(QWidget*)> settled = {});
    std::vector<std::string> closed;

  private:
    QTimer timer_;
    QWidget* seen_ = nullptr;
    std::function<void(QWidget*)> settled_;
};

}  // namespace vesk::gui::test
