#pragma once
// Shared by the sources that implement CVesk4710: the request pattern and the error path.
#include <cstdint>
#include <memory>
#include <string>

#include "vesk4710/core/Enums.h"
#include "vesk4710/platform/ICommunications.h"
#include "vesk4710/platform/IProgress.h"
#include "vesk4710/platform/IUiServices.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::detail {

inline constexpr const char* kClassPrefix = "CVesk4710 - ";

// One read: params cleared, then the setting read with the usual flag and no extra.
inline std::string ReadSetting(ICommunications& comm, int32_t id) {
    comm.params().ClearAll();
    return comm.ReadSetting(id, true, "");
}

// One write (or command) without a value.
inline void WriteSetting(ICommunications& comm, int32_t id) {
    comm.params().ClearAll();
    comm.WriteSetting(id);
}

// One write with its value.
inline void WriteValue(ICommunications& comm, int32_t id, const std::string& value) {
    comm.params().ClearAll();
    comm.params().Value(value);
    comm.WriteSetting(id);
}

inline bool Contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

// One run of a composite query or update: the progress display, the step being worked on,
// and the closing every run ends with whatever happens.
class StepRun {
  public:
    StepRun(IUiServices& ui, IForm* frm) : ui_(ui), progress_(ui.CreateProgress()) {
        progress_->SetOwner(frm, frm != nullptr);
        ui_.MousePointer(kPointerHourglass);
    }
    ~StepRun() {
        try {
            progress_->Close();
            ui_.MousePointer(kPointerDefault);
        } catch (...) {
        }
    }
    StepRun(const StepRun&) = delete;
    StepRun& operator=(const StepRun&) = delete;

    IProgress& Progress() { return *progress_; }
    void Name(int32_t textId) { step_ = LoadResString(textId); }
    const std::string& Name() const { return step_; }

    // Hides the display and tells the user; the run then ends with false.
    bool Stop(const std::string& message) {
        progress_->Hide();
        ShowInfoMessage(ui_, message, kMsgCaption);
        return false;
    }
    bool WrongModel() {
        const std::string model = kModel4710;
        return Stop(ReplaceTokens(LoadResString(104), model + "|" + model));
    }

  private:
    IUiServices& ui_;
    std::unique_ptr<IProgress> progress_;
    std::string step_;
};

}  // namespace vesk::detail
