// The instrument session of a command: default host, instrument object, identification,
// channel tree and the passcode dance of protected writes.
#include <string>

#include "apps/vesk4710/Cli.h"
#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "components/comm/DeviceAddress.h"
#include "components/comm/Protocol.h"
#include "host/DefaultHost.h"
#include "simulator/EmbeddedLink.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::cli {

namespace {

bool PasscodeRequired(const AutomationError& e) {
    return e.Number() == comm::kCommInstrumentErrorBase +
                             static_cast<int32_t>(comm::InstrumentError::kPasscodeRequired);
}

}  // namespace

Session::Session(const GlobalOptions& options) : options_(options), out_(options.json) {
    HostOptions host;
    host.comm.device = options.device;
    host.comm.baud = options.baud;
    host.comm.tracePath = options.trace;
    host.comm.timeoutMs = options.timeoutMs;
    host.consoleOptions.assumeYes = options.yes;
    host.consoleOptions.assumeNo = options.no;
    host.consoleOptions.passcodes = options.passcodes;
    host.consoleOptions.passcodeStdin = options.passcodeStdin;
    host.consoleOptions.json = options.json;
    host_ = MakeDefaultHost(host);
    Host::SetDefault(host_);

    if (comm::IsSimulatorDevice(options.device)) {
        out_.Notice("using the embedded simulator (--device selects a serial device or tcp://)");
    }
    instrument_ = CVesk4710::Create(host_);
    instrument_->SetRegistry(host_->CreateRegistry());
    instrument_->InitializeCommunications();
}

Session::~Session() {
    instrument_.reset();
    Host::SetDefault(nullptr);
}

void Session::Identify() {
    CVesk4710& inst = Instrument();
    inst.InitializeCommunicationSettings();
    if (!inst.QueryIdentification(true)) {
        throw Failed("the instrument gave no identification");
    }
    if (inst.Identification().find(kModel4710) == std::string::npos) {
        throw Failed("the connected instrument is not a model 4710 (it identifies as \"" +
                     comm::Printable(inst.Identification()) + "\")");
    }
}

void Session::ReadTopology() {
    Identify();
    CVesk4710& inst = Instrument();
    Check(inst.QueryNumChannels(), "reading the channel count");
    Check(inst.QueryModuleList(), "reading the module list");
    Check(inst.QueryNumModules(), "reading the module count");
}

std::shared_ptr<CVesk4710Channel> Session::Channel(int32_t number) {
    const int16_t count = Instrument().NumChannels();
    if (number < 1 || number > count) {
        throw UsageError("channel " + std::to_string(number) + " does not exist (channels 1 to " +
                         std::to_string(count) + ")");
    }
    auto channel = Instrument().GetChannelReference(static_cast<int16_t>(number));
    if (!channel) {
        throw Failed("channel " + std::to_string(number) + " is on no module of the instrument");
    }
    return channel;
}

void Session::Unlock(const std::string& what) {
    CVesk4710& inst = Instrument();
    if (!inst.ValidatePasscode(nullptr)) {
        throw Failed("changing " + what +
                     " needs the instrument's passcode; none was accepted (give it with "
                     "--passcode-file, VESK4710_PASSCODE or at the prompt)");
    }
    inst.UpdatePasscodeState(inst.Passcode());
}

void Session::Relock() {
    CVesk4710& inst = Instrument();
    inst.UpdatePasscodeState("", true);
    inst.PasscodeState(PS_DISABLED);
    inst.Passcode("");
}

void Session::WithUnlock(const std::string& what, const std::function<void()>& write) {
    try {
        write();
        return;
    } catch (const AutomationError& e) {
        if (!PasscodeRequired(e)) {
            throw;
        }
    }
    UnlockedWrite(what, write);
}

void Session::Unlocked(const std::string& what, const std::function<void()>& write) {
    Check(Instrument().QueryPasscodeState(), "reading the passcode state");
    if (Instrument().PasscodeState() == PS_ENABLED) {
        write();
        return;
    }
    UnlockedWrite(what, write);
}

void Session::UnlockedWrite(const std::string& what, const std::function<void()>& write) {
    Unlock(what);
    try {
        write();
    } catch (const AutomationError& e) {
        // Locked again whatever happened. The write's error is the news, with the lock's when
        // that failed too: it says that the instrument may be left unlocked.
        try {
            Relock();
        } catch (const AutomationError& lock) {
            throw AutomationError(e.Number(), e.Description() + "; " + lock.Description(),
                                  e.Source(), e.HelpFile(), e.HelpContext());
        }
        throw;
    }
    Relock();
}

void Session::Require(const std::function<bool()>& operation, const std::string& what) {
    const auto* link =
        dynamic_cast<const comm::Communications*>(Instrument().Communications().get());
    const uint64_t mark = link != nullptr ? link->RequestCount() : 0;
    if (!operation()) {
        const auto cause = link != nullptr ? link->FailureSince(mark) : std::nullopt;
        throw Failed(what + " failed" + (cause ? ": " + *cause : std::string()));
    }
}

void Check(bool ok, const std::string& what) {
    if (!ok) {
        throw Failed(what + " failed");
    }
}

}  // namespace vesk::cli
