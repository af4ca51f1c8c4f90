#pragma once
// Qt widgets behind the library's control interfaces. Each adapter holds a non-owning
// pointer; the widget belongs to its dialog.
#include <QAbstractButton>
#include <QComboBox>
#include <QDateEdit>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QTableWidget>
#include <functional>

class QPushButton;

#include "vesk4710/platform/IControls.h"

namespace vesk {

// Shared Enabled() for every adapter.
template <class Interface, class Widget>
class QtControl : public Interface {
  public:
    explicit QtControl(Widget* widget) : w_(widget) {}
    void Enabled(bool enabled) override { w_->setEnabled(enabled); }
    bool Enabled() const override { return w_->isEnabled(); }
    Widget* widget() const { return w_; }

  protected:
    Widget* w_;
};

QString ToQString(const std::string& text);
std::string FromQString(const QString& text);

// Labels, buttons, check boxes and option buttons show their caption as the widget's text.
template <class Interface, class Widget>
class QtCaptioned : public QtControl<Interface, Widget> {
  public:
    using QtControl<Interface, Widget>::QtControl;
    std::string Caption() const override { return FromQString(this->w_->text()); }
    void Caption(const std::string& caption) override { this->w_->setText(ToQString(caption)); }
};

using QtLabel = QtCaptioned<ILabel, QLabel>;
using QtButton = QtCaptioned<IButton, QAbstractButton>;

class QtCheckBox : public QtCaptioned<ICheckBox, QAbstractButton> {
  public:
    using QtCaptioned::QtCaptioned;
    int32_t Value() const override;
    void Value(int32_t value) override;
};

class QtTextBox : public QtControl<ITextBox, QLineEdit> {
  public:
    using QtControl::QtControl;
    std::string Text() const override;
    void Text(const std::string& text) override;
    int32_t SelStart() const override;
    void SelStart(int32_t start) override;
    int32_t SelLength() const override;
    void SelLength(int32_t length) override;
    void SetFocus() override;
};

// A date picker read and written as an ISO date text (YYYY-MM-DD); text that is no date
// leaves it as it is.
class QtDateBox : public QtControl<ITextBox, QDateEdit> {
  public:
    using QtControl::QtControl;
    std::string Text() const override;
    void Text(const std::string& text) override;
    int32_t SelStart() const override { return 0; }
    void SelStart(int32_t) override {}
    int32_t SelLength() const override { return 0; }
    void SelLength(int32_t) override {}
    void SetFocus() override;
};

// List and combo boxes fill alike; each reads and selects its items its own way.
template <class Widget>
class QtListControl : public QtControl<IListControl, Widget> {
  public:
    using QtControl<IListControl, Widget>::QtControl;
    void Clear() override {
        this->w_->clear();
        newIndex_ = -1;
    }
    void AddItem(const std::string& text) override {
        this->w_->addItem(ToQString(text));
        newIndex_ = this->w_->count() - 1;
    }
    int32_t NewIndex() const override { return newIndex_; }
    int32_t ListCount() const override { return this->w_->count(); }
    // Qt expands the tabs of item texts at its own stops.
    void SetTabStops(const std::vector<int32_t>&) override {}
    void SetHorizontalExtent(int32_t) override {}

  private:
    int32_t newIndex_ = -1;
};

class QtListBox : public QtListControl<QListWidget> {
  public:
    using QtListControl::QtListControl;
    std::string List(int32_t index) const override;
    void ItemData(int32_t index, int32_t data) override;
    int32_t ItemData(int32_t index) const override;
    int32_t ListIndex() const override;
    void ListIndex(int32_t index) override;
};

class QtComboBox : public QtListControl<QComboBox> {
  public:
    using QtListControl::QtListControl;
    std::string List(int32_t index) const override;
    void ItemData(int32_t index, int32_t data) override;
    int32_t ItemData(int32_t index) const override;
    int32_t ListIndex() const override;
    void ListIndex(int32_t index) override;
};

// The bar counts in whole units; the adapter keeps the exact values it was given.
class QtProgressBar : public QtControl<IProgressBar, QProgressBar> {
  public:
    using QtControl::QtControl;
    float Max() const override { return max_; }
    void Max(float max) override;
    float Value() const override { return value_; }
    void Value(float value) override;

  private:
    float max_ = 100.0F;
    float value_ = 0.0F;
};

class QtGrid : public QtControl<IGridControl, QTableWidget> {
  public:
    using QtControl::QtControl;
    int32_t Rows() const override;
    void Rows(int32_t rows) override;
    int32_t Cols() const override;
    void Cols(int32_t cols) override;
    std::string TextMatrix(int32_t row, int32_t col) const override;
    void TextMatrix(int32_t row, int32_t col, const std::string& text) override;
    void AutoSize(int32_t firstCol, int32_t lastCol) override;
    void Refresh() override;
};

// The push button behind a button adapter (null for check and option buttons).
QPushButton* PushButtonOf(const QtButton& button);

// A widget named after the control it stands for (tests and style sheets find it so).
template <class W>
W* Named(W* widget, const char* name) {
    widget->setObjectName(name);
    return widget;
}

}  // namespace vesk
