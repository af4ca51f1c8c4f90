// Late-bound access to a channel: one line per member, in interface order.
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/DispatchBinder.h"

namespace vesk {

Variant CVesk4710Channel::Invoke(const std::string& name, MemberKind kind,
                                 std::vector<Variant>& args) {
    using namespace dispatch;
    using C = CVesk4710Channel;
    using K = MemberKind;
    static const Binder<C> binder(
        MemberTable(),
        {
            {"CalDate", K::Get, Get<Date>(&C::CalDate)},
            {"CalDate", K::Let, Let<Date>(&C::CalDate)},
            {"Enabled", K::Get, Get<bool>(&C::Enabled)},
            {"Enabled", K::Let, Let<bool>(&C::Enabled)},
            {"SetModule", K::Set, Method(&C::SetModule)},
            {"Module", K::Get, Get<std::shared_ptr<CVesk4710Card>>(&C::Module)},
            {"FilePath", K::Get, Get<std::string>(&C::FilePath)},
            {"FilePath", K::Let, Let<const std::string&>(&C::FilePath)},
            {"SetRegistry", K::Set, Method(&C::SetRegistry)},
            {"Registry", K::Get, Get<std::shared_ptr<IRegistry>>(&C::Registry)},
            {"ProbeLock", K::Get, Get<bool>(&C::ProbeLock)},
            {"ProbeLock", K::Let, Let<bool>(&C::ProbeLock)},
            {"Resolution", K::Get, Get<int16_t>(&C::Resolution)},
            {"Resolution", K::Let, Let<int16_t>(&C::Resolution)},
            {"RJCType", K::Get, Get<int32_t>(&C::RJCType)},
            {"RJCType", K::Let, Let<int32_t>(&C::RJCType)},
            {"RJCTemperature", K::Get, Get<double>(&C::RJCTemperature)},
            {"RJCTemperature", K::Let, Let<double>(&C::RJCTemperature)},
            {"RJCTemperatureFormat", K::Get, Get<std::string>(&C::RJCTemperatureFormat)},
            {"RJCTemperatureFormat", K::Let, Let<const std::string&>(&C::RJCTemperatureFormat)},
            {"Changed", K::Get, Get<bool>(&C::Changed)},
            {"Changed", K::Let, Let<bool>(&C::Changed)},
            {"SetBaseUnit", K::Set, Method(&C::SetBaseUnit)},
            {"BaseUnit", K::Get, Get<std::shared_ptr<CVesk4710>>(&C::BaseUnit)},
            {"MaxRJCTemperature", K::Get, Get<double>(&C::MaxRJCTemperature)},
            {"MinRJCTemperature", K::Get, Get<double>(&C::MinRJCTemperature)},
            {"MINOP", K::Get, Get<int16_t>(&C::MINOP)},
            {"MINOP", K::Let, Let<int16_t>(&C::MINOP)},
            {"MAXOP", K::Get, Get<int16_t>(&C::MAXOP)},
            {"MAXOP", K::Let, Let<int16_t>(&C::MAXOP)},
            {"ModuleChannel", K::Get, Get<int16_t>(&C::ModuleChannel)},
            {"SetModuleChannel", K::Let, Method(&C::SetModuleChannel)},
            {"ActualChannel", K::Get, Get<int16_t>(&C::ActualChannel)},
            {"SetActualChannel", K::Let, Method(&C::SetActualChannel)},
            {"Probe", K::Get, Get<std::shared_ptr<IProbe>>(&C::Probe)},
            {"ProbeType", K::Get, Get<int32_t>(&C::ProbeType)},
            {"ProbeType", K::Let, Let<int32_t>(&C::ProbeType)},
            {"MaxSerialLength", K::Get, Get<int16_t>(&C::MaxSerialLength)},
            {"Edit", K::Method, Method(&C::Edit)},
            {"SetConversionType", K::Method, Method(&C::SetConversionType)},
            {"QueryInfo", K::Method, Method(&C::QueryInfo, Nothing{})},
            {"UpdateInfo", K::Method, Method(&C::UpdateInfo, Nothing{})},
            {"FillConversionTypeList", K::Method, Method(&C::FillConversionTypeList)},
            {"FillProbeTypeList", K::Method, Method(&C::FillProbeTypeList)},
            {"FillResolutionList", K::Method, Method(&C::FillResolutionList)},
            {"FillRJCTypeList", K::Method, Method(&C::FillRJCTypeList)},
        },
        ClassName());
    return binder.Invoke(*this, name, kind, args);
}

}  // namespace vesk
