#include "vesk4710/dialogs/ChannelDialog.h"

#include <utility>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/DialogHelpers.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int32_t kTCTypeCount = 12;  // "B" .. "U"

// The channel's Edit shows this dialog whenever the library's dialogs are linked in.
const bool kRegistered = [] {
    ChannelEditDialog::SetFactory([](std::shared_ptr<CVesk4710Channel> channel) {
        return std::unique_ptr<ChannelEditDialog>(new ChannelDialog(std::move(channel)));
    });
    return true;
}();

std::string CoefficientText(double value, const std::string& format) {
    return format.empty() ? NumberText(value) : FormatNumber(value, format);
}

}  // namespace

ChannelDialog::ChannelDialog(std::shared_ptr<CVesk4710Channel> channel)
    : ChannelEditDialog(std::move(channel)) {
    (void)kRegistered;
}

IUiServices& ChannelDialog::Ui() const {
    return Channel()->GetHost().Ui();
}

std::shared_ptr<CVesk4710> ChannelDialog::Instrument() const {
    return Channel()->BaseUnit();
}

IConversion& ChannelDialog::Conversion() const {
    return Channel()->Probe()->ActiveConversion();
}

void ChannelDialog::Load() {
    activated_ = false;
    readOK_ = false;
    cancelled_ = true;
    Show();
    SetHelpContextID(kHelpChannel);
    c_.form->Caption(!Caption().empty() ? Caption()
                                        : ResText(123, NumberText(Channel()->ActualChannel())));
    SetCaption(c_.lblProbeSerial, LoadResString(161));
    SetCaption(c_.lblProbeType, "Probe type");
    SetCaption(c_.lblConversionType, LoadResString(162));
    SetCaption(c_.lblTCType, "Thermocouple type");
    SetCaption(c_.lblCoefficients, "Coefficients");
    SetCaption(c_.lblCalDate, LoadResString(155));
    SetCaption(c_.lblResolution, LoadResString(250));
    SetCaption(c_.lblRJCType, LoadResString(166));
    SetCaption(c_.lblRJCTemperature, LoadResString(167));
    SetCaption(c_.chkProbeLock, LoadResString(347));
    // The probe's lowest and highest temperature of use, in degrees Celsius whatever the units.
    SetCaption(c_.lblMINOP, "MINOP (\u00B0C)");
    SetCaption(c_.lblMAXOP, "MAXOP (\u00B0C)");
    SetCaption(c_.cmdUnlock, "&Unlock...");
    CaptionOKCancelHelp(c_.cmdOKCancelHelp);
}

void ChannelDialog::Activate() {
    if (activated_) {
        return;
    }
    activated_ = true;
    Ui().MousePointer(kPointerHourglass);
    readOK_ = ReadChannel();
    GatherChannel();
    SetEnabled(c_.cmdOKCancelHelp[kCmdOK], readOK_);
    Ui().MousePointer(kPointerDefault);
}

bool ChannelDialog::ReadChannel() {
    try {
        // QueryInfo reports its own failures.
        return Channel()->QueryInfo(c_.form);
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(211), kMsgCaption);
        return false;
    }
}

