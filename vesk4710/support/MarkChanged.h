#pragma once
// Stores a value in an edited object's field and marks the object changed when the value
// differs, so that an unchanged write is not sent to the instrument.

namespace vesk {

template <class T>
void MarkChanged(bool& changed, T& field, const T& value) {
    if (field != value) {
        changed = true;
        field = value;
    }
}

}  // namespace vesk
