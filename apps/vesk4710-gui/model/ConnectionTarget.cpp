#include "apps/vesk4710-gui/model/ConnectionTarget.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "components/comm/DeviceAddress.h"
#include "components/comm/Text.h"

namespace vesk::gui {

namespace {

bool Fail(std::string* error, std::string reason) {
    if (error != nullptr) {
        *error = std::move(reason);
    }
    return false;
}

// Name split into prefix and trailing number for natural ordering.
std::tuple<std::string, int32_t, std::string> SortKey(const std::string& name) {
    size_t digits = name.size();
    while (digits > 0 && name[digits - 1] >= '0' && name[digits - 1] <= '9') {
        --digits;
    }
    const int32_t number =
        comm::ParseWhole<int32_t>(std::string_view(name).substr(digits)).value_or(-1);
    return {name.substr(0, digits), number, name};
}

// The kernel makes every legacy ttyS node whether a UART answers or not; an absent one
// reads as type 0 ("unknown").
bool LegacyPortPresent(const std::filesystem::path& sysDir, const std::string& name) {
    std::ifstream type(sysDir / name / "type");
    if (!type) {
        return true;
    }
    int32_t value = 0;
    type >> value;
    return value != 0;
}

}  // namespace

std::string ConnectionTarget::Device() const {
    switch (kind) {
        case LinkKind::Simulator:
            return simulator;
        case LinkKind::Serial:
            return path;
        case LinkKind::Network:
            return fmt::format("{}{}:{}", comm::kTcpPrefix, host, port);
    }
    return simulator;
}

std::string ConnectionTarget::Describe() const {
    switch (kind) {
        case LinkKind::Simulator:
            return simulator == "sim" ? "embedded simulator"
                                      : "embedded simulator (" + simulator + ")";
        case LinkKind::Serial:
            return fmt::format("{} at {} baud", path, baud);
        case LinkKind::Network:
            return Device();
    }
    return Device();
}

std::optional<ConnectionTarget> ConnectionTarget::Parse(const std::string& device, int32_t baud,
                                                        std::string* error) {
    ConnectionTarget t;
    if (comm::IsSimulatorDevice(device)) {
        const auto port = comm::ParseSimulatorPort(device, 1);
        if (!port || *port > 255) {
            Fail(error, "the simulator port must be a number from 1 to 255: " + device);
            return std::nullopt;
        }
        t.kind = LinkKind::Simulator;
        t.simulator = device;
        return t;
    }
    if (const auto rest = comm::TcpHostPort(device)) {
        const auto split = comm::SplitHostPort(*rest);
        if (!split) {
            Fail(error, "a network device is tcp://HOST:PORT: " + device);
            return std::nullopt;
        }
        const auto port = comm::ParseWhole<int32_t>(split->port);
        if (!port || *port < 1 || *port > 65535) {
            Fail(error, "the network port must be a number from 1 to 65535: " + device);
            return std::nullopt;
        }
        t.kind = LinkKind::Network;
        // The host as typed, brackets and all: it is shown and given back as it was.
        t.host = rest->substr(0, rest->size() - split->port.size() - 1);
        t.port = *port;
        return t;
    }
    if (device.starts_with("/")) {
        const auto& rates = BaudRates();
        if (std::find(rates.begin(), rates.end(), baud) == rates.end()) {
            Fail(error, fmt::format("{} is not a baud rate the port supports", baud));
            return std::nullopt;
        }
        t.kind = LinkKind::Serial;
        t.path = device;
        t.baud = baud;
        return t;
    }
    Fail(error, "unknown device \"" + device +
                    "\": give sim, a serial device path such as /dev/ttyUSB0, or tcp://HOST:PORT");
    return std::nullopt;
}

const std::vector<int32_t>& BaudRates() {
    static const std::vector<int32_t> rates = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
    return rates;
}

std::vector<std::string> ListSerialPorts(const std::string& devDir, const std::string& sysDir) {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator it(devDir, error), end; !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename().string();
        const bool usb = name.starts_with("ttyUSB") || name.starts_with("ttyACM");
        const bool legacy = name.starts_with("ttyS");
        if (!(usb || legacy)) {
            continue;
        }
        if (legacy && !LegacyPortPresent(sysDir, name)) {
            continue;
        }
        names.push_back(name);
    }
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return SortKey(a) < SortKey(b); });
    std::vector<std::string> paths;
    for (const auto& name : names) {
        paths.push_back((fs::path(devDir) / name).string());
    }
    return paths;
}

}  // namespace vesk::gui
