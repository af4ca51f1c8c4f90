#include "vesk4710/dialogs/DialogHelpers.h"

#include <charconv>
#include <cmath>

#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

bool TextFull(const ITextBox& box, int32_t maxLength) {
    return static_cast<int32_t>(box.Text().size()) - box.SelLength() >= maxLength;
}

bool RefuseEntry(IUiServices& ui, const std::string& message, ITextBox* focus) {
    ShowInfoMessage(ui, message, kMsgCaption);
    if (focus != nullptr && focus->Enabled()) {
        focus->SetFocus();
        SelectAllText(*focus);
    }
    return false;
}

std::optional<double> ParseTypedNumber(const std::string& text) {
    std::string plain = ToInvariantDecimal(std::string(Trim(text)));
    if (!plain.empty() && plain.front() == '+') {
        plain.erase(0, 1);
    }
    if (plain.empty()) {
        return std::nullopt;
    }
    double value = 0.0;
    const char* end = plain.data() + plain.size();
    const auto [ptr, ec] = std::from_chars(plain.data(), end, value);
    if (ec != std::errc() || ptr != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<int32_t> ParseTypedInteger(const std::string& text) {
    std::string plain(Trim(text));
    if (!plain.empty() && plain.front() == '+') {
        plain.erase(0, 1);
    }
    int32_t value = 0;
    const char* end = plain.data() + plain.size();
    const auto [ptr, ec] = std::from_chars(plain.data(), end, value);
    if (plain.empty() || ec != std::errc() || ptr != end) {
        return std::nullopt;
    }
    return value;
}

void AddListItem(IListControl& list, const std::string& text, int32_t data) {
    list.AddItem(text);
    list.ItemData(list.NewIndex(), data);
}

int32_t SelectedItemData(const IListControl& list, int32_t fallback) {
    const int32_t index = list.ListIndex();
    return index >= 0 && index < list.ListCount() ? list.ItemData(index) : fallback;
}

void SelectOrAddItem(IListControl& list, int32_t data, const std::string& text) {
    for (int32_t i = 0; i < list.ListCount(); ++i) {
        if (list.ItemData(i) == data) {
            list.ListIndex(i);
            return;
        }
    }
    AddListItem(list, text, data);
    list.ListIndex(list.NewIndex());
}

void SetCaption(ICaptioned* control, const std::string& caption) {
    if (control != nullptr) {
        control->Caption(caption);
    }
}

void CaptionOKCancelHelp(const std::array<IButton*, 3>& buttons) {
    SetCaption(buttons[0], LoadResString(144));
    SetCaption(buttons[1], LoadResString(145));
    SetCaption(buttons[2], LoadResString(146));
}

void SetEnabled(IControl* control, bool enabled) {
    if (control != nullptr) {
        control->Enabled(enabled);
    }
}

}  // namespace vesk
