#pragma once
// Small helpers the dialogs share: reading numbers the user typed, list items that carry
// their data, captions of optional controls.
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "vesk4710/platform/IControls.h"
#include "vesk4710/platform/IUiServices.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

// Whether a typed character would make the text longer than maxLength (typing over a
// selection replaces it).
bool TextFull(const ITextBox& box, int32_t maxLength);
// Shows why an entry is refused and puts the focus on it; always false, for returning.
bool RefuseEntry(IUiServices& ui, const std::string& message, ITextBox* focus = nullptr);
// A whole typed number (surrounding spaces allowed, locale or "." decimal separator);
// nothing when the text holds anything else or the value is not finite.
std::optional<double> ParseTypedNumber(const std::string& text);
// A whole typed integer in the 32-bit range.
std::optional<int32_t> ParseTypedInteger(const std::string& text);
void AddListItem(IListControl& list, const std::string& text, int32_t data);
// Item data of the selected entry, or fallback when nothing is selected.
int32_t SelectedItemData(const IListControl& list, int32_t fallback);
// Selects the entry carrying data, adding one with text when the list has none (so a value
// the instrument holds is never lost by the list not offering it).
void SelectOrAddItem(IListControl& list, int32_t data, const std::string& text);
void SetCaption(ICaptioned* control, const std::string& caption);
// "&OK", "&Cancel", "&Help".
void CaptionOKCancelHelp(const std::array<IButton*, 3>& buttons);
void SetEnabled(IControl* control, bool enabled);

}  // namespace vesk
