#include <map>
#include <mutex>

#include "components/comm/CommErrors.h"
#include "components/comm/DeviceAddress.h"
#include "components/comm/ILink.h"
#include "components/comm/SerialLink.h"
#include "components/comm/TcpLink.h"

namespace vesk::comm {

namespace {

struct Schemes {
    std::mutex mutex;
    std::map<std::string, LinkFactory> factories;
};

Schemes& TheSchemes() {
    static Schemes schemes;
    return schemes;
}

}  // namespace

void RegisterLinkScheme(const std::string& scheme, LinkFactory factory) {
    Schemes& s = TheSchemes();
    std::lock_guard lock(s.mutex);
    s.factories[scheme] = std::move(factory);
}

void UnregisterLinkScheme(const std::string& scheme) {
    Schemes& s = TheSchemes();
    std::lock_guard lock(s.mutex);
    s.factories.erase(scheme);
}

bool IsLinkSchemeRegistered(const std::string& scheme) {
    Schemes& s = TheSchemes();
    std::lock_guard lock(s.mutex);
    return s.factories.count(scheme) != 0;
}

std::shared_ptr<ILink> OpenLink(const LinkRequest& request) {
    const std::string& device = request.device;
    std::string scheme = device.substr(0, device.find(':'));
    LinkFactory factory;
    {
        Schemes& s = TheSchemes();
        std::lock_guard lock(s.mutex);
        if (auto it = s.factories.find(scheme); it != s.factories.end()) {
            factory = it->second;
        }
    }
    if (factory) {
        return factory(request);
    }
    if (scheme == kSimulatorScheme) {
        throw CommError(kCommLinkUnavailable,
                        "The embedded simulator is not available in this program (the "
                        "simulator registers it with vesk::sim::RegisterEmbeddedLink)");
    }
    if (auto hostPort = TcpHostPort(device)) {
        return TcpLink::Connect(*hostPort, request.timeout);
    }
    if (device.empty() || device == "port") {
        return SerialLink::Open(SerialDeviceForPort(request.portNumber, request.registry.get()),
                                request.baud);
    }
    return SerialLink::Open(device, request.baud);
}

}  // namespace vesk::comm
