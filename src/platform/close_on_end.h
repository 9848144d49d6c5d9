// How devices and streams end: what is still connected or open is closed
// first, through the object as it is at that moment (in a destructor, the
// class being destroyed), then the object goes.
#pragma once

namespace platform {

// Closes `object` when `is_open` says it is open.
template <typename Object, typename Owner, typename Result>
void close_if_open(Object* object, bool (Owner::*is_open)() const, Result (Owner::*close)()) {
    if ((object->*is_open)()) {
        (object->*close)();
    }
}

// Closes `object` when it is open, then deletes it. Null is accepted.
template <typename Object, typename Owner, typename Result>
void close_and_delete(Object* object, bool (Owner::*is_open)() const, Result (Owner::*close)()) {
    if (object == nullptr) {
        return;
    }
    close_if_open(object, is_open, close);
    delete object;
}

}  // namespace platform
