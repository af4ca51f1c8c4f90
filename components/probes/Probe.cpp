#include "components/probes/Probe.h"

#include "components/probes/MathSupport.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::probes {

namespace {
constexpr const char* kSource = "vesk4710.probes.Probe";

void CheckType(int32_t type) {
    if (type < Probe::kLowestType || type > Probe::kHighestType) {
        throw AutomationError(kErrInvalidProcedureCall,
                              "Conversion type " + detail::Num(type) + " does not exist (-1 to 20)",
                              kSource);
    }
}
}  // namespace

std::shared_ptr<Probe> Probe::Create() {
    return std::shared_ptr<Probe>(new Probe());
}

Probe::Probe() {
    for (int32_t type = kLowestType; type <= kHighestType; ++type) {
        conversions_[static_cast<size_t>(type - kLowestType)] =
            std::make_unique<Conversion>(type, changed_);
    }
}

void Probe::Serial(const std::string& serial) {
    if (serial != serial_) {
        changed_ = true;
        serial_ = serial;
    }
}

void Probe::ConversionType(int32_t type) {
    CheckType(type);
    if (type != type_) {
        changed_ = true;
        type_ = type;
    }
}

IConversion& Probe::ConversionOf(int32_t type) {
    CheckType(type);
    return *conversions_[static_cast<size_t>(type - kLowestType)];
}

}  // namespace vesk::probes
