#pragma once
// Key filters and control helpers behind the numeric entry fields of the dialogs.
#include <cstdint>

#include "vesk4710/platform/IControls.h"
#include "vesk4710/support/Variant.h"

namespace vesk {

// Key-press filters: take a character code and leave it, replace it or set it to 0 (discard).
// Backspace 8, enter 13 and copy/paste/cut/undo (3, 22, 24, 26) always pass.
void FilterRealKey(int16_t& key);        // digits, signs, decimal separator ("." becomes it)
void FilterIntegerKey(int16_t& key);     // digits only
void FilterSerialKey(int16_t& key);      // digits, letters, "-"
void FilterScientificKey(int16_t& key);  // as real, plus "e" and "E"
// Key-down filter of the calibration grid (virtual key codes): digits and keypad digits,
// minus, decimal point and Delete (46) pass; anything else becomes 0.
void FilterGridKey(int16_t& keyCode);

// Selects the whole text of the box; errors are ignored.
void SelectAllText(ITextBox& box);

// min if v < min, else max if v > max, else v (the lower bound is tested first).
Variant ClampValue(const Variant& v, const Variant& min, const Variant& max);

// Tab stops at spacing, 2 * spacing, ... (count of them, dialog units); optionally the
// horizontal extent in pixels.
void SetListTabStops(IListControl& list, int32_t count, int32_t spacing, bool setWidth,
                     int32_t width);
// Selects the first entry whose item data equals data; no match leaves the selection.
void SelectListItemByData(IListControl& list, int32_t data);

}  // namespace vesk
