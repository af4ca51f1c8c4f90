// Reading a channel's settings and its probe's coefficients from the instrument.
#include <array>
#include <functional>
#include <memory>
#include <vector>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ChannelProgress.h"
#include "vesk4710/channel/ChannelTransfer.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

// Helpers shared with the other direction of the transfer.
using namespace channel_detail;

namespace {

constexpr int32_t kResQueryFailed = 107;
constexpr int32_t kResQueryAborted = 108;
constexpr int32_t kResQueryPhrase = 109;
constexpr int32_t kResReadingChannel = 124;
constexpr int32_t kResReadingCoefficients = 125;

// The instrument answers booleans as numbers; words are accepted like any automation text.
bool ReplyToBoolean(const std::string& reply) {
    if (IsNumeric(reply)) {
        return Val(reply) != 0.0;
    }
    const std::string upper = UpperAscii(reply);
    if (upper == "TRUE") {
        return true;
    }
    if (upper == "FALSE") {
        return false;
    }
    throw AutomationError::Runtime(kErrTypeMismatch);
}

}  // namespace

std::unique_ptr<IProgress> CVesk4710Channel::OpenProgress(IForm* parent, const std::string& title,
                                                          double stepPercent) {
    auto progress = host_->Ui().CreateProgress();
    if (!progress) {
        throw AutomationError(kErrObjectRequired, "No progress display is available");
    }
    progress->SetOwner(parent, parent != nullptr);
    progress->StartPhase(title, stepPercent);
    return progress;
}

bool CVesk4710Channel::CoefficientStep(IProgress& progress, bool ok, int32_t failTextId,
                                       const std::string& item) {
    if (!ok) {
        ShowInfoMessage(host_->Ui(), ReplaceTokens(LoadResString(failTextId), item), kMsgCaption);
        return false;
    }
    if (!progress.Step()) {
        aborted_ = true;
        return false;
    }
    return true;
}

bool CVesk4710Channel::WalkCoefficients(
    IProgress& progress, int32_t failTextId, const std::vector<std::string>& names,
    const std::string& family, const std::function<bool(int32_t, const std::string&)>& transfer) {
    for (size_t i = 0; i < names.size(); ++i) {
        if (!CoefficientStep(progress, transfer(static_cast<int32_t>(i), names[i]), failTextId,
                             family + " " + names[i])) {
            return false;
        }
    }
    return true;
}

bool CVesk4710Channel::QuerySerialNumber() {
    try {
        const std::string reply = ReadChannelSetting(SET_PROBE_SERIAL_READ);
        if (!probe_) {
            throw AutomationError(kErrObjectRequired, "The channel has no probe object");
        }
        probe_->Serial(UpperAscii(reply));
        return true;
    } catch (...) {
        ReportFailure("QuerySerialNumber", kResQueryPhrase, LoadResString(kResSerial));
        return false;
    }
}

bool CVesk4710Channel::QueryCalDate() {
    try {
        const std::string reply = ReadChannelSetting(SET_PROBE_CAL_DATE_READ);
        CalDate(DateFromYMD(reply));
        return true;
    } catch (...) {
        ReportFailure("QueryCalDate", kResQueryPhrase, LoadResString(kResCalDate));
        return false;
    }
}

bool CVesk4710Channel::QueryConversionType() {
    ConversionCode code;
    try {
        const std::string reply = ReadChannelSetting(SET_CONVERSION_READ);
        code = ConversionTypeFromCode(UpperAscii(reply));
    } catch (...) {
        ReportFailure("QueryConversionType", kResQueryPhrase, LoadResString(kResConversionType));
        return false;
    }
    // Reports its own failure.
    return SetConversionType(code.conversionType, code.tcType);
}

bool CVesk4710Channel::QueryProbeLock() {
    try {
        const std::string reply = ReadChannelSetting(SET_PROBE_LOCK_READ);
        ProbeLock(ReplyToBoolean(reply));
        return true;
    } catch (...) {
        ReportFailure("QueryProbeLock", kResQueryPhrase, LoadResString(kResProbeLock));
        return false;
    }
}

