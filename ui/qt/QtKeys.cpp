#include "ui/qt/QtKeys.h"

#include <QKeyEvent>
#include <QLineEdit>

namespace vesk {

int16_t KeyAsciiOf(const QKeyEvent& event) {
    const auto mods = event.modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier);
    const int key = event.key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        return 13;
    }
    if (key == Qt::Key_Backspace) {
        return 8;
    }
    if (mods == Qt::ControlModifier) {
        switch (key) {
            case Qt::Key_C:
                return 3;
            case Qt::Key_V:
                return 22;
            case Qt::Key_X:
                return 24;
            case Qt::Key_Z:
                return 26;
            default:
                return 0;
        }
    }
    if (mods != Qt::NoModifier) {
        return 0;
    }
    const QString text = event.text();
    if (text.size() != 1) {
        return 0;
    }
    const char16_t ch = text.at(0).unicode();
    return ch >= 32 && ch != 127 && ch < 256 ? static_cast<int16_t>(ch) : 0;
}

int16_t VirtualKeyOf(const QKeyEvent& event) {
    const int key = event.key();
    const bool keypad = (event.modifiers() & Qt::KeypadModifier) != 0;
    if (key >= Qt::Key_0 && key <= Qt::Key_9) {
        return static_cast<int16_t>((keypad ? 96 : 48) + (key - Qt::Key_0));
    }
    if (key >= Qt::Key_A && key <= Qt::Key_Z) {
        return static_cast<int16_t>(65 + (key - Qt::Key_A));
    }
    switch (key) {
        case Qt::Key_Minus:
            return keypad ? 109 : 189;
        case Qt::Key_Period:
        case Qt::Key_Comma:
            return keypad ? 110 : (key == Qt::Key_Period ? 190 : 188);
        case Qt::Key_Delete:
            return 46;
        case Qt::Key_Plus:
            return keypad ? 107 : 187;
        case Qt::Key_Space:
            return 32;
        default:
            return 0;
    }
}

KeyAsciiFilter::KeyAsciiFilter(QLineEdit* edit, std::function<void(int16_t&)> filter)
    : QObject(edit), edit_(edit), filter_(std::move(filter)) {}

bool KeyAsciiFilter::eventFilter(QObject* watched, QEvent* event) {
    if (watched != edit_ || event->type() != QEvent::KeyPress) {
        return false;
    }
    const auto& keyEvent = static_cast<const QKeyEvent&>(*event);
    const int16_t typed = KeyAsciiOf(keyEvent);
    if (typed == 0) {
        return false;
    }
    int16_t key = typed;
    filter_(key);
    if (key == 0) {
        return true;
    }
    if (key != typed) {
        edit_->insert(QString(QChar(key)));
        return true;
    }
    return false;
}

void FilterKeys(QLineEdit* edit, std::function<void(int16_t&)> filter) {
    edit->installEventFilter(new KeyAsciiFilter(edit, std::move(filter)));
}

}  // namespace vesk
