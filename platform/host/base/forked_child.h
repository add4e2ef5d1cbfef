// A child that was forked inside a callback of a service and returns from it would go on in a thread, and under locks,
// that are its parent's.
#pragma once

namespace tarn::host {

// Ends it, and tells. `callback` follows the word "inside".
[[noreturn]] void endForkedChild(const char* callback);

} // namespace tarn::host