void ChannelDialog::GatherChannel() {
    filling_ = true;
    try {
        CVesk4710Channel& ch = *Channel();
        c_.txtProbeSerial->Text(ch.Probe()->Serial());

        ch.FillProbeTypeList(*c_.cboProbeType);
        if (c_.cboProbeType->ListCount() == 0) {
            // An unconfigured channel may take any family.
            for (int32_t family : {kFamilyPRT, kFamilyThermistor, kFamilyTC}) {
                AddListItem(*c_.cboProbeType, ProbeFamilyName(family), family);
            }
        }
        const int32_t type = ch.Probe()->ConversionType();
        const int32_t family = ProbeFamilyOf(type);
        SelectListItemByData(*c_.cboProbeType, family);
        FillConversionTypes(family);
        SelectOrAddItem(*c_.cboConversionType, type, ConversionTypeName(type));

        c_.cboTCType->Clear();
        for (int32_t tc = 0; tc < kTCTypeCount; ++tc) {
            AddListItem(*c_.cboTCType, ThermocoupleName(tc), tc);
        }
        SelectListItemByData(*c_.cboTCType,
                             type == kConvThermocouple ? Conversion().TCType() : kDefaultTCType);

        c_.dtpCalDate->Text(ch.CalDate().IsoDate());
        ch.FillResolutionList(*c_.cboResolution);
        SelectOrAddItem(*c_.cboResolution, ch.Resolution(), NumberText(ch.Resolution()));
        ch.FillRJCTypeList(*c_.cboRJCType);
        c_.chkProbeLock->Value(ch.ProbeLock() ? 1 : 0);
        c_.txtMINOP->Text(NumberText(ch.MINOP()));
        c_.txtMAXOP->Text(NumberText(ch.MAXOP()));
        ShowRJC();
        ShowCoefficients();
        // What was read is the channel's state, not an edit.
        ch.Changed(false);
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(209), kMsgCaption);
    }
    filling_ = false;
    original_ = Shown();
    ApplyLocks();
}

void ChannelDialog::FillConversionTypes(int32_t family) {
    Channel()->FillConversionTypeList(*c_.cboConversionType, family);
}

std::vector<ChannelDialog::Coefficient> ChannelDialog::Coefficients() const {
    std::vector<Coefficient> out;
    IConversion& conv = Conversion();
    const auto indexed = [&out](const std::string& name, auto& owner, int32_t i) {
        out.push_back({name, [&owner, i] { return owner.Coefficients(i); },
                       [&owner, i](double v) { owner.Coefficients(i, v); }});
    };
    const int32_t type = Channel()->Probe()->ConversionType();
    switch (type) {
        case kConvITS90:
        case kConvITS90Subrange5: {
            out.push_back(
                {"RTPW", [&conv] { return conv.RTPW(); }, [&conv](double v) { conv.RTPW(v); }});
            IConversionRange& low = conv.LowRange();
            if (low.Range() != -1) {
                const std::string range = NumberText(low.Range());
                for (int32_t i = 0; i < low.NumCoefficients() && i < 2; ++i) {
                    indexed((i == 0 ? "A" : "B") + range, low, i);
                }
            }
            // The instrument reports the high range of the full ITS-90 only.
            IConversionRange& high = conv.HighRange();
            if (type == kConvITS90 && high.Range() != -1) {
                static const char* const kNames[] = {"A", "B", "C", "D"};
                for (int32_t i = 0; i < high.NumCoefficients() && i < 4; ++i) {
                    indexed(std::string("High ") + kNames[i], high, i);
                }
            }
            break;
        }
        case kConvCVD: {
            static const char* const kNames[] = {"R0", "A", "B", "C"};
            for (int32_t i = 0; i < 4; ++i) {
                indexed(kNames[i], conv, i);
            }
            break;
        }
        case kConvPT100:
            indexed("R0", conv, 0);
            break;
        case kConvThermistor:
        case kConvThermocouple: {
            const std::string prefix = type == kConvThermistor ? "B" : "C";
            for (int32_t i = 0; i < conv.NumCoefficients(); ++i) {
                indexed(prefix + NumberText(i), conv, i);
            }
            break;
        }
        default:
            break;
    }
    return out;
}

void ChannelDialog::ShowCoefficients() {
    IGridControl& grid = *c_.vsfgCoefficients;
    const auto coefficients = Coefficients();
    grid.Cols(2);
    grid.Rows(static_cast<int32_t>(coefficients.size()) + 1);
    grid.TextMatrix(0, 0, "Coefficient");
    grid.TextMatrix(0, 1, "Value");
    for (size_t i = 0; i < coefficients.size(); ++i) {
        const auto row = static_cast<int32_t>(i) + 1;
        grid.TextMatrix(row, 0, coefficients[i].name);
        // Every digit the instrument holds, in the shortest form: a fixed pattern such as
        // "0.0000000E+00" pads some values with zeros and would round others.
        grid.TextMatrix(row, 1, NumberText(coefficients[i].get()));
    }
    grid.AutoSize(0, 1);
    grid.Refresh();
    const bool tc = Channel()->Probe()->ConversionType() == kConvThermocouple;
    SetEnabled(c_.lblTCType, tc);
    c_.cboTCType->Enabled(tc && !ConversionProtected());
}

