// Handles and elements. A handle is always an element: never the document itself, a text or a comment.
#pragma once

#include <new>

#include <tinyxml2.h>

namespace tarn::detail {

inline tinyxml2::XMLElement* elementOf(void* handle) {
    return static_cast<tinyxml2::XMLElement*>(handle);
}

// The result of `work`, or `failed` when memory ran out in it: tinyxml2 throws then, and callers are C.
template <typename Result, typename Work>
Result unlessOutOfMemory(Result failed, Work work) noexcept {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return failed;
    }
}

} // namespace tarn::detail
