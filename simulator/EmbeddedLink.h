#pragma once
// The in-process link to a simulated instrument. The command text still goes through the
// instrument's parser, so the protocol is exercised exactly as on a cable.
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

#include "components/comm/ILink.h"
#include "simulator/Instrument.h"
#include "simulator/SimOptions.h"

namespace vesk::sim {

class EmbeddedLink : public comm::ILink {
  public:
    explicit EmbeddedLink(std::shared_ptr<Instrument> instrument);

    bool WriteLine(std::string_view line) override;
    comm::ReadResult ReadLine(std::chrono::milliseconds timeout) override;
    void Cancel() override;
    std::string Describe() const override;

    const std::shared_ptr<Instrument>& Target() const { return instrument_; }

  private:
    using Clock = std::chrono::steady_clock;
    struct Pending {
        Clock::time_point readyAt;
        std::string line;
        bool drop = false;
    };

    std::shared_ptr<Instrument> instrument_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<Pending> inbox_;
    bool dropped_ = false;
    bool cancelled_ = false;
};

// The instrument on options.port (Instrument::ForPort) behind a fresh in-process link.
// Throws AutomationError kCommLinkUnavailable when the instrument cannot be made.
std::shared_ptr<comm::ILink> ConnectEmbedded(const SimOptions& options);
std::shared_ptr<comm::ILink> ConnectEmbedded(std::shared_ptr<Instrument> instrument);

// Makes the device "sim" of the communications component reach the embedded simulator:
// "sim" serves the port number the session sets, "sim:<n>" port n. The defaults give the
// state folder, data, seed and clock; their state file serves their own port only.
void RegisterEmbeddedLink(const SimOptions& defaults = {});

}  // namespace vesk::sim
