// Pick lists of the channel settings dialog and the entry that opens it.
#include <array>
#include <utility>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ChannelEditDialog.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int32_t kResChannelSettings = 123;
constexpr int32_t kResEditPhrase = 213;
constexpr int32_t kResAuto = 316;

void AddEntry(IListControl& list, const std::string& text, int32_t data) {
    list.AddItem(text);
    list.ItemData(list.NewIndex(), data);
}

}  // namespace

bool CVesk4710Channel::FillConversionTypeList(IListControl& list, int32_t probeType) {
    try {
        list.Clear();
        std::vector<int32_t> types;
        switch (probeType) {
            case kFamilyPRT:
                types = {kConvITS90, kConvITS90Subrange5, kConvPT100, kConvCVD, kConvPRTOhms};
                break;
            case kFamilyThermistor:
                types = {kConvThermistor, kConvThermistorOhms};
                break;
            case kFamilyTC:
                types = {kConvThermocouple, kConvVolts};
                break;
            default:
                types = {kConvNone};
                break;
        }
        for (int32_t type : types) {
            AddEntry(list, ConversionTypeName(type), type);
        }
        return true;
    } catch (...) {
        ReportFailure("FillConversionTypeList", kResEditPhrase, {});
        return false;
    }
}

bool CVesk4710Channel::FillProbeTypeList(IListControl& list) {
    try {
        list.Clear();
        // A probe may switch between the resistive families, never into a thermocouple.
        const int32_t type = probe_ ? probe_->ConversionType() : kConvNone;
        const int32_t family = ProbeFamilyOf(type);
        if (family == kFamilyPRT || family == kFamilyThermistor) {
            AddEntry(list, ProbeFamilyName(kFamilyPRT), kFamilyPRT);
            AddEntry(list, ProbeFamilyName(kFamilyThermistor), kFamilyThermistor);
        } else if (family == kFamilyTC) {
            AddEntry(list, ProbeFamilyName(kFamilyTC), kFamilyTC);
        }
        return true;
    } catch (...) {
        ReportFailure("FillProbeTypeList", kResEditPhrase, {});
        return false;
    }
}

bool CVesk4710Channel::FillResolutionList(IListControl& list) {
    try {
        list.Clear();
        AddEntry(list, LoadResString(kResAuto), -1);
        for (int32_t digits = 0; digits <= 3; ++digits) {
            AddEntry(list, NumberText(static_cast<int64_t>(digits)), digits);
        }
        return true;
    } catch (...) {
        ReportFailure("FillResolutionList", kResEditPhrase, {});
        return false;
    }
}

bool CVesk4710Channel::FillRJCTypeList(IListControl& list) {
    try {
        list.Clear();
        AddEntry(list, RJCTypeText(1), 1);
        AddEntry(list, RJCTypeText(0), 0);
        return true;
    } catch (...) {
        ReportFailure("FillRJCTypeList", kResEditPhrase, {});
        return false;
    }
}

bool CVesk4710Channel::Edit() {
    try {
        auto dialog = ChannelEditDialog::Make(shared_from_this());
        dialog->Registry(registry_);
        dialog->Caption(ReplaceTokens(LoadResString(kResChannelSettings),
                                      NumberText(static_cast<int64_t>(actualChannel_))));
        host_->Ui().ShowModal(*dialog, nullptr);
        return true;
    } catch (...) {
        ReportFailure("Edit", kResEditPhrase, {});
        return false;
    }
}

}  // namespace vesk
