#include "ui/qt/QtControls.h"

#include <QHeaderView>
#include <QPushButton>
#include <algorithm>
#include <cmath>

#include "vesk4710/support/Date.h"

namespace vesk {

QString ToQString(const std::string& text) {
    return QString::fromStdString(text);
}

std::string FromQString(const QString& text) {
    return text.toStdString();
}

QPushButton* PushButtonOf(const QtButton& button) {
    return qobject_cast<QPushButton*>(button.widget());
}

int32_t QtCheckBox::Value() const {
    return w_->isChecked() ? 1 : 0;
}

void QtCheckBox::Value(int32_t value) {
    w_->setChecked(value == 1);
}

std::string QtTextBox::Text() const {
    return FromQString(w_->text());
}

void QtTextBox::Text(const std::string& text) {
    w_->setText(ToQString(text));
}

int32_t QtTextBox::SelStart() const {
    return w_->hasSelectedText() ? w_->selectionStart() : w_->cursorPosition();
}

void QtTextBox::SelStart(int32_t start) {
    w_->setCursorPosition(start);
}

int32_t QtTextBox::SelLength() const {
    return w_->hasSelectedText() ? static_cast<int32_t>(w_->selectedText().size()) : 0;
}

void QtTextBox::SelLength(int32_t length) {
    const int start = w_->hasSelectedText() ? w_->selectionStart() : w_->cursorPosition();
    if (length > 0) {
        w_->setSelection(start, length);
    } else {
        w_->setCursorPosition(start);
    }
}

void QtTextBox::SetFocus() {
    w_->setFocus(Qt::OtherFocusReason);
}

std::string QtDateBox::Text() const {
    const QDate d = w_->date();
    return Date::FromYMD(d.year(), d.month(), d.day()).IsoDate();
}

void QtDateBox::Text(const std::string& text) {
    if (const auto date = Date::ParseIso(text)) {
        w_->setDate(QDate(date->Year(), date->Month(), date->Day()));
    }
}

void QtDateBox::SetFocus() {
    w_->setFocus(Qt::OtherFocusReason);
}

std::string QtListBox::List(int32_t index) const {
    const QListWidgetItem* item = w_->item(index);
    return item != nullptr ? FromQString(item->text()) : std::string();
}

void QtListBox::ItemData(int32_t index, int32_t data) {
    if (QListWidgetItem* item = w_->item(index)) {
        item->setData(Qt::UserRole, data);
    }
}

int32_t QtListBox::ItemData(int32_t index) const {
    const QListWidgetItem* item = w_->item(index);
    return item != nullptr ? item->data(Qt::UserRole).toInt() : 0;
}

int32_t QtListBox::ListIndex() const {
    return w_->currentRow();
}

void QtListBox::ListIndex(int32_t index) {
    w_->setCurrentRow(index);
}

std::string QtComboBox::List(int32_t index) const {
    return FromQString(w_->itemText(index));
}

void QtComboBox::ItemData(int32_t index, int32_t data) {
    w_->setItemData(index, data);
}

int32_t QtComboBox::ItemData(int32_t index) const {
    return w_->itemData(index).toInt();
}

int32_t QtComboBox::ListIndex() const {
    return w_->currentIndex();
}

void QtComboBox::ListIndex(int32_t index) {
    w_->setCurrentIndex(index);
}

void QtProgressBar::Max(float max) {
    max_ = max;
    w_->setRange(0, static_cast<int>(std::lround(max)));
}

void QtProgressBar::Value(float value) {
    value_ = value;
    w_->setValue(static_cast<int>(std::lround(std::clamp(value, 0.0F, max_))));
}

int32_t QtGrid::Rows() const {
    return w_->rowCount();
}

void QtGrid::Rows(int32_t rows) {
    w_->setRowCount(rows);
}

int32_t QtGrid::Cols() const {
    return w_->columnCount();
}

void QtGrid::Cols(int32_t cols) {
    w_->setColumnCount(cols);
}

std::string QtGrid::TextMatrix(int32_t row, int32_t col) const {
    const QTableWidgetItem* item = w_->item(row, col);
    return item != nullptr ? FromQString(item->text()) : std::string();
}

void QtGrid::TextMatrix(int32_t row, int32_t col, const std::string& text) {
    QTableWidgetItem* item = w_->item(row, col);
    if (item == nullptr) {
        item = new QTableWidgetItem();
        w_->setItem(row, col, item);
    }
    item->setText(ToQString(text));
}

void QtGrid::AutoSize(int32_t firstCol, int32_t lastCol) {
    for (int32_t col = firstCol; col <= lastCol && col < w_->columnCount(); ++col) {
        w_->resizeColumnToContents(col);
    }
}

void QtGrid::Refresh() {
    w_->viewport()->update();
}

}  // namespace vesk
