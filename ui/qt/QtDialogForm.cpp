#include "ui/qt/QtDialogForm.h"

#include <QApplication>
#include <QDateEdit>
#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPalette>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

#include "ui/qt/QtControls.h"
#include "ui/qt/QtKeys.h"

namespace vesk {

namespace {

// Clicks a dialog's Help button on F1.
class HelpKeyFilter : public QObject {
  public:
    explicit HelpKeyFilter(QAbstractButton* help) : QObject(help), help_(help) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress &&
            static_cast<QKeyEvent*>(event)->matches(QKeySequence::HelpContents) &&
            help_->isVisible() && help_->isEnabled()) {
            help_->click();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    QAbstractButton* help_;
};

int StateNumber(const DialogBase::FormState& state, const char* key, int fallback) {
    const auto it = state.find(key);
    if (it == state.end()) {
        return fallback;
    }
    bool ok = false;
    const int value = QString::fromStdString(it->second).toInt(&ok);
    return ok ? value : fallback;
}

}  // namespace

QtDialogForm::QtDialogForm(QWidget* parent, DialogBase& logic) : QDialog(parent), logic_(logic) {
    setModal(true);
    logic_.OnHide([this] { done(QDialog::Accepted); });
    logic_.OnSaveState([this] {
        const QRect g = geometry();
        return DialogBase::FormState{{"Left", std::to_string(g.x())},
                                     {"Top", std::to_string(g.y())},
                                     {"Width", std::to_string(g.width())},
                                     {"Height", std::to_string(g.height())}};
    });
}

QtDialogForm::~QtDialogForm() {
    logic_.OnHide({});
    logic_.OnSaveState({});
}

std::string QtDialogForm::Caption() const {
    return FromQString(windowTitle());
}

void QtDialogForm::Caption(const std::string& caption) {
    setWindowTitle(ToQString(caption));
}

void QtDialogForm::Run() {
    const auto state = logic_.StoredFormState();
    const int width = StateNumber(state, "Width", 0);
    const int height = StateNumber(state, "Height", 0);
    if (width > 0 && height > 0) {
        resize(QSize(width, height).expandedTo(minimumSizeHint()));
    }
    if (state.count("Left") != 0 && state.count("Top") != 0) {
        move(StateNumber(state, "Left", x()), StateNumber(state, "Top", y()));
    }
    if (logic_.Visible()) {
        exec();
    }
}

void QtDialogForm::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!shown_) {
        shown_ = true;
        // After the window is on screen, so that progress displays appear over it.
        QTimer::singleShot(0, this, [this] { Activated(); });
    }
}

void QtDialogForm::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow() && shown_) {
        Activated();
    }
}

void QtDialogForm::reject() {
    Cancelled();
}

QtGridEditing::QtGridEditing(QTableWidget* table, Hooks hooks)
    : QStyledItemDelegate(table), table_(table), hooks_(std::move(hooks)) {
    table_->setItemDelegate(this);
    table_->installEventFilter(this);
}

QWidget* QtGridEditing::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                     const QModelIndex& index) const {
    if (!hooks_.beforeEdit || !hooks_.beforeEdit(index.row(), index.column())) {
        return nullptr;
    }
    auto* editor =
        qobject_cast<QLineEdit*>(QStyledItemDelegate::createEditor(parent, option, index));
    if (editor != nullptr && hooks_.keyPress) {
        FilterKeys(editor, hooks_.keyPress);
    }
    return editor;
}

void QtGridEditing::setModelData(QWidget* editor, QAbstractItemModel* model,
                                 const QModelIndex& index) const {
    auto* edit = qobject_cast<QLineEdit*>(editor);
    if (edit == nullptr || validating_) {
        return;
    }
    std::string text = FromQString(edit->text());
    validating_ = true;
    const bool accepted = !hooks_.validate || hooks_.validate(index.row(), index.column(), text);
    validating_ = false;
    if (accepted) {
        model->setData(index, ToQString(text));
    }
}

