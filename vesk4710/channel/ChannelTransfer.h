#pragma once
// What reading and writing a channel share, so both keep the same request order, item names
// and failure texts.
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::channel_detail {

// Item names of the settings.
constexpr int32_t kResCalDate = 155;
constexpr int32_t kResSerial = 161;
constexpr int32_t kResConversionType = 162;
constexpr int32_t kResRJCType = 166;
constexpr int32_t kResRJCTemperature = 167;
constexpr int32_t kResResolution = 250;
constexpr int32_t kResProbeLock = 347;

// Named steps of a whole-channel run.
using ChannelSteps = std::vector<std::pair<std::string, std::function<bool()>>>;

// Runs the steps in order, one progress step each, item naming the step under way. False
// once a step fails or the user cancels (aborted set then).
inline bool RunSteps(const ChannelSteps& steps, IProgress& progress, std::string& item,
                     bool& aborted) {
    for (const auto& [name, run] : steps) {
        item = name;
        if (!run()) {
            return false;
        }
        if (!progress.Step()) {
            aborted = true;
            return false;
        }
    }
    return true;
}

// The closing message of a failed or cancelled run; a message that cannot be shown changes
// nothing.
inline void ShowRunFailure(Host& host, bool aborted, int32_t abortedId, int32_t failedId,
                           const std::string& item) {
    const std::string prompt =
        aborted ? LoadResString(abortedId) : ReplaceTokens(LoadResString(failedId), item);
    try {
        ShowInfoMessage(host.Ui(), prompt, kMsgCaption);
    } catch (...) {
    }
}

// Empty for an unused range; the low range's names carry its range number.
inline std::vector<std::string> RangeCoefficientNames(IConversionRange& range, bool lowRange) {
    static constexpr std::array<const char*, 2> kLow = {"A", "B"};
    static constexpr std::array<const char*, 4> kHigh = {"A", "B", "C", "D"};
    std::vector<std::string> names;
    if (range.Range() == -1) {
        return names;
    }
    const std::string suffix = lowRange ? NumberText(static_cast<int64_t>(range.Range())) : "";
    const size_t limit = lowRange ? kLow.size() : kHigh.size();
    for (int32_t i = 0; i < range.NumCoefficients() && static_cast<size_t>(i) < limit; ++i) {
        const auto at = static_cast<size_t>(i);
        names.push_back(std::string(lowRange ? kLow[at] : kHigh[at]) + suffix);
    }
    return names;
}

inline std::string RangeTitle(IConversionRange& range) {
    return "ITS-90 range " + NumberText(static_cast<int64_t>(range.Range()));
}

inline std::vector<std::string> CVDCoefficientNames() {
    return {"R0", "A", "B", "C"};
}

// "B0", "B1", ... or "C0", "C1", ...
inline std::vector<std::string> NumberedCoefficientNames(const char* letter, int32_t count) {
    std::vector<std::string> names;
    for (int32_t i = 0; i < count; ++i) {
        names.push_back(letter + NumberText(static_cast<int64_t>(i)));
    }
    return names;
}

// Transfer: reads each coefficient from the instrument into target.
template <class Target>
auto ReadInto(CVesk4710Channel& channel, Target& target) {
    return [&channel, &target](int32_t i, const std::string& name) {
        double value = 0.0;
        if (!channel.QueryCoefficient(name, value)) {
            return false;
        }
        target.Coefficients(i, value);
        return true;
    };
}

// Transfer: writes target's coefficient, then keeps what the instrument reads back.
template <class Target>
auto WriteAndReadBack(CVesk4710Channel& channel, Target& target, std::string format) {
    return [&channel, &target, format = std::move(format)](int32_t i, const std::string& name) {
        double readBack = 0.0;
        if (!channel.UpdateCoefficient(name, target.Coefficients(i), format) ||
            !channel.QueryCoefficient(name, readBack)) {
            return false;
        }
        target.Coefficients(i, readBack);
        return true;
    };
}

}  // namespace vesk::channel_detail
