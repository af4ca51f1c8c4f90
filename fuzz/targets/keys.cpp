// Typing into the dialogs: the key filters of the numeric fields, the logging label field with
// its character set and length limit, and the calibration grid's key-down filter and cell
// validation. A key either passes, becomes the allowed replacement, or is discarded.
#include <cstdint>
#include <memory>
#include <string>

#include "fuzz/support/FuzzSupport.h"
#include "tests/testsupport/FakeControls.h"
#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/LabelsDialog.h"
#include "vesk4710/dialogs/SettingsDialog.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/NumberText.h"

using namespace vesk;

namespace {

bool IsDigit(int16_t k) {
    return k >= '0' && k <= '9';
}
// The decimal separator of the process locale ("C" here: a period).
int16_t Separator() {
    return static_cast<int16_t>(LocaleDecimalSeparator().front());
}
bool IsEditKey(int16_t k) {
    return k == 8 || k == 13 || k == 3 || k == 22 || k == 24 || k == 26;
}

void CheckFilter(const char* name, void (*filter)(int16_t&), int16_t key,
                 bool (*allowed)(int16_t)) {
    int16_t k = key;
    filter(k);
    const bool replacedPoint = key == '.' && k != key;
    if (k != 0 && k != key && !replacedPoint) {
        fuzz::Fail(std::string(name) + " turned key " + std::to_string(key) + " into " +
                   std::to_string(k));
    }
    if (k != 0 && !IsEditKey(k) && !allowed(k) && !replacedPoint) {
        fuzz::Fail(std::string(name) + " let key " + std::to_string(k) + " through");
    }
}

// Types one key into a text box as a control does after the key-press filter.
void Type(test::FakeTextBox& box, int16_t key) {
    if (key < 0x20 || key > 0x7E) {
        return;  // control keys edit nothing here
    }
    const auto start = static_cast<size_t>(box.selStart);
    const auto length = static_cast<size_t>(box.selLength);
    box.text = box.text.substr(0, start) + static_cast<char>(key) + box.text.substr(start + length);
    box.selStart = static_cast<int32_t>(start + 1);
    box.selLength = 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    auto host = std::make_shared<fuzz::FuzzHost>();
    auto unit = CVesk4710::Create(host);

    LabelsDialog labels(unit);
    test::FakeTextBox labelBox;
    LabelsDialog::Controls lc;
    lc.txtLabelName = &labelBox;
    labels.Bind(lc);
    const auto maxLength = static_cast<size_t>(unit->MaxLabelLength());

    SettingsDialog settings(unit);
    CalibrationGrid grid;
    grid.Rows(kCalGridRows);
    grid.Cols(kCalGridCols);
    SettingsDialog::Controls sc;
    sc.vsfgCalParams = &grid;
    settings.Bind(sc);

    while (!in.Empty()) {
        const uint8_t op = in.Byte();
        const auto key = static_cast<int16_t>(in.Byte() | (in.Byte() << 8));
        switch (op % 8) {
            case 0:
                CheckFilter("FilterRealKey", FilterRealKey, key, [](int16_t k) {
                    return IsDigit(k) || k == '-' || k == '+' || k == Separator();
                });
                CheckFilter("FilterIntegerKey", FilterIntegerKey, key, IsDigit);
                CheckFilter("FilterSerialKey", FilterSerialKey, key, [](int16_t k) {
                    return IsDigit(k) || k == '-' || (k >= 'a' && k <= 'z') ||
                           (k >= 'A' && k <= 'Z');
                });
                CheckFilter("FilterScientificKey", FilterScientificKey, key, [](int16_t k) {
                    return IsDigit(k) || k == '-' || k == '+' || k == 'e' || k == 'E' ||
                           k == Separator();
                });
                break;
            case 1: {
                int16_t k = key;
                FilterGridKey(k);
                const bool allowed = (k >= 48 && k <= 57) || (k >= 96 && k <= 105) || k == 189 ||
                                     k == 109 || k == 190 || k == 110 || k == 46;
                if (k != 0 && (k != key || !allowed)) {
                    fuzz::Fail("FilterGridKey let key " + std::to_string(key) + " through");
                }
                break;
            }
            case 2:
            case 3: {
                int16_t k = key;
                labels.txtLabelName_KeyPress(k);
                Type(labelBox, k);
                if (labelBox.text.size() > maxLength) {
                    fuzz::Fail("the label field grew to " + std::to_string(labelBox.text.size()) +
                               " characters");
                }
                for (char c : labelBox.text) {
                    if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ' ' ||
                          c == '_')) {
                        fuzz::Fail("the label field took the character " +
                                   std::to_string(static_cast<unsigned char>(c)));
                    }
                }
                break;
            }
            case 4:
                // The user selects part of the label.
                labelBox.SelStart(static_cast<uint8_t>(key) % 24);
                labelBox.SelLength(static_cast<uint8_t>(key >> 8) % 24);
                break;
            case 5: {
                int16_t k = key;
                const int32_t row = in.Byte() % 10 - 2;
                const int32_t col = in.Byte() % 14 - 2;
                fuzz::Guard("vsfgCalParams_KeyDown",
                            [&] { settings.vsfgCalParams_KeyDown(k, row, col); });
                break;
            }
            case 6: {
                const int32_t row = in.Byte() % 10 - 2;
                const int32_t col = in.Byte() % 14 - 2;
                std::string text = in.Line();
                fuzz::Guard("vsfgCalParams_ValidateEdit",
                            [&] { settings.vsfgCalParams_ValidateEdit(row, col, text); });
                break;
            }
            default: {
                int16_t k = key;
                settings.txtScanChannels_KeyPress(k);
                if (k != 0 && k != key) {
                    fuzz::Fail("the scan list field changed a key");
                }
                if (k != 0 && !IsDigit(k) && !IsEditKey(k) && k != ',' && k != ' ') {
                    fuzz::Fail("the scan list field took key " + std::to_string(k));
                }
                break;
            }
        }
    }
    return 0;
}
