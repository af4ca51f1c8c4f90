// The instrument's module tree: building it, numbering its channels, finding and selecting
// channels, and reading the topology from the instrument.
#include <algorithm>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

// Every slot is rebuilt, even when the count is unchanged, so that each channel's state is
// read afresh. The new tree is built aside and replaces the old one only once every state has
// been read: a link failing part way leaves the old tree, its count and Changed as they were.
void CVesk4710::NumModules(int16_t value) {
    if (value < 0 || value > kMaxModules) {
        throw AutomationError(kErrInvalidModuleIndex, LoadResString(215),
                              std::string(detail::kClassPrefix) + "NumModules", vesk::HelpFile(),
                              dvciCommError_);
    }
    std::vector<std::shared_ptr<CVesk4710Card>> tree(static_cast<size_t>(value) + 1);
    int16_t start = 1;
    for (int16_t i = 0; i < value; ++i) {
        const auto module = tree[i] = CVesk4710Card::Create(host_);
        module->SetRegistry(registry_);
        module->FilePath(filePath_);
        module->SetBaseUnit(shared_from_this());
        module->SetModuleNumber(static_cast<int16_t>(i + 1));
        module->SetStartChannel(start);
        start = static_cast<int16_t>(module->StartChannel() + module->NumChannels());
        for (int16_t j = 0; j < module->NumChannels(); ++j) {
            const auto channel = module->Channels(j);
            channel->SetBaseUnit(shared_from_this());
            channel->SetActualChannel(static_cast<int16_t>(module->StartChannel() + j));
            channel->Enabled(QueryChannelState(channel->ActualChannel()));
        }
    }
    modules_ = std::move(tree);
    numModules_ = value;
    changed_ = true;
}

// The index is bounded by the array's design size, not by the modules present.
std::shared_ptr<CVesk4710Card> CVesk4710::Modules(int16_t idx) const {
    if (idx < 0 || idx >= kMaxModules) {
        throw AutomationError(kErrInvalidModuleIndex, LoadResString(215),
                              std::string(detail::kClassPrefix) + "Modules", vesk::HelpFile(),
                              dvciCommError_);
    }
    if (idx >= static_cast<int16_t>(modules_.size())) {
        throw AutomationError::Runtime(kErrSubscriptOutOfRange,
                                       std::string(detail::kClassPrefix) + "Modules");
    }
    return modules_[idx];
}

// A 0-based channel index; negative values mean "none" and are accepted.
void CVesk4710::SelectedChannel(int16_t value) {
    if (value > numChannels_ - 1) {
        throw AutomationError(kErrInvalidChannel, LoadResString(216),
                              std::string(detail::kClassPrefix) + "SelectedChannel",
                              vesk::HelpFile(), dvciCommError_);
    }
    selectedChannel_ = value;
}
int16_t CVesk4710::SelectedChannel() const {
    return selectedChannel_;
}

std::shared_ptr<CVesk4710Channel> CVesk4710::GetChannelReference(int16_t chn) {
    if (chn > numChannels_ || chn < 1) {
        return nullptr;
    }
    const int16_t last = std::min<int16_t>(numModules_, static_cast<int16_t>(modules_.size()));
    for (int16_t i = static_cast<int16_t>(last - 1); i >= 0; --i) {
        const auto& module = modules_[i];
        if (module && module->StartChannel() <= chn) {
            const int index = chn - module->StartChannel();
            if (index >= module->NumChannels()) {
                return nullptr;
            }
            return module->Channels(static_cast<int16_t>(index));
        }
    }
    return nullptr;
}

// "Channel 1)<tab>serial": the lone parenthesis is the list's established look.
void CVesk4710::FillChannelList(IListControl& lst) {
    try {
        lst.Clear();
        SetListTabStops(lst, 3, 40, false, 0);
        for (int16_t c = 1; c <= numChannels_; ++c) {
            const auto channel = GetChannelReference(c);
            std::string text = LoadResString(245) + " " + NumberText(c) + ")\t";
            if (channel) {
                const auto probe = channel->Probe();
                const std::string serial = probe ? probe->Serial() : std::string();
                if (!serial.empty()) {
                    text += serial;
                } else {
                    text += LoadResString(channel->Enabled() ? 180 : 346);
                }
            }
            lst.AddItem(text);
            lst.ItemData(lst.NewIndex(), c);
        }
    } catch (...) {
        Rethrow("FillChannelList");
    }
}

bool CVesk4710::QueryModuleList() {
    try {
        moduleList_ = detail::ReadSetting(*Session(), SET_MODULE_LIST);
        return true;
    } catch (...) {
        Rethrow("QueryModuleList");
    }
}

bool CVesk4710::QueryNumModules() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_NUM_MODULES);
        NumModules(reply.empty() ? int16_t{1} : CInt16(Val(reply)));
        return true;
    } catch (...) {
        Rethrow("QueryNumModules");
    }
}

bool CVesk4710::QueryNumChannels() {
    try {
        const std::string reply = detail::ReadSetting(*Session(), SET_NUM_CHANNELS);
        NumChannels(reply.empty() ? int16_t{1} : CInt16(Val(reply)));
        return true;
    } catch (...) {
        Rethrow("QueryNumChannels");
    }
}

bool CVesk4710::QueryChannelInfo() {
    try {
        detail::StepRun run(host_->Ui(), nullptr);
        IProgress& progress = run.Progress();

        run.Name(173);
        InitializeCommunicationSettings();
        run.Name(132);
        if (!QueryIdentification(true)) {
            return run.Stop(ReplaceTokens(LoadResString(107), run.Name()));
        }
        if (!detail::Contains(identification_, kModel4710)) {
            return run.WrongModel();
        }
        progress.StartPhase(ReplaceTokens(LoadResString(105), model_), 100.0 / 4.0);

        const std::pair<int32_t, bool (CVesk4710::*)()> steps[] = {
            {133, &CVesk4710::QueryNumChannels},
            {170, &CVesk4710::QueryModuleList},
            {171, &CVesk4710::QueryNumModules},
        };
        for (const auto& [textId, operation] : steps) {
            if (!progress.Step()) {
                return run.Stop(LoadResString(108));
            }
            run.Name(textId);
            if (!(this->*operation)()) {
                return run.Stop(ReplaceTokens(LoadResString(107), run.Name()));
            }
        }
        if (!progress.Step()) {
            return run.Stop(LoadResString(108));
        }
        // Each channel reports its own failure.
        bool ok = true;
        for (int16_t c = 1; c <= numChannels_; ++c) {
            if (QueryChannelState(c)) {
                if (auto channel = GetChannelReference(c)) {
                    ok = channel->QueryInfo() && ok;
                }
            }
        }
        return ok;
    } catch (...) {
        Rethrow("QueryChannelInfo");
    }
}

}  // namespace vesk
