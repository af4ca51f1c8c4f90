// Conversion type changes and the instrument plumbing shared by the channel's queries and
// updates.
#include <array>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr int32_t kResUpdatePhrase = 114;
constexpr int32_t kResConversionType = 162;

constexpr const char* kITS90RTPWFormat = "##0.00000";
constexpr const char* kScientificFormat = "0.0000000E-00";
constexpr double kDefaultRTPW = 100.0;
constexpr int32_t kITS90LowRange = 4;
constexpr int32_t kITS90HighRange = 6;
constexpr int32_t kSubrange5HighRange = 7;

constexpr std::array<const char*, 4> kCVDFormats = {"##0.0000", "0.000000000", "0.0000", "0.000"};
constexpr std::array<double, 4> kCVDDefaults = {100.0, 0.00385, 1.507, 0.111};
constexpr std::array<double, 4> kThermistorDefaults = {-4.0, 4000.0, 0.0, 0.0};

void ZeroCoefficients(IConversionRange& range) {
    for (int32_t i = 0; i < range.NumCoefficients(); ++i) {
        range.Coefficients(i, 0.0);
    }
}

void FixRange(IConversionRange& range, int32_t number) {
    range.MinRange(number);
    range.MaxRange(number);
    range.Range(number);
}

}  // namespace

bool CVesk4710Channel::SetConversionType(int32_t conversionType, int32_t tcType) {
    try {
        if (!probe_) {
            throw AutomationError(kErrObjectRequired, "The channel has no probe object");
        }
        IProbe& probe = *probe_;
        // Same type: nothing is reinitialised, not even the thermocouple letter.
        if (probe.ConversionType() != conversionType) {
            probe.ConversionType(IsSupportedConversionType(conversionType) ? conversionType
                                                                           : kConvNone);
            IConversion& conv = probe.ActiveConversion();
            switch (conversionType) {
                case kConvITS90:
                case kConvITS90Subrange5: {
                    conv.RTPWFormat(kITS90RTPWFormat);
                    conv.LowRange().ValueFormat(kScientificFormat);
                    conv.HighRange().ValueFormat(kScientificFormat);
                    if (auto instrument = Instrument()) {
                        conv.FilePath(instrument->FilePath());
                    }
                    IConversionRange& low = conv.LowRange();
                    IConversionRange& high = conv.HighRange();
                    if (conversionType == kConvITS90) {
                        FixRange(low, kITS90LowRange);
                        low.AllowChangeRange(false);
                        FixRange(high, kITS90HighRange);
                    } else {
                        // Subrange 5 keeps the component's own low-range limits.
                        FixRange(high, kSubrange5HighRange);
                    }
                    high.ShowCoefRange(false);
                    high.AllowChangeRange(false);
                    conv.RTPW(kDefaultRTPW);
                    ZeroCoefficients(low);
                    if (conversionType == kConvITS90) {
                        ZeroCoefficients(high);
                    }
                    break;
                }
                case kConvCVD:
                    conv.UsePolynomial(true);
                    for (int32_t i = 0; i < 4; ++i) {
                        conv.ValueFormat(i, kCVDFormats[static_cast<size_t>(i)]);
                    }
                    for (int32_t i = 0; i < 4; ++i) {
                        conv.Coefficients(i, kCVDDefaults[static_cast<size_t>(i)]);
                    }
                    break;
                case kConvThermistor:
                    conv.ValueFormat(kScientificFormat);
                    for (int32_t i = 0; i < 4; ++i) {
                        conv.Coefficients(i, kThermistorDefaults[static_cast<size_t>(i)]);
                    }
                    break;
                case kConvThermocouple:
                    RJCType(1);
                    RJCTemperature(0.0);
                    conv.TCType(tcType);
                    break;
                default:
                    break;
            }
        }
        probe.ActiveConversion().FilePath(filePath_);
        return true;
    } catch (...) {
        ReportFailure("SetConversionType", kResUpdatePhrase, LoadResString(kResConversionType));
        return false;
    }
}

std::shared_ptr<CVesk4710> CVesk4710Channel::Instrument() const {
    if (auto instrument = baseUnit_.lock()) {
        return instrument;
    }
    if (auto module = module_.lock()) {
        return module->BaseUnit();
    }
    return nullptr;
}

std::shared_ptr<ICommunications> CVesk4710Channel::BeginRequest() const {
    auto instrument = Instrument();
    if (!instrument) {
        throw AutomationError(kErrObjectRequired,
                              "The channel is not connected to an instrument (it was released)");
    }
    instrument->LockIfLeftUnlocked();
    auto comm = instrument->Communications();
    if (!comm) {
        throw AutomationError(kErrObjectRequired,
                              "The instrument has no communications session; call "
                              "InitializeCommunications first");
    }
    comm->params().ClearAll();
    comm->params().Channel(NumberText(actualChannel_));
    return comm;
}

std::string CVesk4710Channel::ReadChannelSetting(int32_t id, const std::string& paramName) {
    auto comm = BeginRequest();
    if (!paramName.empty()) {
        comm->params().paramname(paramName);
    }
    return comm->ReadSetting(id, true, "");
}

void CVesk4710Channel::WriteChannelSetting(int32_t id, const std::string& value,
                                           const std::string& paramName) {
    auto comm = BeginRequest();
    if (!paramName.empty()) {
        comm->params().paramname(paramName);
    }
    comm->params().Value(value);
    comm->WriteSetting(id);
}

void CVesk4710Channel::ReportFailure(const std::string& operation, int32_t phraseId,
                                     const std::string& item) const {
    const PendingError pending = CapturePendingError();
    int32_t context = 0;
    if (auto instrument = Instrument()) {
        context = instrument->DVCICommError();
    }
    try {
        // The report names this channel's operation, whatever raised underneath.
        throw AutomationError(pending.number, pending.description,
                              "CVesk4710Channel - " + operation, HelpFile(), context);
    } catch (...) {
        try {
            ShowErrorMessage(host_->Ui(), ReplaceTokens(LoadResString(phraseId), item),
                             kMsgCaption);
        } catch (...) {
            // The report is the end of the error path; a failing message box changes nothing.
        }
    }
}

}  // namespace vesk
