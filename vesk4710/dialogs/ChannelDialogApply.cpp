// Checking the edits, writing what changed and putting back what was read: the channel
// dialog's OK and Cancel.
#include "vesk4710/dialogs/ChannelDialog.h"

#include <cctype>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/DialogHelpers.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

bool ChannelDialog::ValidateChannel() {
    CVesk4710Channel& ch = *Channel();
    const std::string serial(Trim(c_.txtProbeSerial->Text()));
    if (static_cast<int32_t>(serial.size()) > ch.MaxSerialLength()) {
        return RefuseEntry(Ui(),
                           "The probe serial number can not be longer than " +
                               NumberText(ch.MaxSerialLength()) + " characters.",
                           c_.txtProbeSerial);
    }
    for (char chr : serial) {
        if (!std::isalnum(static_cast<unsigned char>(chr)) && chr != '-') {
            return RefuseEntry(Ui(),
                               "The probe serial number may hold letters, digits and '-' only.",
                               c_.txtProbeSerial);
        }
    }
    const auto coefficients = Coefficients();
    for (size_t i = 0; i < coefficients.size(); ++i) {
        const auto row = static_cast<int32_t>(i) + 1;
        if (!ParseTypedNumber(c_.vsfgCoefficients->TextMatrix(row, 1))) {
            return RefuseEntry(Ui(),
                               "The coefficient " + coefficients[i].name + " must be a number.");
        }
    }
    const auto calDate = Date::ParseIso(Trim(c_.dtpCalDate->Text()));
    if (!calDate) {
        return RefuseEntry(Ui(), "The calibration date is not a valid date.", c_.dtpCalDate);
    }
    if (*calDate > Date::Today()) {
        return RefuseEntry(Ui(), "The calibration date can not be in the future.", c_.dtpCalDate);
    }
    if (c_.txtRJCTemperature->Enabled()) {
        const auto t = ParseTypedNumber(c_.txtRJCTemperature->Text());
        if (!t || *t < ch.MinRJCTemperature() || *t > ch.MaxRJCTemperature()) {
            return RefuseEntry(Ui(),
                               "The reference junction temperature must be a number from " +
                                   NumberText(ch.MinRJCTemperature()) + " to " +
                                   NumberText(ch.MaxRJCTemperature()) + ".",
                               c_.txtRJCTemperature);
        }
    }
    for (auto [box, name] : {std::pair{c_.txtMINOP, "MINOP"}, std::pair{c_.txtMAXOP, "MAXOP"}}) {
        const auto value = ParseTypedInteger(box->Text());
        if (!value || *value < INT16_MIN || *value > INT16_MAX) {
            return RefuseEntry(Ui(),
                               std::string(name) + " must be a whole number from " +
                                   NumberText(int32_t{INT16_MIN}) + " to " +
                                   NumberText(int32_t{INT16_MAX}) + ".",
                               box);
        }
    }
    return true;
}

void ChannelDialog::Restore(const Values& values) {
    CVesk4710Channel& ch = *Channel();
    ch.Probe()->Serial(values.serial);
    if (ch.Probe()->ConversionType() != values.conversionType) {
        ch.SetConversionType(values.conversionType, values.tcType);
        ch.ProbeType(ProbeFamilyOf(values.conversionType));
    }
    if (values.conversionType == kConvThermocouple) {
        Conversion().TCType(values.tcType);
    }
    const auto coefficients = Coefficients();
    for (size_t i = 0; i < coefficients.size() && i < values.coefficients.size(); ++i) {
        coefficients[i].set(values.coefficients[i]);
    }
    ch.CalDate(values.calDate);
    ch.Resolution(static_cast<int16_t>(values.resolution));
    ch.RJCType(values.rjcType);
    ch.RJCTemperature(values.rjcTemperature);
    ch.ProbeLock(values.probeLock);
    ch.MINOP(static_cast<int16_t>(values.minop));
    ch.MAXOP(static_cast<int16_t>(values.maxop));
}

std::string ChannelDialog::ProtectedChanges(const Values& now) const {
    const Values& was = original_;
    const auto instrument = Instrument();
    const bool conversionsGuarded = instrument && instrument->ProtectConversion();
    std::vector<std::string> items;
    if (now.serial != was.serial) {
        items.emplace_back("probe serial number");
    }
    if (conversionsGuarded && ConversionChanged(now)) {
        items.emplace_back("conversion");
    }
    if (conversionsGuarded && now.coefficients != was.coefficients) {
        items.emplace_back("coefficients");
    }
    std::string text;
    for (size_t i = 0; i < items.size(); ++i) {
        text += (i == 0 ? "the " : i + 1 == items.size() ? " and the " : ", the ") + items[i];
    }
    return text;
}

