// Writing a channel's settings and its probe's coefficients to the instrument, each read
// back so the channel holds what the instrument accepted.
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ChannelProgress.h"
#include "vesk4710/channel/ChannelTransfer.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

// Helpers shared with the other direction of the transfer.
using namespace channel_detail;

namespace {

constexpr int32_t kResUpdateFailed = 112;
constexpr int32_t kResUpdateAborted = 113;
constexpr int32_t kResUpdatePhrase = 114;
constexpr int32_t kResUpdatingChannel = 126;
constexpr int32_t kResUpdatingCoefficients = 128;

// The internal reference junction's fixed characteristic, written whatever the probe holds.
constexpr std::array<double, 4> kInternalRJC = {-5.21134759, 4653.1438, -91698.1845, -4054538.5};

}  // namespace

bool CVesk4710Channel::UpdateSerialNumber() {
    try {
        if (!probe_) {
            throw AutomationError(kErrObjectRequired, "The channel has no probe object");
        }
        WriteChannelSetting(SET_PROBE_SERIAL_WRITE, probe_->Serial());
        return true;
    } catch (...) {
        ReportFailure("UpdateSerialNumber", kResUpdatePhrase, LoadResString(kResSerial));
        return false;
    }
}

bool CVesk4710Channel::UpdateConversionType() {
    try {
        if (!probe_) {
            throw AutomationError(kErrObjectRequired, "The channel has no probe object");
        }
        const int32_t type = probe_->ConversionType();
        const int32_t tc = type == kConvThermocouple ? probe_->ActiveConversion().TCType() : 0;
        WriteChannelSetting(SET_CONVERSION_WRITE, ConversionTypeCode(type, tc));
        return true;
    } catch (...) {
        ReportFailure("UpdateConversionType", kResUpdatePhrase, LoadResString(kResConversionType));
        return false;
    }
}

bool CVesk4710Channel::UpdateCalDate() {
    try {
        const std::string text = NumberText(calDate_.Year()) + "," + NumberText(calDate_.Month()) +
                                 "," + NumberText(calDate_.Day());
        WriteChannelSetting(SET_PROBE_CAL_DATE_WRITE, text);
        return true;
    } catch (...) {
        ReportFailure("UpdateCalDate", kResUpdatePhrase, LoadResString(kResCalDate));
        return false;
    }
}

bool CVesk4710Channel::UpdateRJCType() {
    try {
        WriteChannelSetting(SET_PARAMETER_WRITE, rjcType_ == 1 ? "1" : "0", "RJTYPE");
        return true;
    } catch (...) {
        ReportFailure("UpdateRJCType", kResUpdatePhrase, LoadResString(kResRJCType));
        return false;
    }
}

bool CVesk4710Channel::UpdateExternalRJCTemperature() {
    try {
        WriteChannelSetting(
            SET_PARAMETER_WRITE,
            ToInvariantDecimal(FormatNumber(rjcTemperature_, rjcTemperatureFormat_)), "RJTEMP");
        return true;
    } catch (...) {
        ReportFailure("UpdateExternalRJCTemperature", kResUpdatePhrase,
                      LoadResString(kResRJCTemperature));
        return false;
    }
}

bool CVesk4710Channel::UpdateResolution() {
    try {
        // Automatic is written as the finest resolution; the read-back tells what it became.
        const std::string value = resolution_ == -1 ? "3" : NumberText(resolution_);
        WriteChannelSetting(SET_RESOLUTION, value);
        return true;
    } catch (...) {
        ReportFailure("UpdateResolution", kResUpdatePhrase, LoadResString(kResResolution));
        return false;
    }
}

bool CVesk4710Channel::UpdateMINOP() {
    return UpdateCoefficient("MINOP", minop_, "##0");
}

bool CVesk4710Channel::UpdateMAXOP() {
    return UpdateCoefficient("MAXOP", maxop_, "##0");
}

bool CVesk4710Channel::UpdateProbeLock() {
    try {
        WriteChannelSetting(SET_PROBE_LOCK_WRITE, probeLock_ ? "1" : "0");
        return true;
    } catch (...) {
        ReportFailure("UpdateProbeLock", kResUpdatePhrase, LoadResString(kResProbeLock));
        return false;
    }
}