void ChannelDialog::ShowRJC() {
    CVesk4710Channel& ch = *Channel();
    const bool saved = filling_;
    filling_ = true;
    SelectListItemByData(*c_.cboRJCType, ch.RJCType());
    c_.txtRJCTemperature->Text(CoefficientText(ch.RJCTemperature(), ch.RJCTemperatureFormat()));
    filling_ = saved;
    // The reference junction matters to thermocouples only; its temperature to an external one.
    const bool tc = ch.Probe()->ConversionType() == kConvThermocouple;
    c_.cboRJCType->Enabled(tc);
    SetEnabled(c_.lblRJCType, tc);
    const bool external = tc && SelectedItemData(*c_.cboRJCType, ch.RJCType()) == RJC_EXTERNAL;
    c_.txtRJCTemperature->Enabled(external);
    SetEnabled(c_.lblRJCTemperature, external);
}

bool ChannelDialog::Unlocked() const {
    const auto instrument = Instrument();
    return instrument && instrument->PasscodeState() == PS_ENABLED;
}

bool ChannelDialog::ConversionProtected() const {
    const auto instrument = Instrument();
    return instrument && instrument->ProtectConversion() && !Unlocked();
}

void ChannelDialog::ApplyLocks() {
    const bool conversionOpen = readOK_ && !ConversionProtected();
    c_.cboProbeType->Enabled(conversionOpen);
    c_.cboConversionType->Enabled(conversionOpen);
    c_.vsfgCoefficients->Enabled(conversionOpen);
    c_.cboTCType->Enabled(conversionOpen &&
                          Channel()->Probe()->ConversionType() == kConvThermocouple);
    c_.dtpCalDate->Enabled(readOK_);
    c_.txtProbeSerial->Enabled(readOK_);
    SetEnabled(c_.cmdUnlock, readOK_ && !Unlocked());
}

ChannelDialog::Values ChannelDialog::Shown() const {
    CVesk4710Channel& ch = *Channel();
    Values v;
    v.serial = UpperAscii(Trim(c_.txtProbeSerial->Text()));
    v.conversionType = ch.Probe()->ConversionType();
    v.tcType = v.conversionType == kConvThermocouple ? Conversion().TCType() : kDefaultTCType;
    const auto coefficients = Coefficients();
    for (size_t i = 0; i < coefficients.size(); ++i) {
        const auto row = static_cast<int32_t>(i) + 1;
        const auto typed = row < c_.vsfgCoefficients->Rows()
                               ? ParseTypedNumber(c_.vsfgCoefficients->TextMatrix(row, 1))
                               : std::nullopt;
        v.coefficients.push_back(typed.value_or(coefficients[i].get()));
    }
    v.calDate = Date::ParseIso(Trim(c_.dtpCalDate->Text())).value_or(ch.CalDate());
    v.resolution = SelectedItemData(*c_.cboResolution, ch.Resolution());
    v.rjcType = SelectedItemData(*c_.cboRJCType, ch.RJCType());
    // A temperature the junction type does not use is not taken from the idle box.
    v.rjcTemperature =
        c_.txtRJCTemperature->Enabled()
            ? ParseTypedNumber(c_.txtRJCTemperature->Text()).value_or(ch.RJCTemperature())
            : ch.RJCTemperature();
    v.probeLock = c_.chkProbeLock->Value() == 1;
    v.minop = ParseTypedInteger(c_.txtMINOP->Text()).value_or(ch.MINOP());
    v.maxop = ParseTypedInteger(c_.txtMAXOP->Text()).value_or(ch.MAXOP());
    return v;
}

