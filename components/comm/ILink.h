#pragma once
// The small interface every link to an instrument offers: write a line, read a line within a
// time-out, and cancel a read from another thread.
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vesk {
class IRegistry;
}

namespace vesk::comm {

enum class ReadStatus : uint8_t { kLine, kTimeout, kDropped, kCancelled };

struct ReadResult {
    ReadStatus status = ReadStatus::kTimeout;
    std::string line;
};

class ILink {
  public:
    virtual ~ILink() = default;
    // Sends one line; the link adds the terminator. False when the link is gone.
    virtual bool WriteLine(std::string_view line) = 0;
    // The next line without its terminator, or why there is none.
    virtual ReadResult ReadLine(std::chrono::milliseconds timeout) = 0;
    // Makes a pending or the next ReadLine return kCancelled; safe from any thread.
    virtual void Cancel() = 0;
    // For messages: "simulator on port 1", "/dev/ttyS0 at 9600 baud", "tcp://127.0.0.1:4710".
    virtual std::string Describe() const = 0;
};

// What a link is opened for: the device text of the options plus the port settings.
struct LinkRequest {
    std::string device;
    int32_t portNumber = 1;
    int32_t baud = 9600;
    std::chrono::milliseconds timeout{2000};
    std::shared_ptr<IRegistry> registry;
};

// Opens a link or throws AutomationError kCommLinkUnavailable.
using LinkFactory = std::function<std::shared_ptr<ILink>(const LinkRequest&)>;

// Devices named by a scheme ("sim", "sim:...") are opened by the factory registered for it.
// The simulator registers "sim" (vesk::sim::RegisterEmbeddedLink) so that this component
// need not depend on it.
void RegisterLinkScheme(const std::string& scheme, LinkFactory factory);
void UnregisterLinkScheme(const std::string& scheme);
bool IsLinkSchemeRegistered(const std::string& scheme);

// Opens the link a device text names: a registered scheme, "tcp://HOST:PORT", "port" (the
// serial port of the port number) or a serial device path.
std::shared_ptr<ILink> OpenLink(const LinkRequest& request);

}  // namespace vesk::comm
