#include "vesk4710/platform/Host.h"

#include <utility>

#include "vesk4710/support/AutomationError.h"

namespace vesk {

namespace {
std::shared_ptr<Host>& DefaultSlot() {
    static std::shared_ptr<Host> host;
    return host;
}
}  // namespace

std::shared_ptr<Host> Host::Default() {
    auto host = DefaultSlot();
    if (!host) {
        throw AutomationError(kErrObjectRequired,
                              "No host is installed: call vesk::UseDefaultComponents() or "
                              "Host::SetDefault() first",
                              "vesk4710");
    }
    return host;
}

void Host::SetDefault(std::shared_ptr<Host> host) {
    DefaultSlot() = std::move(host);
}

}  // namespace vesk
