#pragma once
// What every Qt dialog of the library shares: it is the logic's form, it runs the logic's
// activation once shown, it ends its modal loop when the logic hides it, closing it is the
// dialog's cancel, and its placement is kept in the form state.
#include <QDialog>
#include <QStyledItemDelegate>
#include <array>
#include <functional>
#include <initializer_list>
#include <string>

#include "ui/qt/QtControls.h"

#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/platform/IControls.h"

class QHBoxLayout;
class QTableWidget;

namespace vesk {

class QtDialogForm : public QDialog, public IForm {
    Q_OBJECT
  public:
    QtDialogForm(QWidget* parent, DialogBase& logic);
    ~QtDialogForm() override;

    std::string Caption() const override;
    void Caption(const std::string& caption) override;

    // Restores the stored placement, shows the dialog modally and returns once the logic
    // hid it (or the user closed it).
    void Run();

  protected:
    // The logic's activation (first activation work happens once, in the logic).
    virtual void Activated() = 0;
    // The logic's cancel (closing the window, Escape).
    virtual void Cancelled() = 0;

    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;
    void reject() override;

  private:
    DialogBase& logic_;
    bool shown_ = false;
};

// Editing of a grid's cells through the logic: whether a cell opens, the key filter of the
// cell editor, and the check of what was typed.
class QtGridEditing : public QStyledItemDelegate {
    Q_OBJECT
  public:
    struct Hooks {
        std::function<bool(int32_t, int32_t)> beforeEdit;
        std::function<void(int16_t&)> keyPress;
        std::function<bool(int32_t, int32_t, std::string&)> validate;
        // Key-down of the grid itself (not editing): virtual key code, row, column.
        std::function<void(int16_t&, int32_t, int32_t)> keyDown;
    };
    QtGridEditing(QTableWidget* table, Hooks hooks);

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model,
                      const QModelIndex& index) const override;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QTableWidget* table_;
    Hooks hooks_;
    mutable bool validating_ = false;
};

// Grid rows and columns the logic treats as fixed texts look like headers.
void StyleFixedCells(QTableWidget* table, int32_t fixedRows, int32_t fixedCols);

// Building blocks of the editing dialogs.
// OK, Cancel and Help, named "cmdOKCancelHelp0" to "cmdOKCancelHelp2".
std::array<QtButton, 3> OKCancelHelpButtons(QWidget* parent);
// An optional button at the left, OK, Cancel and Help at the right.
QHBoxLayout* ButtonRow(QWidget* left, const std::array<QtButton, 3>& okCancelHelp);
// Each button calls click with its index; OK is the default button.
void ConnectOKCancelHelp(QObject* context, const std::array<QtButton, 3>& okCancelHelp,
                         const std::function<void(int)>& click);
// F1 anywhere in the dialog clicks its Help button (ConnectOKCancelHelp does this too).
void HelpOnF1(const QtButton& help);
void ShowIsoDates(QDateEdit* picker);
// No headers; cells open on a double click or typing.
void MakeEditGrid(QTableWidget* grid);
// Called from an event filter: a focused box is handed to gotFocus once Qt has moved the
// focus, so that selecting its text sticks.
void DeferGotFocus(QObject* context, QObject* watched, QEvent* event,
                   std::initializer_list<QtTextBox*> boxes,
                   const std::function<void(QtTextBox&)>& gotFocus);

}  // namespace vesk
