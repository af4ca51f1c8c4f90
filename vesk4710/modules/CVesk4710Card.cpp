#include "vesk4710/modules/CVesk4710Card.h"

#include <utility>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/support/Paths.h"

namespace vesk {

std::shared_ptr<CVesk4710Card> CVesk4710Card::Create(std::shared_ptr<Host> host) {
    if (!host) {
        throw AutomationError(kErrObjectRequired, RuntimeErrorText(kErrObjectRequired),
                              "CVesk4710Card - Create");
    }
    std::shared_ptr<CVesk4710Card> self(new CVesk4710Card(std::move(host)));
    self->Initialize();
    return self;
}

CVesk4710Card::CVesk4710Card(std::shared_ptr<Host> host) : host_(std::move(host)) {}

void CVesk4710Card::Initialize() {
    ModuleType(CT_PRT);
    ModuleName("PRT");
    // Not placed in an instrument yet.
    startChannel_ = -1;
    channels_.resize(kChannelsPerModule);
    for (int16_t i = 0; i < kChannelsPerModule; ++i) {
        auto channel = CVesk4710Channel::Create(host_);
        channels_[i] = channel;
        channel->SetModuleChannel(static_cast<int16_t>(i + 1));
        channel->SetModule(shared_from_this());
    }
    FilePath(LibraryFolder());
    Changed(false);
}

CVesk4710Card::~CVesk4710Card() = default;

const std::vector<MemberInfo>& CVesk4710Card::MemberTable() {
    using K = MemberKind;
    static const std::vector<MemberInfo> table = MakeMemberTable({
        {"FilePath", K::Let},
        {"FilePath", K::Get},
        {"SetRegistry", K::Method},
        {"Registry", K::Get},
        {"SetBaseUnit", K::Method},
        {"BaseUnit", K::Get},
        {"Changed", K::Let},
        {"Changed", K::Get},
        {"ModuleType", K::Get},
        {"SetModuleNumber", K::Method},
        {"ModuleNumber", K::Get},
        {"NumChannels", K::Get},
        {"SetStartChannel", K::Method},
        {"StartChannel", K::Get},
        {"ModuleName", K::Get},
        {"Channels", K::Get},
    });
    return table;
}

void CVesk4710Card::FilePath(const std::string& value) {
    filePath_ = value;
    for (const auto& channel : channels_) {
        if (channel) {
            channel->FilePath(value);
        }
    }
}
std::string CVesk4710Card::FilePath() const {
    return filePath_;
}

void CVesk4710Card::SetRegistry(std::shared_ptr<IRegistry> value) {
    registry_ = std::move(value);
    for (const auto& channel : channels_) {
        if (channel) {
            channel->SetRegistry(registry_);
        }
    }
}
std::shared_ptr<IRegistry> CVesk4710Card::Registry() const {
    return registry_;
}

void CVesk4710Card::SetBaseUnit(const std::shared_ptr<CVesk4710>& value) {
    baseUnit_ = value;
}
std::shared_ptr<CVesk4710> CVesk4710Card::BaseUnit() const {
    return baseUnit_.lock();
}

void CVesk4710Card::Changed(bool value) {
    changed_ = value;
}
bool CVesk4710Card::Changed() const {
    return changed_;
}

int32_t CVesk4710Card::ModuleType() const {
    return moduleType_;
}
void CVesk4710Card::ModuleType(int32_t value) {
    moduleType_ = value;
}

void CVesk4710Card::SetModuleNumber(int16_t value) {
    moduleNumber_ = value;
}
int16_t CVesk4710Card::ModuleNumber() const {
    return moduleNumber_;
}

void CVesk4710Card::SetStartChannel(int16_t value) {
    startChannel_ = value;
}
int16_t CVesk4710Card::StartChannel() const {
    return startChannel_;
}

std::string CVesk4710Card::ModuleName() const {
    return moduleName_;
}
void CVesk4710Card::ModuleName(const std::string& value) {
    moduleName_ = value;
}

std::shared_ptr<CVesk4710Channel> CVesk4710Card::Channels(int16_t idx) const {
    if (idx < 0 || idx >= static_cast<int16_t>(channels_.size())) {
        throw AutomationError::Runtime(kErrSubscriptOutOfRange, "CVesk4710Card - Channels");
    }
    return channels_[idx];
}

}  // namespace vesk