bool CVesk4710Channel::UpdateCoefficient(const std::string& name, double value,
                                         const std::string& format) {
    try {
        // The instrument always reads "." as the decimal point.
        WriteChannelSetting(SET_PARAMETER_WRITE, ToInvariantDecimal(FormatNumber(value, format)),
                            name);
        return true;
    } catch (...) {
        return false;
    }
}

bool CVesk4710Channel::UpdateRangeCoefficients(IForm* parent, IConversionRange& range,
                                               bool lowRange) {
    const auto names = RangeCoefficientNames(range, lowRange);
    if (names.empty()) {
        return true;
    }
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResUpdatingCoefficients), RangeTitle(range)),
        100.0 / range.NumCoefficients());
    ProgressCloser closer{progress};
    return WalkCoefficients(*progress, kResUpdateFailed, names, "ITS-90",
                            WriteAndReadBack(*this, range, range.ValueFormat()));
}

bool CVesk4710Channel::UpdateITS90Coefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResUpdatingCoefficients), "ITS-90"), 100.0 / 3);
    ProgressCloser closer{progress};
    if (!CoefficientStep(*progress, UpdateCoefficient("RTPW", conv.RTPW(), conv.RTPWFormat()),
                         kResUpdateFailed, "ITS-90 RTPW")) {
        return false;
    }
    // Unlike the query, the high range is written for subrange 5 too.
    for (bool low : {true, false}) {
        if (!UpdateRangeCoefficients(parent, low ? conv.LowRange() : conv.HighRange(), low)) {
            return false;
        }
        if (!CoefficientStep(*progress, true, kResUpdateFailed, {})) {
            return false;
        }
    }
    return true;
}

bool CVesk4710Channel::UpdateCVDCoefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResUpdatingCoefficients), "CVD"), 100.0 / 4);
    ProgressCloser closer{progress};
    // Written without a read-back.
    return WalkCoefficients(*progress, kResUpdateFailed, CVDCoefficientNames(), "CVD",
                            [this, &conv](int32_t i, const std::string& name) {
                                return UpdateCoefficient(name, conv.Coefficients(i),
                                                         conv.ValueFormat(i));
                            });
}

bool CVesk4710Channel::UpdatePT100Coefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResUpdatingCoefficients), "PT100"), 100.0);
    ProgressCloser closer{progress};
    // A named index: a literal 0 would also convert to the format setter's text.
    const int32_t r0 = 0;
    return WalkCoefficients(*progress, kResUpdateFailed, {"R0"}, "PT100",
                            WriteAndReadBack(*this, conv, conv.ValueFormat(r0)));
}

bool CVesk4710Channel::UpdateThermistorCoefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    const int32_t count = conv.NumCoefficients();
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResUpdatingCoefficients), "Thermistor R(T)"),
        count > 0 ? 100.0 / count : 100.0);
    ProgressCloser closer{progress};
    return WalkCoefficients(*progress, kResUpdateFailed, NumberedCoefficientNames("B", count),
                            "Thermistor R(T)", WriteAndReadBack(*this, conv, conv.ValueFormat()));
}

bool CVesk4710Channel::UpdateThermocoupleCoefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    const int32_t count = conv.NumCoefficients();
    const bool internalRJ = rjcType_ == 1;
    const std::string family = "TC Type " + ThermocoupleName(conv.TCType());
    auto progress =
        OpenProgress(parent, ReplaceTokens(LoadResString(kResUpdatingCoefficients), family),
                     count > 0 ? 100.0 / (internalRJ ? 2 * count : count) : 100.0);
    ProgressCloser closer{progress};
    const std::string format = conv.ValueFormat();
    if (!WalkCoefficients(*progress, kResUpdateFailed, NumberedCoefficientNames("C", count), family,
                          WriteAndReadBack(*this, conv, format))) {
        return false;
    }
    if (!internalRJ) {
        return true;
    }
    return WalkCoefficients(
        *progress, kResUpdateFailed, NumberedCoefficientNames("B", count), family,
        [this, &format](int32_t i, const std::string& name) {
            // Indexes past the characteristic repeat its last term.
            const double value = kInternalRJC[static_cast<size_t>(i < 4 ? i : 3)];
            double readBack = 0.0;
            return UpdateCoefficient(name, value, format) && QueryCoefficient(name, readBack);
        });
}

