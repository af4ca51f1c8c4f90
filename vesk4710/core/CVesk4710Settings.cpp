// Single instrument settings: each query reads one setting into the cache, each update
// writes the cached value; passcode protection.
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

using detail::Contains;

// "C" wins over "F" and "F" over "K": the instrument's reply may carry more than one.
bool CVesk4710::QueryUnits() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_UNITS_READ);
        if (Contains(reply, "C")) {
            Units(UNITS_DEGREESC);
        } else if (Contains(reply, "F")) {
            Units(UNITS_DEGREESF);
        } else if (Contains(reply, "K")) {
            Units(static_cast<E4710Units>(2));
        } else {
            Units(UNITS_NONE);
            return false;
        }
        return true;
    } catch (...) {
        Rethrow("QueryUnits");
    }
}

bool CVesk4710::UpdateUnits() {
    try {
        auto comm = Session();
        comm->params().ClearAll();
        switch (static_cast<int32_t>(units_)) {
            case UNITS_DEGREESC:
                comm->params().Value("C");
                break;
            case UNITS_DEGREESF:
                comm->params().Value("F");
                break;
            case kUnitsKelvin:
                comm->params().Value("K");
                break;
            default:
                break;
        }
        comm->WriteSetting(SET_UNITS_WRITE);
        return true;
    } catch (...) {
        Rethrow("UpdateUnits");
    }
}

bool CVesk4710::QueryScanMode() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_SCAN_MODE_READ);
        ScanMode(static_cast<E4710ScanMode>(CInt16(Val(reply))));
        return true;
    } catch (...) {
        Rethrow("QueryScanMode");
    }
}

bool CVesk4710::UpdateScanMode(bool override, bool /*scmode*/) {
    try {
        if (!override) {
            detail::WriteValue(*Session(), SET_SCAN_MODE_WRITE,
                               NumberText(static_cast<int64_t>(scanMode_)));
        }
        return true;
    } catch (...) {
        Rethrow("UpdateScanMode");
    }
}

// The reply frames the list with two leading characters and one trailing one.
bool CVesk4710::QueryScanChannelList() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_SCAN_LIST_READ);
        ScanChannels(reply.size() < 4 ? std::string() : reply.substr(2, reply.size() - 3));
        return true;
    } catch (...) {
        Rethrow("QueryScanChannelList");
    }
}

bool CVesk4710::UpdateScanChannelList() {
    try {
        auto comm = Session();
        comm->params().ClearAll();
        comm->params().ChannelList(scanChannels_);
        comm->WriteSetting(SET_SCAN_LIST_WRITE);
        return true;
    } catch (...) {
        Rethrow("UpdateScanChannelList");
    }
}

bool CVesk4710::QueryInterval() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_INTERVAL_READ);
        if (Contains(reply, "AUTO")) {
            Interval(INT_AUTO);
        } else {
            Interval(static_cast<E4710Interval>(CInt16(Val(reply))));
        }
        return true;
    } catch (...) {
        Rethrow("QueryInterval");
    }
}

bool CVesk4710::UpdateInterval(IForm* /*frm*/) {
    try {
        detail::WriteValue(*Session(), SET_INTERVAL_WRITE,
                           interval_ == INT_AUTO ? std::string("AUTO")
                                                 : NumberText(static_cast<int64_t>(interval_)));
        return true;
    } catch (...) {
        Rethrow("UpdateInterval");
    }
}

bool CVesk4710::UpdateScanSeqDelay() {
    try {
        detail::WriteValue(*Session(), SET_SCAN_SEQ_DELAY, NumberText(scanSeqDelay_));
        return true;
    } catch (...) {
        Rethrow("UpdateScanSeqDelay");
    }
}

// The resolution is held per input: the same value goes to channel 1 and channel 2.
bool CVesk4710::UpdateResolution() {
    try {
        auto comm = Session();
        comm->params().ClearAll();
        comm->params().Value(NumberText(resolution_));
        comm->params().Channel("1");
        comm->WriteSetting(SET_RESOLUTION);
        comm->params().Channel("2");
        comm->WriteSetting(SET_RESOLUTION);
        return true;
    } catch (...) {
        Rethrow("UpdateResolution");
    }
}

bool CVesk4710::QueryAutoPower() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_AUTO_POWER_READ);
        if (reply == "ON") {
            AutoPower(true);
        } else if (reply == "OFF") {
            AutoPower(false);
        }
        return true;
    } catch (...) {
        Rethrow("QueryAutoPower");
    }
}

bool CVesk4710::UpdateAutoPower() {
    try {
        detail::WriteValue(*Session(), SET_AUTO_POWER_WRITE, autoPower_ ? "ON" : "OFF");
        return true;
    } catch (...) {
        Rethrow("UpdateAutoPower");
    }
}

// There is no command to enable the port again from here: nothing is sent unless disabling.
bool CVesk4710::UpdateDisableSerial() {
    try {
        if (disableSerial_) {
            detail::WriteSetting(*Session(), SET_DISABLE_SERIAL);
        }
        return true;
    } catch (...) {
        Rethrow("UpdateDisableSerial");
    }
}

bool CVesk4710::UpdateSerialNumber() {
    try {
        detail::WriteValue(*Session(), SET_SERIAL, serial_);
        return true;
    } catch (...) {
        Rethrow("UpdateSerialNumber");
    }
}

// ---- passcode protection ----

bool CVesk4710::UpdatePasscodeState(const std::string& passcode, bool disable) {
    try {
        if (disable) {
            Lock();
        } else {
            detail::WriteValue(*Session(), SET_PASSCODE, passcode);
        }
        return true;
    } catch (...) {
        Rethrow("UpdatePasscodeState");
    }
}

bool CVesk4710::QueryPasscodeState() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_PASSCODE_STATE);
        PasscodeState(CInt16(Val(reply)) == 1 ? PS_ENABLED : PS_DISABLED);
        return true;
    } catch (...) {
        Rethrow("QueryPasscodeState");
    }
}

bool CVesk4710::QueryProtectConversion() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_CONV_PROTECTION);
        ProtectConversion(Val(reply) == 1.0);
        return true;
    } catch (...) {
        Rethrow("QueryProtectConversion");
    }
}

// Calibration parameters are always treated as protected; the instrument is not asked.
bool CVesk4710::QueryProtectCalParams() {
    ProtectCalParams(true);
    return true;
}

bool CVesk4710::QueryPasscodeProtection() {
    return QueryProtectConversion() && QueryProtectCalParams() && QueryPasscodeState();
}

// The instrument judges the passcode; a wrong one only asks again, without limit.
bool CVesk4710::ValidatePasscode(IForm* frm) {
    try {
        IUiServices& ui = host_->Ui();
        for (;;) {
            const PasscodeEntry entry = ui.PromptPasscode(frm);
            if (!entry.confirmed) {
                return false;
            }
            UpdatePasscodeState(entry.text, false);
            QueryPasscodeState();
            if (passcodeState_ != PS_DISABLED) {
                Passcode(entry.text);
                UpdatePasscodeState("", true);
                return true;
            }
            ShowInfoMessage(ui, LoadResString(103), kMsgCaption);
        }
    } catch (...) {
        Rethrow("ValidatePasscode");
    }
}

}  // namespace vesk
