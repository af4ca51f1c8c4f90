#include "tests/testsupport/FakeControls.h"

#include <algorithm>

#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

namespace {
[[noreturn]] void InvalidIndex() {
    throw AutomationError(kErrInvalidArrayIndex, "Invalid property array index");
}
[[noreturn]] void InvalidValue() {
    throw AutomationError(kErrInvalidPropertyValue, "Invalid property value");
}
}  // namespace

void FakeList::CheckIndex(int32_t index) const {
    if (index < 0 || index >= ListCount()) {
        InvalidIndex();
    }
}

void FakeList::Clear() {
    items.clear();
    listIndex = -1;
    newIndex = -1;
    ++clears;
}

void FakeList::AddItem(const std::string& text) {
    items.push_back({text, 0});
    newIndex = ListCount() - 1;
}

std::string FakeList::List(int32_t index) const {
    // A real list answers "" just past its end; further out it raises.
    if (index == ListCount()) {
        return {};
    }
    CheckIndex(index);
    return items[static_cast<size_t>(index)].text;
}

void FakeList::ItemData(int32_t index, int32_t data) {
    CheckIndex(index);
    items[static_cast<size_t>(index)].data = data;
}

int32_t FakeList::ItemData(int32_t index) const {
    CheckIndex(index);
    return items[static_cast<size_t>(index)].data;
}

void FakeList::ListIndex(int32_t index) {
    if (index < -1 || index >= ListCount()) {
        InvalidValue();
    }
    listIndex = index;
}

std::vector<std::string> FakeList::Texts() const {
    std::vector<std::string> out;
    for (const auto& i : items) {
        out.push_back(i.text);
    }
    return out;
}

std::vector<int32_t> FakeList::Data() const {
    std::vector<int32_t> out;
    for (const auto& i : items) {
        out.push_back(i.data);
    }
    return out;
}

FakeGrid::FakeGrid(int32_t rows, int32_t cols) {
    Resize(rows, cols);
}

void FakeGrid::Resize(int32_t rows, int32_t cols) {
    if (rows < 0 || cols < 0) {
        InvalidValue();
    }
    rows_ = rows;
    cols_ = cols;
    cells_.resize(static_cast<size_t>(rows));
    for (auto& row : cells_) {
        row.resize(static_cast<size_t>(cols));
    }
}

void FakeGrid::Rows(int32_t rows) {
    Resize(rows, cols_);
}
void FakeGrid::Cols(int32_t cols) {
    Resize(rows_, cols);
}

void FakeGrid::CheckCell(int32_t row, int32_t col) const {
    if (row < 0 || row >= rows_ || col < 0 || col >= cols_) {
        InvalidIndex();
    }
}

std::string FakeGrid::TextMatrix(int32_t row, int32_t col) const {
    CheckCell(row, col);
    return cells_[static_cast<size_t>(row)][static_cast<size_t>(col)];
}

void FakeGrid::TextMatrix(int32_t row, int32_t col, const std::string& text) {
    CheckCell(row, col);
    cells_[static_cast<size_t>(row)][static_cast<size_t>(col)] = text;
}

void FakeGrid::AutoSize(int32_t firstCol, int32_t lastCol) {
    calls.push_back("AutoSize " + std::to_string(firstCol) + " " + std::to_string(lastCol));
}

void FakeTextBox::Text(const std::string& t) {
    text = t;
    selStart = 0;
    selLength = 0;
}

void FakeTextBox::SelStart(int32_t start) {
    if (start < 0) {
        InvalidValue();
    }
    selStart = std::min(start, static_cast<int32_t>(text.size()));
    selLength = 0;
}

void FakeTextBox::SelLength(int32_t length) {
    if (length < 0) {
        InvalidValue();
    }
    selLength = std::min(length, static_cast<int32_t>(text.size()) - selStart);
}

void FakeCheckBox::Value(int32_t v) {
    if (v < 0 || v > 2) {
        InvalidValue();
    }
    value = v;
}

}  // namespace vesk::test