bool CVesk4710Channel::UpdateCoefficients(IForm* parent) {
    if (!probe_) {
        return true;
    }
    switch (probe_->ConversionType()) {
        case kConvITS90:
        case kConvITS90Subrange5:
            return UpdateITS90Coefficients(parent);
        case kConvCVD:
            return UpdateCVDCoefficients(parent);
        case kConvThermistor:
            return UpdateThermistorCoefficients(parent);
        case kConvPT100:
            return UpdatePT100Coefficients(parent);
        case kConvThermocouple:
            return UpdateThermocoupleCoefficients(parent);
        default:
            return true;
    }
}

bool CVesk4710Channel::UpdateInfo(IForm* parent) {
    aborted_ = false;
    std::string item;
    std::unique_ptr<IProgress> progress;
    std::shared_ptr<CVesk4710> instrument;
    bool unlocked = false;
    std::string passcode;
    bool failed = false;
    bool reported = false;
    try {
        auto self = shared_from_this();
        instrument = Instrument();
        if (!instrument) {
            throw AutomationError(
                kErrObjectRequired,
                "The channel is not connected to an instrument (it was released)");
        }
        const bool thermocouple = probe_ && probe_->ConversionType() == kConvThermocouple;
        ChannelSteps steps = {
            {LoadResString(kResSerial),
             [this] { return UpdateSerialNumber() && QuerySerialNumber(); }},
            {"conversion type", [this] { return UpdateConversionType() && QueryConversionType(); }},
            {LoadResString(kResCalDate), [this] { return UpdateCalDate() && QueryCalDate(); }},
        };
        if (thermocouple) {
            steps.emplace_back(LoadResString(kResRJCType),
                               [this] { return UpdateRJCType() && QueryRJCType(); });
            steps.emplace_back(LoadResString(kResRJCTemperature), [this] {
                return UpdateExternalRJCTemperature() && QueryExternalRJCTemperature();
            });
        }
        steps.emplace_back(LoadResString(kResResolution),
                           [this] { return UpdateResolution() && QueryResolution(); });
        steps.emplace_back("MINOP", [this] { return UpdateMINOP() && QueryMINOP(); });
        steps.emplace_back("MAXOP", [this] { return UpdateMAXOP() && QueryMAXOP(); });
        steps.emplace_back(LoadResString(kResProbeLock),
                           [this] { return UpdateProbeLock() && QueryProbeLock(); });
        steps.emplace_back(LoadResString(kResConversionType),
                           [this, parent] { return UpdateCoefficients(parent); });

        progress = OpenProgress(
            parent, ReplaceTokens(LoadResString(kResUpdatingChannel), NumberText(actualChannel_)),
            100.0 / static_cast<double>(steps.size()));
        if (instrument->PasscodeState() == PS_ENABLED) {
            // Conversion settings are protected: present the passcode validated earlier.
            item = "Passcode";
            passcode = instrument->Passcode();
            // Marked first: a lost reply may still have unlocked the instrument.
            unlocked = true;
            instrument->UpdatePasscodeState(passcode);
        }
        failed = !RunSteps(steps, *progress, item, aborted_);
    } catch (...) {
        ReportFailure("UpdateInfo", kResUpdatePhrase, item);
        failed = true;
        reported = true;
    }
    CloseProgress(progress);
    // Restored also after a failure, before any message, so the instrument never stays open.
    if (unlocked) {
        try {
            instrument->UpdatePasscodeState("", true);
            instrument->PasscodeState(PS_DISABLED);
            instrument->Passcode(passcode);
        } catch (...) {
            ReportFailure("UpdateInfo", kResUpdatePhrase, "Passcode");
            reported = reported || !failed;
            failed = true;
        }
    }
    if (failed && !reported) {
        ShowRunFailure(*host_, aborted_, kResUpdateAborted, kResUpdateFailed, item);
    }
    return !failed;
}

}  // namespace vesk
