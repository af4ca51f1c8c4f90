#pragma once
// Toolkit-neutral controls that list fillers and dialog logic drive. The Qt binding and
// the tests implement them.
#include <cstdint>
#include <string>
#include <vector>

namespace vesk {

class IControl {
  public:
    virtual ~IControl() = default;
    virtual void Enabled(bool enabled) = 0;
    virtual bool Enabled() const = 0;
};

// List box or combo box: entries with item data.
class IListControl : public IControl {
  public:
    virtual void Clear() = 0;
    virtual void AddItem(const std::string& text) = 0;
    virtual int32_t NewIndex() const = 0;
    virtual int32_t ListCount() const = 0;
    virtual std::string List(int32_t index) const = 0;
    virtual void ItemData(int32_t index, int32_t data) = 0;
    virtual int32_t ItemData(int32_t index) const = 0;
    virtual int32_t ListIndex() const = 0;
    virtual void ListIndex(int32_t index) = 0;
    // Tab stops in dialog units; horizontal extent in pixels (0: unchanged).
    virtual void SetTabStops(const std::vector<int32_t>& stops) = 0;
    virtual void SetHorizontalExtent(int32_t pixels) = 0;
};

class IGridControl : public IControl {
  public:
    virtual int32_t Rows() const = 0;
    virtual void Rows(int32_t rows) = 0;
    virtual int32_t Cols() const = 0;
    virtual void Cols(int32_t cols) = 0;
    virtual std::string TextMatrix(int32_t row, int32_t col) const = 0;
    virtual void TextMatrix(int32_t row, int32_t col, const std::string& text) = 0;
    virtual void AutoSize(int32_t firstCol, int32_t lastCol) = 0;
    virtual void Refresh() = 0;
};

class ITextBox : public IControl {
  public:
    virtual std::string Text() const = 0;
    virtual void Text(const std::string& text) = 0;
    virtual int32_t SelStart() const = 0;
    virtual void SelStart(int32_t start) = 0;
    virtual int32_t SelLength() const = 0;
    virtual void SelLength(int32_t length) = 0;
    virtual void SetFocus() = 0;
};

class ICaptioned : public IControl {
  public:
    virtual std::string Caption() const = 0;
    virtual void Caption(const std::string& caption) = 0;
};

class ILabel : public ICaptioned {};
class IButton : public ICaptioned {};

class ICheckBox : public ICaptioned {
  public:
    virtual int32_t Value() const = 0;  // 0 unchecked, 1 checked
    virtual void Value(int32_t value) = 0;
};

class IProgressBar : public IControl {
  public:
    virtual float Max() const = 0;
    virtual void Max(float max) = 0;
    virtual float Value() const = 0;
    virtual void Value(float value) = 0;
};

// A caller's form: owner of progress displays and prompts, and where the calibration grid
// of the settings dialog lives.
class IForm {
  public:
    virtual ~IForm() = default;
    virtual std::string Caption() const = 0;
    virtual void Caption(const std::string& caption) = 0;
    // The calibration grid (vsfgCalParams), or null when the form has none.
    virtual IGridControl* vsfgCalParams() { return nullptr; }
};

}  // namespace vesk
