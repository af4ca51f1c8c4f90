#include "simulator/EmbeddedLink.h"

#include <algorithm>
#include <mutex>
#include <set>

#include "components/comm/CommErrors.h"
#include "components/comm/DeviceAddress.h"

namespace vesk::sim {

EmbeddedLink::EmbeddedLink(std::shared_ptr<Instrument> instrument)
    : instrument_(std::move(instrument)) {}

bool EmbeddedLink::WriteLine(std::string_view line) {
    {
        std::lock_guard lock(mutex_);
        if (dropped_) {
            return false;
        }
        // A reply held back is late for its own request but goes out ahead of the next one's:
        // how late it was then depends on the caller's time-out alone, never on the scheduler.
        const auto now = Clock::now();
        for (Pending& held : inbox_) {
            held.readyAt = std::min(held.readyAt, now);
        }
    }
    // The instrument answers at once; a planned delay only holds the reply back.
    Exchange exchange = instrument_->Handle(line);
    std::lock_guard lock(mutex_);
    auto readyAt = Clock::now() + exchange.delay;
    for (std::string& reply : exchange.lines) {
        inbox_.push_back({readyAt, std::move(reply), false});
    }
    if (exchange.dropLink) {
        inbox_.push_back({readyAt, {}, true});
    }
    ready_.notify_all();
    return true;
}

comm::ReadResult EmbeddedLink::ReadLine(std::chrono::milliseconds timeout) {
    auto deadline = Clock::now() + timeout;
    std::unique_lock lock(mutex_);
    while (true) {
        if (cancelled_) {
            cancelled_ = false;
            return {comm::ReadStatus::kCancelled, {}};
        }
        if (dropped_) {
            return {comm::ReadStatus::kDropped, {}};
        }
        auto now = Clock::now();
        if (!inbox_.empty() && inbox_.front().readyAt <= now) {
            Pending next = std::move(inbox_.front());
            inbox_.pop_front();
            if (next.drop) {
                dropped_ = true;
                inbox_.clear();
                return {comm::ReadStatus::kDropped, {}};
            }
            return {comm::ReadStatus::kLine, std::move(next.line)};
        }
        if (now >= deadline) {
            return {comm::ReadStatus::kTimeout, {}};
        }
        auto wakeAt = inbox_.empty() ? deadline : std::min(deadline, inbox_.front().readyAt);
        ready_.wait_until(lock, wakeAt);
    }
}

void EmbeddedLink::Cancel() {
    std::lock_guard lock(mutex_);
    cancelled_ = true;
    ready_.notify_all();
}

std::string EmbeddedLink::Describe() const {
    return "embedded simulator on port " + std::to_string(instrument_->Port());
}

std::shared_ptr<comm::ILink> ConnectEmbedded(std::shared_ptr<Instrument> instrument) {
    return std::make_shared<EmbeddedLink>(std::move(instrument));
}

std::shared_ptr<comm::ILink> ConnectEmbedded(const SimOptions& options) {
    try {
        return ConnectEmbedded(Instrument::ForPort(options));
    } catch (const std::exception& e) {
        throw comm::CommError(comm::kCommLinkUnavailable,
                              std::string("The embedded simulator cannot start: ") + e.what());
    }
}

void RegisterEmbeddedLink(const SimOptions& defaults) {
    // A reset asked for by the program happens once per port, not at every reconnection.
    struct ResetPorts {
        std::mutex mutex;
        std::set<int32_t> done;
    };
    auto resetPorts = std::make_shared<ResetPorts>();
    comm::RegisterLinkScheme("sim", [defaults, resetPorts](const comm::LinkRequest& request) {
        SimOptions options = defaults;
        const auto port = comm::ParseSimulatorPort(request.device, request.portNumber);
        if (!port) {
            throw comm::CommError(
                comm::kCommLinkUnavailable,
                "The device " + request.device + " names no simulator port (sim or sim:<n>)");
        }
        options.port = *port;
        // A state file named for one port is that port's alone.
        if (options.port != defaults.port) {
            options.statePath.clear();
        }
        if (options.reset) {
            std::lock_guard lock(resetPorts->mutex);
            options.reset = resetPorts->done.insert(options.port).second;
        }
        return ConnectEmbedded(options);
    });
}

}  // namespace vesk::sim
