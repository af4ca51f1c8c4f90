#pragma once
// The application's session with one instrument, free of any toolkit: connecting through a
// host (whose services the window supplies), the live channels and their readings, the last
// communications failure, and the guard that keeps a timer tick out of a running operation.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/vesk4710-gui/model/ConnectionTarget.h"
#include "apps/vesk4710-gui/model/ReadingBuffer.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::gui {

enum class LinkState { Disconnected, Connected, Lost };

struct Failure {
    std::string during;  // "reading channel 2"
    int32_t number = 0;
    std::string description;
    std::string source;
    Millis time = 0;
    bool linkLost = false;
    // "<during>: <reason> (error <n>)"
    std::string Text() const;
};

struct ChannelInfo {
    int16_t number = 0;
    bool enabled = false;  // switched on, as the channel itself reports it
    bool live = false;     // read and plotted
    std::string serial;
    std::string conversion;
    std::string conversionCode;  // as the instrument names it: ITS, CVD, K...
    std::string unit;
};

struct Reading {
    int16_t channel = 0;
    Millis time = 0;
    double value = 0.0;
    std::string unit;
    std::string text;  // the reading as the instrument sent it; empty where not known
};

// Errors of the link itself (no reply, dropped, cannot open): the session is lost and needs
// a reconnect. Anything else leaves it usable.
bool IsLinkFailure(int32_t number);
// The timer period for an instrument interval; automatic and unset intervals read every
// second.
int32_t PollMillisFor(int32_t interval);
// The unit of a channel's readings: its raw unit for raw conversions and raw units, else the
// instrument's temperature unit.
std::string UnitTextFor(int32_t conversionType, int32_t units);
// Channel numbers of a scan list such as "1,2" or "1-3,5".
std::vector<int16_t> ParseChannelList(const std::string& list);
Millis SystemMillis();

class LiveSession {
  public:
    using HostFactory = std::function<std::shared_ptr<Host>(const ConnectionTarget&)>;
    using Clock = std::function<Millis()>;

    explicit LiveSession(HostFactory factory, Clock clock = SystemMillis);
    ~LiveSession();
    LiveSession(const LiveSession&) = delete;
    LiveSession& operator=(const LiveSession&) = delete;

    // Opens the session and reads identification, settings and channels (QueryInfo with its
    // progress display owned by owner). False with LastError set; the library has already
    // told the user about a failed step.
    bool Connect(const ConnectionTarget& target, IForm* owner = nullptr);
    bool Reconnect(IForm* owner = nullptr);
    void Disconnect();

    // One reading of every live channel; nothing while another operation runs or the link
    // is lost. A link failure ends the round (keeping what was read) and loses the session.
    // each, when given, has every reading the moment it arrives (a recording keeps it before
    // the next request goes out).
    std::vector<Reading> Poll(const std::function<void(const Reading&)>& each = {});
    // Runs a library operation (a dialog) with the guard up, on a connected session only; a
    // raised error is reported to the user under phrase ("attempting to ...") and recorded.
    // Settings are re-read after.
    bool Run(const std::string& phrase, const std::function<bool(CVesk4710&)>& op);
    // Re-reads units, interval and the live channels' conversions.
    bool Refresh();

    LinkState State() const { return state_; }
    bool Busy() const { return busy_; }
    const std::optional<Failure>& LastError() const { return lastError_; }
    const std::optional<ConnectionTarget>& Target() const { return target_; }
    const std::shared_ptr<CVesk4710>& Instrument() const { return instrument_; }
    Host* GetHost() const { return host_.get(); }
    const std::vector<ChannelInfo>& Channels() const { return channels_; }
    // Takes a channel in or out of the live readings.
    void Live(int16_t channel, bool live);
    std::vector<std::pair<std::string, std::string>> Identification() const;
    std::vector<std::pair<std::string, std::string>> Settings() const;
    int32_t PollMillis() const;
    std::string StatusText() const;

  private:
    class Guard;
    // Inside a catch block: keeps the pending error as the last failure.
    void Record(const std::string& during);
    void ReadChannels();

    HostFactory factory_;
    Clock clock_;
    std::optional<ConnectionTarget> target_;
    std::shared_ptr<Host> host_;
    std::shared_ptr<CVesk4710> instrument_;
    LinkState state_ = LinkState::Disconnected;
    bool busy_ = false;
    std::optional<Failure> lastError_;
    std::vector<ChannelInfo> channels_;
};

}  // namespace vesk::gui
