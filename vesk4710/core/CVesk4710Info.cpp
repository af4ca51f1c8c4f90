// Identification, the whole-instrument query and the write-back of the instrument settings.
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {}  // namespace

void ExtractModSerFWFromID(const std::string& id, std::string& model, std::string& serial,
                           double& firmware) {
    model = LoadResString(183);
    serial = model;
    firmware = 0.0;
    const auto first = id.find(',');
    if (first == std::string::npos) {
        return;
    }
    const auto second = id.find(',', first + 1);
    if (second == std::string::npos) {
        return;
    }
    model = Trim(std::string_view(id).substr(first + 1, second - first - 1));
    const auto third = id.find(',', second + 1);
    if (third == std::string::npos) {
        return;
    }
    serial = Trim(std::string_view(id).substr(second + 1, third - second - 1));
    firmware = Val(std::string_view(id).substr(third + 1));
}

bool CVesk4710::QueryIdentification(bool setprops) {
    try {
        auto comm = Session();
        comm->params().ClearAll();
        Identification(comm->ReadSetting(SET_IDENTIFICATION, false, ""));
        if (identification_.empty()) {
            return false;
        }
        std::string model;
        std::string serial;
        double firmware = 0.0;
        ExtractModSerFWFromID(identification_, model, serial, firmware);
        if (setprops) {
            Model(model);
            Serial(serial);
            Firmware(firmware);
        }
        return true;
    } catch (...) {
        Rethrow("QueryIdentification");
    }
}

bool CVesk4710::VerifyMinimumFirmware() {
    return firmware_ >= kMinFirmware;
}

bool CVesk4710::QueryInfo(IForm* frm, bool inclchannels, bool /*inclmodules*/) {
    try {
        detail::StepRun run(host_->Ui(), frm);
        IProgress& progress = run.Progress();
        const auto aborted = [&] { return run.Stop(LoadResString(108)); };
        const auto failed = [&] { return run.Stop(ReplaceTokens(LoadResString(107), run.Name())); };

        run.Name(173);
        InitializeCommunicationSettings();
        run.Name(132);
        if (!QueryIdentification(true)) {
            return false;
        }
        if (!detail::Contains(identification_, kModel4710)) {
            return run.WrongModel();
        }

        progress.StartPhase(ReplaceTokens(LoadResString(105), model_), 100.0 / 15.0);
        const std::vector<std::pair<int32_t, std::function<bool()>>> steps = {
            {308, [&] { return QueryPasscodeProtection(); }},
            {133, [&] { return QueryNumChannels(); }},
            {170, [&] { return QueryModuleList(); }},
            {171, [&] { return QueryNumModules(); }},
            {139, [&] { return QueryUnits(); }},
            {348, [&] { return QueryAutoPower(); }},
            {155, [&] { return QueryCalibrationDate(); }},
            {149, [&] { return FillCalibrationGrid(GridOf(frm)); }},
        };
        for (const auto& [textId, operation] : steps) {
            if (!progress.Step()) {
                return aborted();
            }
            run.Name(textId);
            if (!operation()) {
                return failed();
            }
        }
        if (!progress.Step()) {
            return aborted();
        }
        progress.Hide();

        if (!inclchannels) {
            progress.Reset();
            // No channels leaves nothing to step through.
            const double step = numChannels_ > 0 ? 100.0 / numChannels_ : 100.0;
            progress.StartPhase(LoadResString(118), step);
            for (int16_t c = 1; c <= numChannels_; ++c) {
                if (QueryChannelState(c)) {
                    if (auto channel = GetChannelReference(c)) {
                        channel->QuerySerialNumber();
                    }
                }
                if (!progress.Step()) {
                    return aborted();
                }
            }
        } else {
            // The full channel queries show their own progress.
            for (int16_t c = 1; c <= numChannels_; ++c) {
                if (QueryChannelState(c)) {
                    if (auto channel = GetChannelReference(c)) {
                        channel->QueryInfo(frm);
                    }
                }
            }
        }
        return true;
    } catch (...) {
        Rethrow("QueryInfo");
    }
}

bool CVesk4710::UpdateInfo(IForm* frm, bool /*inclchannels*/, bool /*inclmodules*/) {
    bool unlocked = false;
    try {
        detail::StepRun run(host_->Ui(), frm);
        IProgress& progress = run.Progress();
        // A write-back that ends early must not leave the instrument unlocked; the passcode
        // is kept so that the user can try again.
        const auto relock = [&] {
            if (unlocked) {
                unlocked = false;
                UpdatePasscodeState("", true);
            }
        };
        const auto aborted = [&] {
            relock();
            return run.Stop(LoadResString(113));
        };
        const auto failed = [&] {
            relock();
            return run.Stop(ReplaceTokens(LoadResString(112), run.Name()));
        };

        run.Name(173);
        InitializeCommunicationSettings();
        run.Name(132);
        if (!QueryIdentification()) {
            return false;
        }
        if (!detail::Contains(identification_, kModel4710)) {
            return run.WrongModel();
        }

        const bool protectedWrite = passcodeState_ == PS_ENABLED;
        const bool writeSerial = protectedWrite && allowSetSerial_;
        const int steps = 14 + (protectedWrite ? 1 : 0) + (writeSerial ? 1 : 0);
        progress.StartPhase(ReplaceTokens(LoadResString(110), model_), 100.0 / steps);
        if (!progress.Step()) {
            return aborted();
        }
        if (protectedWrite) {
            unlocked = true;
            if (!UpdatePasscodeState(passcode_, false)) {
                return failed();
            }
            if (!progress.Step()) {
                return aborted();
            }
        }
        if (writeSerial) {
            run.Name(131);
            if (!UpdateSerialNumber()) {
                return failed();
            }
            if (!progress.Step()) {
                return aborted();
            }
        }

        // Each setting: write, advance, then (where given) read back what the instrument
        // made of it.
        struct Write {
            int32_t textId;
            std::function<bool()> write;
            std::function<bool()> readBack;
        };
        const std::vector<Write> writes = {
            {139, [&] { return UpdateUnits(); }, [&] { return QueryUnits(); }},
            {155, [&] { return UpdateCalibrationDate(); }, [&] { return QueryCalibrationDate(); }},
            {149,
             [&] {
                 // An unfilled grid of our own would overwrite the instrument's points.
                 IGridControl& grid = GridOf(frm);
                 if (&grid == calGrid_.get() && !calGridFilled_) {
                     return true;
                 }
                 return UpdateCalParameters(grid);
             },
             nullptr},
            {348, [&] { return UpdateAutoPower(); }, [&] { return QueryAutoPower(); }},
            {349, [&] { return UpdateDisableSerial(); }, nullptr},
        };
        for (const auto& w : writes) {
            run.Name(w.textId);
            if (!w.write()) {
                return failed();
            }
            if (!progress.Step()) {
                return aborted();
            }
            if (w.readBack && !w.readBack()) {
                return failed();
            }
        }

        if (protectedWrite) {
            unlocked = false;
            UpdatePasscodeState("", true);
            // The passcode is spent: the next protected write asks for it again.
            PasscodeState(PS_DISABLED);
            Passcode("");
        }
        return true;
    } catch (...) {
        if (unlocked) {
            try {
                UpdatePasscodeState("", true);
            } catch (...) {
            }
        }
        Rethrow("UpdateInfo");
    }
}

}  // namespace vesk
