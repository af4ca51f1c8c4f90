#pragma once
// In-memory controls for driving list fillers and dialog logic. Out-of-range indexes raise
// the errors a real control raises (381 invalid array index, 380 invalid property value).
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "vesk4710/platform/IControls.h"

namespace vesk::test {

inline constexpr int32_t kErrInvalidPropertyValue = 380;
inline constexpr int32_t kErrInvalidArrayIndex = 381;

class FakeList : public IListControl {
  public:
    struct Item {
        std::string text;
        int32_t data = 0;
    };

    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
    void Clear() override;
    void AddItem(const std::string& text) override;
    int32_t NewIndex() const override { return newIndex; }
    int32_t ListCount() const override { return static_cast<int32_t>(items.size()); }
    std::string List(int32_t index) const override;
    void ItemData(int32_t index, int32_t data) override;
    int32_t ItemData(int32_t index) const override;
    int32_t ListIndex() const override { return listIndex; }
    void ListIndex(int32_t index) override;
    void SetTabStops(const std::vector<int32_t>& stops) override { tabStops = stops; }
    void SetHorizontalExtent(int32_t pixels) override { horizontalExtent = pixels; }

    std::vector<std::string> Texts() const;
    std::vector<int32_t> Data() const;

    std::vector<Item> items;
    std::vector<int32_t> tabStops;
    int32_t horizontalExtent = 0;
    bool enabled = true;
    int32_t listIndex = -1;
    int32_t newIndex = -1;
    int clears = 0;

  private:
    void CheckIndex(int32_t index) const;
};

class FakeGrid : public IGridControl {
  public:
    FakeGrid(int32_t rows = 0, int32_t cols = 0);
    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
    int32_t Rows() const override { return rows_; }
    void Rows(int32_t rows) override;
    int32_t Cols() const override { return cols_; }
    void Cols(int32_t cols) override;
    std::string TextMatrix(int32_t row, int32_t col) const override;
    void TextMatrix(int32_t row, int32_t col, const std::string& text) override;
    // Recorded as "AutoSize <first> <last>" and "Refresh".
    void AutoSize(int32_t firstCol, int32_t lastCol) override;
    void Refresh() override { calls.emplace_back("Refresh"); }

    bool enabled = true;
    std::vector<std::string> calls;

  private:
    void Resize(int32_t rows, int32_t cols);
    void CheckCell(int32_t row, int32_t col) const;
    int32_t rows_ = 0;
    int32_t cols_ = 0;
    std::vector<std::vector<std::string>> cells_;
};

class FakeTextBox : public ITextBox {
  public:
    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
    std::string Text() const override { return text; }
    // Replacing the text puts the caret at its start, as a real box does.
    void Text(const std::string& t) override;
    // Selection is clamped to the text, as a real box does.
    int32_t SelStart() const override { return selStart; }
    void SelStart(int32_t start) override;
    int32_t SelLength() const override { return selLength; }
    void SelLength(int32_t length) override;
    void SetFocus() override { ++focusCount; }

    std::string text;
    int32_t selStart = 0;
    int32_t selLength = 0;
    bool enabled = true;
    int focusCount = 0;
};

// Labels and buttons are nothing but a caption and an enabled state.
template <class Base>
class FakeCaptioned : public Base {
  public:
    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
    std::string Caption() const override { return caption; }
    void Caption(const std::string& c) override { caption = c; }
    std::string caption;
    bool enabled = true;
};
using FakeLabel = FakeCaptioned<ILabel>;
using FakeButton = FakeCaptioned<IButton>;

class FakeCheckBox : public ICheckBox {
  public:
    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
    std::string Caption() const override { return caption; }
    void Caption(const std::string& c) override { caption = c; }
    int32_t Value() const override { return value; }
    // 0, 1 or 2 (grayed) only, as a real check box accepts.
    void Value(int32_t v) override;
    std::string caption;
    int32_t value = 0;
    bool enabled = true;
};

class FakeProgressBar : public IProgressBar {
  public:
    void Enabled(bool e) override { enabled = e; }
    bool Enabled() const override { return enabled; }
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
    bool enabled = true;
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