bool CVesk4710Channel::QueryResolution() {
    try {
        const std::string reply = ReadChannelSetting(SET_RESOLUTION_READ);
        // Case-sensitive on purpose: only the instrument's own "AUTO" means automatic.
        if (reply.find("AUT") != std::string::npos) {
            Resolution(-1);
        } else {
            Resolution(CInt16(Val(reply)));
        }
        return true;
    } catch (...) {
        ReportFailure("QueryResolution", kResQueryPhrase, LoadResString(kResResolution));
        return false;
    }
}

bool CVesk4710Channel::QueryRJCType() {
    try {
        const std::string reply = ReadChannelSetting(SET_PARAMETER_READ, "RJTYPE");
        RJCType(Val(UpperAscii(reply)) == 1.0 ? 1 : 0);
        return true;
    } catch (...) {
        ReportFailure("QueryRJCType", kResQueryPhrase, LoadResString(kResRJCType));
        return false;
    }
}

bool CVesk4710Channel::QueryExternalRJCTemperature() {
    try {
        const std::string reply = ReadChannelSetting(SET_PARAMETER_READ, "RJTEMP");
        RJCTemperature(Val(UpperAscii(reply)));
        return true;
    } catch (...) {
        ReportFailure("QueryExternalRJCTemperature", kResQueryPhrase,
                      LoadResString(kResRJCTemperature));
        return false;
    }
}

bool CVesk4710Channel::QueryMINOP() {
    double value = 0.0;
    // Lenient on purpose: a missing parameter must not stop the channel query.
    if (QueryCoefficient("MINOP", value)) {
        try {
            MINOP(CInt16(value));
        } catch (...) {
        }
    }
    return true;
}

bool CVesk4710Channel::QueryMAXOP() {
    double value = 0.0;
    if (QueryCoefficient("MAXOP", value)) {
        try {
            MAXOP(CInt16(value));
        } catch (...) {
        }
    }
    return true;
}

bool CVesk4710Channel::QueryCoefficient(const std::string& name, double& value) {
    try {
        const std::string reply = ReadChannelSetting(SET_PARAMETER_READ, name);
        value = Val(UpperAscii(reply));
        return true;
    } catch (...) {
        return false;
    }
}

bool CVesk4710Channel::QueryRangeCoefficients(IForm* parent, IConversionRange& range,
                                              bool lowRange) {
    const auto names = RangeCoefficientNames(range, lowRange);
    if (names.empty()) {
        return true;
    }
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResReadingCoefficients), RangeTitle(range)),
        100.0 / range.NumCoefficients());
    ProgressCloser closer{progress};
    return WalkCoefficients(*progress, kResQueryFailed, names, "ITS-90", ReadInto(*this, range));
}

bool CVesk4710Channel::QueryITS90Coefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    const bool withHigh = probe_->ConversionType() == kConvITS90;
    auto progress =
        OpenProgress(parent, ReplaceTokens(LoadResString(kResReadingCoefficients), "ITS-90"),
                     100.0 / (withHigh ? 3 : 2));
    ProgressCloser closer{progress};
    double rtpw = 0.0;
    const bool ok = QueryCoefficient("RTPW", rtpw);
    if (ok) {
        conv.RTPW(rtpw);
    }
    if (!CoefficientStep(*progress, ok, kResQueryFailed, "ITS-90 RTPW")) {
        return false;
    }
    if (!QueryRangeCoefficients(parent, conv.LowRange(), true)) {
        return false;
    }
    if (!CoefficientStep(*progress, true, kResQueryFailed, {})) {
        return false;
    }
    // Subrange 5 has no high-range coefficients on the instrument.
    if (withHigh) {
        if (!QueryRangeCoefficients(parent, conv.HighRange(), false)) {
            return false;
        }
        if (!CoefficientStep(*progress, true, kResQueryFailed, {})) {
            return false;
        }
    }
    return true;
}

bool CVesk4710Channel::QueryCVDCoefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResReadingCoefficients), "CVD"), 100.0 / 4);
    ProgressCloser closer{progress};
    return WalkCoefficients(*progress, kResQueryFailed, CVDCoefficientNames(), "CVD",
                            ReadInto(*this, conv));
}

