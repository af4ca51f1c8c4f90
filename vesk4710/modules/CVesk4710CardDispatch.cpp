// Late-bound access to a module: one line per member, in interface order.
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/DispatchBinder.h"

namespace vesk {

Variant CVesk4710Card::Invoke(const std::string& name, MemberKind kind,
                              std::vector<Variant>& args) {
    using namespace dispatch;
    using C = CVesk4710Card;
    using K = MemberKind;
    static const Binder<C> binder(
        MemberTable(),
        {
            {"FilePath", K::Let, Let<const std::string&>(&C::FilePath)},
            {"FilePath", K::Get, Get<std::string>(&C::FilePath)},
            {"SetRegistry", K::Method, Method(&C::SetRegistry)},
            {"Registry", K::Get, Get<std::shared_ptr<IRegistry>>(&C::Registry)},
            {"SetBaseUnit", K::Method, Method(&C::SetBaseUnit)},
            {"BaseUnit", K::Get, Get<std::shared_ptr<CVesk4710>>(&C::BaseUnit)},
            {"Changed", K::Let, Let<bool>(&C::Changed)},
            {"Changed", K::Get, Get<bool>(&C::Changed)},
            {"ModuleType", K::Get, Get<int32_t>(&C::ModuleType)},
            {"SetModuleNumber", K::Method, Method(&C::SetModuleNumber)},
            {"ModuleNumber", K::Get, Get<int16_t>(&C::ModuleNumber)},
            {"NumChannels", K::Get, Get<int16_t>(&C::NumChannels)},
            {"SetStartChannel", K::Method, Method(&C::SetStartChannel)},
            {"StartChannel", K::Get, Get<int16_t>(&C::StartChannel)},
            {"ModuleName", K::Get, Get<std::string>(&C::ModuleName)},
            {"Channels", K::Get, Method(&C::Channels)},
        },
        ClassName());
    return binder.Invoke(*this, name, kind, args);
}

}  // namespace vesk
