#include "host/InstrumentText.h"

namespace vesk {

std::string PasscodeSummary(const CVesk4710& inst) {
    std::string text = inst.PasscodeState() == PS_ENABLED ? "unlocked" : "locked";
    if (inst.ProtectConversion()) {
        text += ", conversions protected";
    }
    if (inst.ProtectCalParams()) {
        text += ", calibration protected";
    }
    return text;
}

}  // namespace vesk
