#include "vesk4710/channel/CVesk4710Channel.h"

#include <utility>

namespace vesk {

namespace {

constexpr int16_t kMaxResolution = 3;
constexpr double kMaxRJCTemperature = 50.0;
constexpr double kMinRJCTemperature = -10.0;
constexpr int16_t kMaxSerialLength = 8;
constexpr int32_t kProbeDatabaseLevel = 4;

}  // namespace

std::shared_ptr<CVesk4710Channel> CVesk4710Channel::Create(std::shared_ptr<Host> host) {
    if (!host) {
        host = Host::Default();
    }
    std::shared_ptr<CVesk4710Channel> channel(new CVesk4710Channel(std::move(host)));
    channel->Initialize();
    return channel;
}

CVesk4710Channel::CVesk4710Channel(std::shared_ptr<Host> host) : host_(std::move(host)) {}

CVesk4710Channel::~CVesk4710Channel() = default;

void CVesk4710Channel::Initialize() {
    Enabled(true);
    // Marks a new channel changed on purpose; the channel dialog clears it after reading.
    RJCType(1);
    RJCTemperature(0.0);
    RJCTemperatureFormat("#0.000");
    probe_ = host_->CreateProbe();
    // The probe database lives beside the library by default.
    const std::string folder = host_->Files().GetSpecialFolder(SpecialFolder::Library);
    if (probe_) {
        probe_->ApplicationPath(folder);
        probe_->DatabaseLevel(kProbeDatabaseLevel);
    }
    FilePath(folder);
}

const std::vector<MemberInfo>& CVesk4710Channel::MemberTable() {
    using K = MemberKind;
    static const std::vector<MemberInfo> table = MakeMemberTable({
        {"CalDate", K::Get},
        {"CalDate", K::Let},
        {"Enabled", K::Get},
        {"Enabled", K::Let},
        {"SetModule", K::Set},
        {"Module", K::Get},
        {"FilePath", K::Get},
        {"FilePath", K::Let},
        {"SetRegistry", K::Set},
        {"Registry", K::Get},
        {"ProbeLock", K::Get},
        {"ProbeLock", K::Let},
        {"Resolution", K::Get},
        {"Resolution", K::Let},
        {"RJCType", K::Get},
        {"RJCType", K::Let},
        {"RJCTemperature", K::Get},
        {"RJCTemperature", K::Let},
        {"RJCTemperatureFormat", K::Get},
        {"RJCTemperatureFormat", K::Let},
        {"Changed", K::Get},
        {"Changed", K::Let},
        {"SetBaseUnit", K::Set},
        {"BaseUnit", K::Get},
        {"MaxRJCTemperature", K::Get},
        {"MinRJCTemperature", K::Get},
        {"MINOP", K::Get},
        {"MINOP", K::Let},
        {"MAXOP", K::Get},
        {"MAXOP", K::Let},
        {"ModuleChannel", K::Get},
        {"SetModuleChannel", K::Let},
        {"ActualChannel", K::Get},
        {"SetActualChannel", K::Let},
        {"Probe", K::Get},
        {"ProbeType", K::Get},
        {"ProbeType", K::Let},
        {"MaxSerialLength", K::Get},
        {"Edit", K::Method},
        {"SetConversionType", K::Method},
        {"QueryInfo", K::Method},
        {"UpdateInfo", K::Method},
        {"FillConversionTypeList", K::Method},
        {"FillProbeTypeList", K::Method},
        {"FillResolutionList", K::Method},
        {"FillRJCTypeList", K::Method},
    });
    return table;
}

std::string CVesk4710Channel::ClassName() const {
    return "CVesk4710Channel";
}

const std::vector<MemberInfo>& CVesk4710Channel::Members() const {
    return MemberTable();
}

Date CVesk4710Channel::CalDate() const {
    return calDate_;
}

void CVesk4710Channel::CalDate(Date value) {
    if (value != calDate_) {
        Changed(true);
    }
    calDate_ = value;
}

bool CVesk4710Channel::Enabled() const {
    return enabled_;
}

void CVesk4710Channel::Enabled(bool value) {
    enabled_ = value;
}

void CVesk4710Channel::SetModule(std::shared_ptr<CVesk4710Card> module) {
    module_ = module;
}

std::shared_ptr<CVesk4710Card> CVesk4710Channel::Module() const {
    return module_.lock();
}

std::string CVesk4710Channel::FilePath() const {
    return filePath_;
}

void CVesk4710Channel::FilePath(const std::string& value) {
    filePath_ = value;
    if (probe_) {
        probe_->FilePath(value);
    }
}

void CVesk4710Channel::SetRegistry(std::shared_ptr<IRegistry> registry) {
    registry_ = registry;
    if (probe_) {
        probe_->Registry(std::move(registry));
    }
}

std::shared_ptr<IRegistry> CVesk4710Channel::Registry() const {
    return registry_;
}

bool CVesk4710Channel::ProbeLock() const {
    return probeLock_;
}

void CVesk4710Channel::ProbeLock(bool value) {
    if (value != probeLock_) {
        Changed(true);
    }
    probeLock_ = value;
}

int16_t CVesk4710Channel::Resolution() const {
    return resolution_;
}

void CVesk4710Channel::Resolution(int16_t value) {
    // Capped above only: -1 means automatic and lower values are passed through as given.
    if (value > kMaxResolution) {
        value = kMaxResolution;
    }
    if (value != resolution_) {
        Changed(true);
    }
    resolution_ = value;
}

int32_t CVesk4710Channel::RJCType() const {
    return rjcType_;
}

void CVesk4710Channel::RJCType(int32_t value) {
    if (value != rjcType_) {
        Changed(true);
    }
    rjcType_ = value;
}

double CVesk4710Channel::RJCTemperature() const {
    return rjcTemperature_;
}

void CVesk4710Channel::RJCTemperature(double value) {
    if (value != rjcTemperature_) {
        Changed(true);
    }
    rjcTemperature_ = value;
}

std::string CVesk4710Channel::RJCTemperatureFormat() const {
    return rjcTemperatureFormat_;
}

void CVesk4710Channel::RJCTemperatureFormat(const std::string& value) {
    rjcTemperatureFormat_ = value;
}

bool CVesk4710Channel::Changed() const {
    // Coefficient edits live in the probe, so its flag counts too.
    return changed_ || (probe_ && probe_->Changed());
}

void CVesk4710Channel::Changed(bool value) {
    changed_ = value;
    if (probe_) {
        probe_->Changed(value);
    }
}

void CVesk4710Channel::SetBaseUnit(std::shared_ptr<CVesk4710> instrument) {
    baseUnit_ = instrument;
}

std::shared_ptr<CVesk4710> CVesk4710Channel::BaseUnit() const {
    return baseUnit_.lock();
}

double CVesk4710Channel::MaxRJCTemperature() const {
    return kMaxRJCTemperature;
}

double CVesk4710Channel::MinRJCTemperature() const {
    return kMinRJCTemperature;
}

int16_t CVesk4710Channel::MINOP() const {
    return minop_;
}

void CVesk4710Channel::MINOP(int16_t value) {
    minop_ = value;
}

int16_t CVesk4710Channel::MAXOP() const {
    return maxop_;
}

void CVesk4710Channel::MAXOP(int16_t value) {
    maxop_ = value;
}

int16_t CVesk4710Channel::ModuleChannel() const {
    return moduleChannel_;
}

void CVesk4710Channel::SetModuleChannel(int16_t value) {
    moduleChannel_ = value;
}

int16_t CVesk4710Channel::ActualChannel() const {
    return actualChannel_;
}

void CVesk4710Channel::SetActualChannel(int16_t value) {
    actualChannel_ = value;
}

std::shared_ptr<IProbe> CVesk4710Channel::Probe() const {
    return probe_;
}

int32_t CVesk4710Channel::ProbeType() const {
    return probeType_;
}

void CVesk4710Channel::ProbeType(int32_t value) {
    probeType_ = value;
}

int16_t CVesk4710Channel::MaxSerialLength() const {
    return kMaxSerialLength;
}

}  // namespace vesk