bool ChannelDialog::ConversionChanged(const Values& now) const {
    return now.conversionType != original_.conversionType || now.tcType != original_.tcType;
}

bool ChannelDialog::WriteChannel(const Values& now) {
    CVesk4710Channel& ch = *Channel();
    const std::string guarded = ProtectedChanges(now);
    // Protected settings are written only under a passcode the instrument accepted; the user
    // is told which of the changes need it.
    if (!guarded.empty() && !Unlocked()) {
        Ui().MousePointer(kPointerDefault);
        ShowInfoMessage(Ui(),
                        "Writing " + guarded + " of channel " + NumberText(ch.ActualChannel()) +
                            " needs the instrument's passcode.",
                        kMsgCaption);
        cmdUnlock_Click();
        if (!Unlocked()) {
            return false;
        }
    }
    const auto instrument = Instrument();
    bool presented = false;
    bool ok = true;
    try {
        Restore(now);
        const Values& was = original_;
        if (!guarded.empty()) {
            // Marked first: a lost reply may still have unlocked the instrument.
            presented = true;
            instrument->UpdatePasscodeState(instrument->Passcode());
        }
        // Only what changed is written, in the instrument's order, each read back.
        const auto write = [&ok](bool changed, const std::function<bool()>& step) {
            ok = ok && (!changed || step());
        };
        const bool tc = now.conversionType == kConvThermocouple;
        write(now.serial != was.serial,
              [&] { return ch.UpdateSerialNumber() && ch.QuerySerialNumber(); });
        write(ConversionChanged(now),
              [&] { return ch.UpdateConversionType() && ch.QueryConversionType(); });
        write(now.calDate != was.calDate, [&] { return ch.UpdateCalDate() && ch.QueryCalDate(); });
        write(tc && now.rjcType != was.rjcType,
              [&] { return ch.UpdateRJCType() && ch.QueryRJCType(); });
        write(tc && now.rjcTemperature != was.rjcTemperature, [&] {
            return ch.UpdateExternalRJCTemperature() && ch.QueryExternalRJCTemperature();
        });
        write(now.resolution != was.resolution,
              [&] { return ch.UpdateResolution() && ch.QueryResolution(); });
        write(now.minop != was.minop, [&] { return ch.UpdateMINOP() && ch.QueryMINOP(); });
        write(now.maxop != was.maxop, [&] { return ch.UpdateMAXOP() && ch.QueryMAXOP(); });
        write(now.probeLock != was.probeLock,
              [&] { return ch.UpdateProbeLock() && ch.QueryProbeLock(); });
        // A new conversion's coefficients are all written, whether or not they were edited.
        write(ConversionChanged(now) || now.coefficients != was.coefficients,
              [&] { return ch.UpdateCoefficients(c_.form); });
    } catch (...) {
        ShowErrorMessage(Ui(), ResText(114, ResText(123, NumberText(ch.ActualChannel()))),
                         kMsgCaption);
        ok = false;
    }
    if (presented) {
        // Locked again whatever happened, so that the instrument never stays open.
        try {
            instrument->UpdatePasscodeState("", true);
            instrument->PasscodeState(PS_DISABLED);
        } catch (...) {
            ShowErrorMessage(Ui(), ResText(109, LoadResString(308)), kMsgCaption);
            ok = false;
        }
    }
    if (ok) {
        ch.Changed(false);
    }
    return ok;
}

void ChannelDialog::cmdOKCancelHelp_Click(int index) {
    OKCancelHelp(
        Ui(), index,
        [this] {
            cancelled_ = !ApplyChanges(
                Ui(), 198, [this] { return ValidateChannel(); },
                [this] { return Shown() == original_; }, [this] { return WriteChannel(Shown()); });
        },
        [this] {
            try {
                // Conversion choices went straight into the probe: put back what was read.
                Restore(original_);
                Channel()->Changed(false);
            } catch (...) {
                ShowErrorMessage(Ui(), LoadResString(213), kMsgCaption);
            }
            cancelled_ = true;
            Hide();
        });
}

}  // namespace vesk
