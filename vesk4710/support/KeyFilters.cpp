#include "vesk4710/support/KeyFilters.h"

#include <string>
#include <vector>

#include "vesk4710/support/UserLocale.h"

namespace vesk {

namespace {

bool IsDigitKey(int16_t key) {
    return key >= '0' && key <= '9';
}

// Backspace, enter, copy, paste, cut, undo.
bool IsEditControlKey(int16_t key) {
    return key == 8 || key == 13 || key == 3 || key == 22 || key == 24 || key == 26;
}

// The decimal separator as a character code (its first code point).
int16_t DecimalSeparatorKey() {
    static const int16_t key = [] {
        std::string sep = LocaleDecimalSeparator();
        if (sep.empty()) {
            return static_cast<int16_t>('.');
        }
        auto b = [&](size_t i) { return static_cast<unsigned char>(sep[i]); };
        unsigned cp = b(0);
        if (cp >= 0xC0 && cp < 0xE0 && sep.size() >= 2) {
            cp = ((cp & 0x1Fu) << 6) | (b(1) & 0x3Fu);
        } else if (cp >= 0xE0 && cp < 0xF0 && sep.size() >= 3) {
            cp = ((cp & 0x0Fu) << 12) | ((b(1) & 0x3Fu) << 6) | (b(2) & 0x3Fu);
        }
        return static_cast<int16_t>(cp <= 0x7FFF ? cp : '.');
    }();
    return key;
}

// Length of a UTF-8 text in UTF-16 units, the unit selections are counted in.
int32_t TextLength(const std::string& text) {
    int32_t length = 0;
    for (unsigned char c : text) {
        if ((c & 0xC0) != 0x80) {
            length += c >= 0xF0 ? 2 : 1;
        }
    }
    return length;
}

}  // namespace

void FilterRealKey(int16_t& key) {
    const int16_t sep = DecimalSeparatorKey();
    if (IsDigitKey(key) || key == '-' || key == '+' || key == sep) {
        return;
    }
    if (key == '.') {
        key = sep;
    } else if (!IsEditControlKey(key)) {
        key = 0;
    }
}

void FilterIntegerKey(int16_t& key) {
    DecimalSeparatorKey();  // captured here too, like every numeric filter
    if (!IsDigitKey(key) && !IsEditControlKey(key)) {
        key = 0;
    }
}

void FilterSerialKey(int16_t& key) {
    bool letter = (key >= 'a' && key <= 'z') || (key >= 'A' && key <= 'Z');
    if (!IsDigitKey(key) && !letter && key != '-' && !IsEditControlKey(key)) {
        key = 0;
    }
}

void FilterScientificKey(int16_t& key) {
    if (key == 'e' || key == 'E') {
        return;
    }
    FilterRealKey(key);
}

void FilterGridKey(int16_t& keyCode) {
    const bool digit = keyCode >= 48 && keyCode <= 57;
    const bool keypadDigit = keyCode >= 96 && keyCode <= 105;
    const bool minus = keyCode == 189 || keyCode == 109;
    const bool point = keyCode == 190 || keyCode == 110;
    const bool del = keyCode == 46;  // handled by the dialog itself
    if (!digit && !keypadDigit && !minus && !point && !del) {
        keyCode = 0;
    }
}

void SelectAllText(ITextBox& box) {
    try {
        box.SelStart(0);
        box.SelLength(TextLength(box.Text()));
    } catch (...) {
        // A control without text has nothing to select.
    }
}

Variant ClampValue(const Variant& v, const Variant& min, const Variant& max) {
    if (v < min) {
        return min;
    }
    if (v > max) {
        return max;
    }
    return v;
}

void SetListTabStops(IListControl& list, int32_t count, int32_t spacing, bool setWidth,
                     int32_t width) {
    std::vector<int32_t> stops;
    for (int32_t i = 1; i <= count; ++i) {
        stops.push_back(i * spacing);
    }
    list.SetTabStops(stops);
    if (setWidth) {
        list.SetHorizontalExtent(width);
    }
}

void SelectListItemByData(IListControl& list, int32_t data) {
    const int32_t count = list.ListCount();
    for (int32_t i = 0; i < count; ++i) {
        if (list.ItemData(i) == data) {
            list.ListIndex(i);
            return;
        }
    }
}

}  // namespace vesk
