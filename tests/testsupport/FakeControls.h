#pragma once
// In-memory controls for driving list fillers and dialog logic. Out-of-range indexes raise
// the errors a real control raises (381 invalid array index, 380 invalid property value).
#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "vesk4710/platform/IControls.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

// Raises the error a real control raises when the index is out of range.
inline void CheckIndex(bool inRange) {
    if (!inRange) {
        throw AutomationError(381, "Invalid property array index");
    }
}
inline void CheckValue(bool valid) {
    if (!valid) {
        throw AutomationError(380, "Invalid property value");
    }
}

// Every control has an enabled state.
template <class Base>
class FakeControl : public Base {
  public:
    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
    bool enabled = true;
};

class FakeList : public FakeControl<IListControl> {
  public:
    struct Item {
        std::string text;
        int32_t data = 0;
    };

    void Clear() override {
        items.clear();
        listIndex = -1;
        newIndex = -1;
    }
    void AddItem(const std::string& text) override {
        items.push_back({text, 0});
        newIndex = ListCount() - 1;
    }
    int32_t NewIndex() const override { return newIndex; }
    int32_t ListCount() const override { return static_cast<int32_t>(items.size()); }
    // A real list answers "" just past its end; further out it raises.
    std::string List(int32_t index) const override {
        return index == ListCount() ? std::string() : At(index).text;
    }
    void ItemData(int32_t index, int32_t data) override { At(index).data = data; }
    int32_t ItemData(int32_t index) const override { return At(index).data; }
    int32_t ListIndex() const override { return listIndex; }
    void ListIndex(int32_t index) override {
        CheckValue(index >= -1 && index < ListCount());
        listIndex = index;
    }
    void SetTabStops(const std::vector<int32_t>& stops) override { tabStops = stops; }
    void SetHorizontalExtent(int32_t pixels) override { horizontalExtent = pixels; }

    std::vector<std::string> Texts() const { return Column(&Item::text); }
    std::vector<int32_t> Data() const { return Column(&Item::data); }

    std::vector<Item> items;
    std::vector<int32_t> tabStops;
    int32_t horizontalExtent = 0;
    int32_t listIndex = -1;
    int32_t newIndex = -1;

  private:
    Item& At(int32_t index) {
        CheckIndex(index >= 0 && index < ListCount());
        return items[static_cast<size_t>(index)];
    }
    const Item& At(int32_t index) const { return const_cast<FakeList*>(this)->At(index); }
    template <class T>
    std::vector<T> Column(T Item::*field) const {
        std::vector<T> out;
        for (const auto& i : items) {
            out.push_back(i.*field);
        }
        return out;
    }
};

class FakeGrid : public FakeControl<IGridControl> {
  public:
    FakeGrid(int32_t rows = 0, int32_t cols = 0) { Resize(rows, cols); }
    int32_t Rows() const override { return rows_; }
    void Rows(int32_t rows) override { Resize(rows, cols_); }
    int32_t Cols() const override { return cols_; }
    void Cols(int32_t cols) override { Resize(rows_, cols); }
    std::string TextMatrix(int32_t row, int32_t col) const override {
        return const_cast<FakeGrid*>(this)->Cell(row, col);
    }
    void TextMatrix(int32_t row, int32_t col, const std::string& text) override {
        Cell(row, col) = text;
    }
    // Recorded as "AutoSize <first> <last>" and "Refresh".
    void AutoSize(int32_t firstCol, int32_t lastCol) override {
        calls.push_back("AutoSize " + std::to_string(firstCol) + " " + std::to_string(lastCol));
    }
    void Refresh() override { calls.emplace_back("Refresh"); }

    std::vector<std::string> calls;

  private:
    void Resize(int32_t rows, int32_t cols) {
        CheckValue(rows >= 0 && cols >= 0);
        rows_ = rows;
        cols_ = cols;
        cells_.resize(static_cast<size_t>(rows));
        for (auto& row : cells_) {
            row.resize(static_cast<size_t>(cols));
        }
    }
    std::string& Cell(int32_t row, int32_t col) {
        CheckIndex(row >= 0 && row < rows_ && col >= 0 && col < cols_);
        return cells_[static_cast<size_t>(row)][static_cast<size_t>(col)];
    }
    int32_t rows_ = 0;
    int32_t cols_ = 0;
    std::vector<std::vector<std::string>> cells_;
};

// Replacing the text puts the caret at its start and the selection is clamped to the text,
// as in a real box.
class FakeTextBox : public FakeControl<ITextBox> {
  public:
    std::string Text() const override { return text; }
    void Text(const std::string& t) override {
        text = t;
        selStart = 0;
        selLength = 0;
    }
    int32_t SelStart() const override { return selStart; }
    void SelStart(int32_t start) override {
        CheckValue(start >= 0);
        selStart = std::min(start, static_cast<int32_t>(text.size()));
        selLength = 0;
    }
    int32_t SelLength() const override { return selLength; }
    void SelLength(int32_t length) override {
        CheckValue(length >= 0);
        selLength = std::min(length, static_cast<int32_t>(text.size()) - selStart);
    }
    void SetFocus() override { ++focusCount; }

    std::string text;
    int32_t selStart = 0;
    int32_t selLength = 0;
    int focusCount = 0;
};

// Labels and buttons are nothing but a caption and an enabled state.
template <class Base>
class FakeCaptioned : public FakeControl<Base> {
  public:
    std::string Caption() const override { return caption; }
    void Caption(const std::string& c) override { caption = c; }
    std::string caption;
};
using FakeLabel = FakeCaptioned<ILabel>;
using FakeButton = FakeCaptioned<IButton>;

class FakeCheckBox : public FakeCaptioned<ICheckBox> {
  public:
    int32_t Value() const override { return value; }
    // 0, 1 or 2 (grayed) only, as a real check box accepts.
    void Value(int32_t v) override {
        CheckValue(v >= 0 && v <= 2);
        value = v;
    }
    int32_t value = 0;
};

class FakeProgressBar : public FakeControl<IProgressBar> {
  public:
    float Max() const override { return max; }
    void Max(float m) override { max = m; }
    float Value() const override { return value; }
    void Value(float v) override {
        value = v;
        values.push_back(v);
    }
    float max = 100.0f;
    float value = 0.0f;
    std::vector<float> values;  // every value set
};

// A caller's form; with withGrid it owns a calibration grid (vsfgCalParams).
class FakeForm : public IForm {
  public:
    explicit FakeForm(bool withGrid = false) : hasGrid(withGrid) {}
    std::string Caption() const override { return caption; }
    void Caption(const std::string& c) override { caption = c; }
    IGridControl* vsfgCalParams() override { return hasGrid ? &grid : nullptr; }
    std::string caption;
    bool hasGrid;
    FakeGrid grid;
};

}  // namespace vesk::test
