#pragma once
// Where the application connects: the embedded simulator, a serial port at a baud rate, or
// an instrument (or simulator server) on the network.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::gui {

enum class LinkKind { Simulator, Serial, Network };

struct ConnectionTarget {
    LinkKind kind = LinkKind::Simulator;
    std::string simulator = "sim";  // "sim" or "sim:<port>"
    std::string path;               // serial device
    int32_t baud = 9600;
    std::string host;
    int32_t port = 0;

    // The communications component's device text.
    std::string Device() const;
    // For people: "embedded simulator", "/dev/ttyUSB0 at 9600 baud", "tcp://host:port".
    std::string Describe() const;

    // A device as the command line or the settings give it. nullopt with the reason in error
    // for anything the communications component could not open.
    static std::optional<ConnectionTarget> Parse(const std::string& device, int32_t baud,
                                                 std::string* error = nullptr);

    bool operator==(const ConnectionTarget&) const = default;
};

// The baud rates offered for serial ports.
const std::vector<int32_t>& BaudRates();

// Serial ports present: ttyUSB*, ttyACM* and the ttyS* that have a port behind them, in
// natural order (ttyS2 before ttyS10). The folders are parameters for tests.
std::vector<std::string> ListSerialPorts(const std::string& devDir = "/dev",
                                         const std::string& sysDir = "/sys/class/tty");

}  // namespace vesk::gui
