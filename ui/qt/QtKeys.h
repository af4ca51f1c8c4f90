#pragma once
// Key events into the dialog logic's key filters: the classic character code of a key press
// (KeyPress handlers) and the virtual key code of a key going down (the calibration grid).
#include <QObject>
#include <cstdint>
#include <functional>

class QKeyEvent;
class QLineEdit;

namespace vesk {

// The character code a key press types (8 backspace, 13 enter, 3/22/24/26 copy, paste,
// cut, undo, printable characters); 0 for keys that type nothing (arrows, Delete, Tab, ...).
int16_t KeyAsciiOf(const QKeyEvent& event);
// The virtual key code of a key (digits 48-57, keypad digits 96-105, keypad minus 109 and
// decimal 110, main minus 189 and period 190, Delete 46, letters 65-90); 0 for others.
int16_t VirtualKeyOf(const QKeyEvent& event);

// Runs every typed character of a line edit through filter: 0 discards it, another code
// is typed instead of it.
void FilterKeys(QLineEdit* edit, std::function<void(int16_t&)> filter);

class KeyAsciiFilter : public QObject {
    Q_OBJECT
  public:
    KeyAsciiFilter(QLineEdit* edit, std::function<void(int16_t&)> filter);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QLineEdit* edit_;
    std::function<void(int16_t&)> filter_;
};

}  // namespace vesk
