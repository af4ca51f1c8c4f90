#include "components/comm/DeviceAddress.h"

#include "components/comm/Text.h"

namespace vesk::comm {

bool IsSimulatorDevice(std::string_view device) {
    return device == kSimulatorScheme ||
           (device.starts_with(kSimulatorScheme) && device.size() > kSimulatorScheme.size() &&
            device[kSimulatorScheme.size()] == ':');
}

std::optional<int32_t> ParseSimulatorPort(std::string_view device, int32_t fallback) {
    if (device == kSimulatorScheme) {
        return fallback;
    }
    if (!IsSimulatorDevice(device)) {
        return std::nullopt;
    }
    const std::string_view number = device.substr(kSimulatorScheme.size() + 1);
    const auto port = ParseWhole<int32_t>(number);
    if (!port || *port < 1) {
        return std::nullopt;
    }
    return port;
}

std::optional<std::string> TcpHostPort(std::string_view device) {
    if (!device.starts_with(kTcpPrefix)) {
        return std::nullopt;
    }
    return std::string(device.substr(kTcpPrefix.size()));
}

std::optional<HostPort> SplitHostPort(std::string_view text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string_view::npos || colon == 0 || colon + 1 == text.size()) {
        return std::nullopt;
    }
    std::string_view host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    return HostPort{std::string(host), std::string(text.substr(colon + 1))};
}

}  // namespace vesk::comm