bool QtGridEditing::eventFilter(QObject* watched, QEvent* event) {
    // Keys reach the table itself only while no cell editor has the focus.
    if (watched == table_ && event->type() == QEvent::KeyPress && hooks_.keyDown) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        int16_t code = VirtualKeyOf(key);
        if (code != 0 && (key.modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) == 0) {
            const QModelIndex current = table_->currentIndex();
            hooks_.keyDown(code, current.row(), current.column());
            if (code == 0) {
                return true;
            }
        }
    }
    return QStyledItemDelegate::eventFilter(watched, event);
}

void StyleFixedCells(QTableWidget* table, int32_t fixedRows, int32_t fixedCols) {
    const QBrush shade = table->palette().brush(QPalette::Button);
    for (int row = 0; row < table->rowCount(); ++row) {
        for (int col = 0; col < table->columnCount(); ++col) {
            if (row >= fixedRows && col >= fixedCols) {
                continue;
            }
            QTableWidgetItem* item = table->item(row, col);
            if (item == nullptr) {
                item = new QTableWidgetItem();
                table->setItem(row, col, item);
            }
            item->setBackground(shade);
            QFont font = item->font();
            font.setBold(true);
            item->setFont(font);
        }
    }
    // Bold texts are wider: the fixed columns fit them again.
    for (int col = 0; col < fixedCols && col < table->columnCount(); ++col) {
        table->resizeColumnToContents(col);
    }
}

std::array<QtButton, 3> OKCancelHelpButtons(QWidget* parent) {
    return {QtButton(Named(new QPushButton(parent), "cmdOKCancelHelp0")),
            QtButton(Named(new QPushButton(parent), "cmdOKCancelHelp1")),
            QtButton(Named(new QPushButton(parent), "cmdOKCancelHelp2"))};
}

QHBoxLayout* ButtonRow(QWidget* left, const std::array<QtButton, 3>& okCancelHelp) {
    auto* buttons = new QHBoxLayout;
    if (left != nullptr) {
        buttons->addWidget(left);
    }
    buttons->addStretch(1);
    for (const auto& button : okCancelHelp) {
        buttons->addWidget(button.widget());
    }
    return buttons;
}

void ConnectOKCancelHelp(QObject* context, const std::array<QtButton, 3>& okCancelHelp,
                         const std::function<void(int)>& click) {
    for (int i = 0; i < 3; ++i) {
        QObject::connect(okCancelHelp[static_cast<size_t>(i)].widget(), &QAbstractButton::clicked,
                         context, [click, i] { click(i); });
    }
    PushButtonOf(okCancelHelp[kCmdOK])->setDefault(true);
    HelpOnF1(okCancelHelp[2]);
}

void HelpOnF1(const QtButton& help) {
    // The key reaches the dialog when the control with the focus does not use it.
    help.widget()->window()->installEventFilter(new HelpKeyFilter(help.widget()));
}

void ShowIsoDates(QDateEdit* picker) {
    picker->setCalendarPopup(true);
    picker->setDisplayFormat("yyyy-MM-dd");
}

void MakeEditGrid(QTableWidget* grid) {
    grid->horizontalHeader()->hide();
    grid->verticalHeader()->hide();
    grid->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::AnyKeyPressed |
                          QAbstractItemView::EditKeyPressed);
}

void DeferGotFocus(QObject* context, QObject* watched, QEvent* event,
                   std::initializer_list<QtTextBox*> boxes,
                   const std::function<void(QtTextBox&)>& gotFocus) {
    if (event->type() != QEvent::FocusIn) {
        return;
    }
    for (QtTextBox* box : boxes) {
        if (box->widget() == watched) {
            QTimer::singleShot(0, context, [gotFocus, box] { gotFocus(*box); });
        }
    }
}

}  // namespace vesk
