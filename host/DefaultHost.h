#pragma once
// The process default host: real components (communications on the embedded simulator unless
// a device is configured, probes, per-user settings, output files, text splitter), console
// services and the local file system.
#include <memory>
#include <string>

#include "components/comm/Communications.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/platform/Host.h"

namespace vesk {

struct HostOptions {
    comm::CommOptions comm;  // its registry defaults to the host's own
    // Console services that may ask on the terminal and draw progress bars; false keeps the
    // console silent towards the terminal (questions take their defaults, no progress bars).
    bool console = true;
    bool assumeYes = false;         // shorthand for consoleOptions.assumeYes
    ConsoleOptions consoleOptions;  // flags, passcode queue, JSON messages
    std::string registryPath;       // empty: the per-user default
    // Services to use instead of the console (a GUI application's).
    std::shared_ptr<IUiServices> ui;
};

std::shared_ptr<Host> MakeDefaultHost(const HostOptions& options = {});
// Host::SetDefault(MakeDefaultHost(options)).
void UseDefaultComponents(const HostOptions& options = {});

}  // namespace vesk