bool CVesk4710Channel::QueryPT100Coefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    auto progress =
        OpenProgress(parent, ReplaceTokens(LoadResString(kResReadingCoefficients), "PT100"), 100.0);
    ProgressCloser closer{progress};
    return WalkCoefficients(*progress, kResQueryFailed, {"R0"}, "PT100", ReadInto(*this, conv));
}

bool CVesk4710Channel::QueryThermistorCoefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    const int32_t count = conv.NumCoefficients();
    auto progress = OpenProgress(
        parent, ReplaceTokens(LoadResString(kResReadingCoefficients), "Thermistor R(T)"),
        count > 0 ? 100.0 / count : 100.0);
    ProgressCloser closer{progress};
    return WalkCoefficients(*progress, kResQueryFailed, NumberedCoefficientNames("B", count),
                            "Thermistor R(T)", ReadInto(*this, conv));
}

bool CVesk4710Channel::QueryThermocoupleCoefficients(IForm* parent) {
    IConversion& conv = probe_->ActiveConversion();
    const int32_t count = conv.NumCoefficients();
    auto progress =
        OpenProgress(parent, ReplaceTokens(LoadResString(kResReadingCoefficients), "TC Polynomial"),
                     100.0 / (count + 2));
    ProgressCloser closer{progress};
    if (!CoefficientStep(*progress, QueryRJCType(), kResQueryFailed, LoadResString(kResRJCType))) {
        return false;
    }
    if (!CoefficientStep(*progress, QueryExternalRJCTemperature(), kResQueryFailed,
                         LoadResString(kResRJCTemperature))) {
        return false;
    }
    return WalkCoefficients(*progress, kResQueryFailed, NumberedCoefficientNames("C", count),
                            "TC Polynomial", ReadInto(*this, conv));
}

bool CVesk4710Channel::QueryInfo(IForm* parent) {
    aborted_ = false;
    std::string item;
    std::unique_ptr<IProgress> progress;
    bool failed = false;
    try {
        // Keeps the channel alive while the progress display processes events.
        auto self = shared_from_this();
        const ChannelSteps steps = {
            {LoadResString(kResSerial), [this] { return QuerySerialNumber(); }},
            {LoadResString(kResConversionType),
             [this] {
                 if (!QueryConversionType()) {
                     return false;
                 }
                 ProbeType(ProbeFamilyOf(probe_ ? probe_->ConversionType() : kConvNone));
                 return true;
             }},
            {LoadResString(kResCalDate), [this] { return QueryCalDate(); }},
            {LoadResString(kResResolution), [this] { return QueryResolution(); }},
            {"MINOP", [this] { return QueryMINOP(); }},
            {"MAXOP", [this] { return QueryMAXOP(); }},
            {LoadResString(kResProbeLock), [this] { return QueryProbeLock(); }},
            {LoadResString(kResConversionType),
             [this, parent] {
                 if (!probe_) {
                     return true;
                 }
                 switch (probe_->ConversionType()) {
                     case kConvITS90:
                     case kConvITS90Subrange5:
                         return QueryITS90Coefficients(parent);
                     case kConvCVD:
                         return QueryCVDCoefficients(parent);
                     case kConvThermistor:
                         return QueryThermistorCoefficients(parent);
                     case kConvPT100:
                         return QueryPT100Coefficients(parent);
                     case kConvThermocouple:
                         return QueryThermocoupleCoefficients(parent);
                     case kConvVolts:
                         // A voltage reading has no reference junction to read.
                         RJCType(1);
                         RJCTemperature(0.0);
                         return true;
                     default:
                         return true;
                 }
             }},
        };
        progress = OpenProgress(parent,
                                ReplaceTokens(LoadResString(kResReadingChannel),
                                              NumberText(static_cast<int64_t>(actualChannel_))),
                                100.0 / static_cast<double>(steps.size()));
        failed = !RunSteps(steps, *progress, item, aborted_);
    } catch (...) {
        ReportFailure("QueryInfo", kResQueryPhrase, item);
        CloseProgress(progress);
        return false;
    }
    CloseProgress(progress);
    if (failed) {
        ShowRunFailure(*host_, aborted_, kResQueryAborted, kResQueryFailed, item);
        return false;
    }
    return true;
}

}  // namespace vesk
