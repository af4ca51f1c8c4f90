#pragma once
// What every dialog's logic shares: the form it drives, the help topic, hiding (which ends the
// modal loop of the toolkit binding) and the form state kept in the per-user settings.
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "vesk4710/platform/IControls.h"
#include "vesk4710/platform/IRegistry.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk {

// A mixin beside IDialogLogic, so that logic with another base (the channel editor) shares it.
class DialogBase {
  public:
    virtual ~DialogBase() = default;

    using FormState = std::map<std::string, std::string>;

    // The binding's end of the modal loop: called when the logic hides the dialog.
    void OnHide(std::function<void()> hook) { onHide_ = std::move(hook); }
    // The binding's placement (or anything else it wants back next time), saved on unload.
    void OnSaveState(std::function<FormState()> hook) { onSaveState_ = std::move(hook); }

    bool Visible() const { return visible_; }
    int32_t HelpContextID() const { return helpContextID_; }
    // What the last unload saved, for the binding to restore its placement.
    FormState StoredFormState() const;

  protected:
    void Show() { visible_ = true; }
    void Hide();
    void SetHelpContextID(int32_t topic) { helpContextID_ = topic; }
    // The OK/Cancel/Help group: Help opens the dialog's topic.
    void OKCancelHelp(IUiServices& ui, int index, const std::function<void()>& ok,
                      const std::function<void()>& cancel);
    // OK of a dialog that edits settings: checks the entries (showing why one is refused),
    // says so when nothing changed, asks questionId before writing and hides once written.
    // True when it hid the dialog.
    bool ApplyChanges(IUiServices& ui, int32_t questionId, const std::function<bool()>& validate,
                      const std::function<bool()>& unchanged, const std::function<bool()>& write);
    // The dialog's name, under which its form state is kept.
    virtual std::string FormName() const = 0;
    // Where the form state lives (the instrument's per-user settings); null: nowhere.
    virtual IRegistry* StateRegistry() const { return nullptr; }
    // The binding's state merged with the logic's own choices.
    void SaveFormState(const FormState& own = {}) const;

  private:
    std::function<void()> onHide_;
    std::function<FormState()> onSaveState_;
    bool visible_ = true;
    int32_t helpContextID_ = 0;
};

class CVesk4710;

// The base of the dialogs of one instrument: its user-interface services, and its per-user
// settings as the home of the form state.
class InstrumentDialogBase : public DialogBase {
  public:
    explicit InstrumentDialogBase(std::shared_ptr<CVesk4710> instrument)
        : instrument_(std::move(instrument)) {}

    const std::shared_ptr<CVesk4710>& Instrument() const { return instrument_; }

  protected:
    IRegistry* StateRegistry() const override;
    IUiServices& Ui() const;

    std::shared_ptr<CVesk4710> instrument_;
};

// Help topics of the dialogs.
inline constexpr int32_t kHelpSettings = 10300;
inline constexpr int32_t kHelpChannel = 10310;
inline constexpr int32_t kHelpDownload = 10320;
inline constexpr int32_t kHelpLogLabels = 10330;
inline constexpr int32_t kHelpLogStatus = 10340;

// Indexes of the OK/Cancel/Help button group.
inline constexpr int kCmdOK = 0;
inline constexpr int kCmdCancel = 1;
inline constexpr int kCmdHelp = 2;

}  // namespace vesk
