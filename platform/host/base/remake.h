// For a forked child.
#pragma once

#include <new>

namespace tarn::host {

// Gives an object that belonged to threads left behind by a fork its first state. It is not destroyed: that would wait
// for those threads.
template <typename T>
void remake(T& object) {
    ::new (static_cast<void*>(&object)) T();
}

} // namespace tarn::host
