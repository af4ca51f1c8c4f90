#pragma once
// A serial device (or pseudo-terminal) in raw 8N1 mode.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "components/comm/StreamLink.h"

namespace vesk {
class IRegistry;
}

namespace vesk::comm {

// The port component's baud-rate codes: 0 110, 1 300, 2 600, 3 1200, 4 2400, 5 4800,
// 6 9600, 7 19200, 8 38400, 9 57600, 10 115200.
std::optional<int32_t> BaudFromCode(int32_t code);

// "COMPort<n>" from the per-user settings when set, else /dev/ttyS<n-1>.
std::string SerialDeviceForPort(int32_t portNumber, IRegistry* registry);

class SerialLink : public StreamLink {
  public:
    // Throws AutomationError kCommLinkUnavailable when the device cannot be opened as a
    // terminal at that rate.
    static std::shared_ptr<SerialLink> Open(const std::string& path, int32_t baud);

  private:
    using StreamLink::StreamLink;
};

}  // namespace vesk::comm