void ChannelDialog::cboProbeType_Click() {
    if (filling_) {
        return;
    }
    const int32_t family = SelectedItemData(*c_.cboProbeType, kFamilyUnknown);
    filling_ = true;
    FillConversionTypes(family);
    const int32_t current = Channel()->Probe()->ConversionType();
    SelectListItemByData(*c_.cboConversionType, current);
    const bool keep = SelectedItemData(*c_.cboConversionType, kConvNone) == current;
    if (!keep && c_.cboConversionType->ListCount() > 0) {
        c_.cboConversionType->ListIndex(0);
    }
    filling_ = false;
    if (!keep) {
        cboConversionType_Click();
    }
}

void ChannelDialog::cboConversionType_Click() {
    if (filling_) {
        return;
    }
    const int32_t type = SelectedItemData(*c_.cboConversionType, kConvNone);
    if (type == kConvNone) {
        return;  // keep the existing conversion
    }
    try {
        Channel()->SetConversionType(type, SelectedItemData(*c_.cboTCType, kDefaultTCType));
        Channel()->ProbeType(ProbeFamilyOf(type));
        ShowRJC();
        ShowCoefficients();
    } catch (...) {
        ShowErrorMessage(Ui(), LoadResString(213), kMsgCaption);
    }
}

void ChannelDialog::cboTCType_Click() {
    if (filling_ || Channel()->Probe()->ConversionType() != kConvThermocouple) {
        return;
    }
    // Choosing the conversion again would not change the letter: set it directly.
    Conversion().TCType(SelectedItemData(*c_.cboTCType, kDefaultTCType));
}

void ChannelDialog::cboRJCType_Click() {
    if (filling_) {
        return;
    }
    const bool external = SelectedItemData(*c_.cboRJCType, RJC_INTERNAL) == RJC_EXTERNAL;
    c_.txtRJCTemperature->Enabled(external);
    SetEnabled(c_.lblRJCTemperature, external);
}

void ChannelDialog::txtProbeSerial_KeyPress(int16_t& keyAscii) {
    FilterSerialKey(keyAscii);
    if (keyAscii >= 'a' && keyAscii <= 'z') {
        keyAscii = static_cast<int16_t>(keyAscii - 'a' + 'A');  // the instrument keeps upper case
    }
    if (keyAscii >= ' ' && TextFull(*c_.txtProbeSerial, Channel()->MaxSerialLength())) {
        keyAscii = 0;
    }
}

void ChannelDialog::txtRJCTemperature_KeyPress(int16_t& keyAscii) {
    FilterRealKey(keyAscii);
}

void ChannelDialog::txtOP_KeyPress(int16_t& keyAscii) {
    if (keyAscii == '-' || keyAscii == '+') {
        return;
    }
    FilterIntegerKey(keyAscii);
}

void ChannelDialog::TextBox_GotFocus(ITextBox& box) {
    SelectAllText(box);
}

bool ChannelDialog::vsfgCoefficients_BeforeEdit(int32_t row, int32_t col) {
    return c_.vsfgCoefficients->Enabled() && col == 1 && row >= 1 &&
           row < c_.vsfgCoefficients->Rows();
}

void ChannelDialog::vsfgCoefficients_KeyPress(int16_t& keyAscii) {
    FilterScientificKey(keyAscii);
}

bool ChannelDialog::vsfgCoefficients_ValidateEdit(int32_t row, int32_t col, std::string& text) {
    if (!vsfgCoefficients_BeforeEdit(row, col)) {
        return false;
    }
    if (!ParseTypedNumber(text)) {
        ShowInfoMessage(
            Ui(),
            "The coefficient " + c_.vsfgCoefficients->TextMatrix(row, 0) + " must be a number.",
            kMsgCaption);
        return false;
    }
    text = Trim(text);
    return true;
}

void ChannelDialog::cmdUnlock_Click() {
    try {
        if (auto instrument = Instrument(); instrument && instrument->ValidatePasscode(c_.form)) {
            ApplyLocks();
        }
    } catch (...) {
        ShowErrorMessage(Ui(), ResText(109, LoadResString(308)), kMsgCaption);
    }
}

void ChannelDialog::Unload() {
    SaveFormState();
}

}  // namespace vesk
