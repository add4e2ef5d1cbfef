// Standard error of a process that must live on whatever stands behind it.
#pragma once

#include <string_view>

namespace tarn::host {

// Writes in one piece, and raises no SIGPIPE when nobody reads any more. What cannot be written is dropped: there is
// nobody left to tell. Keeps `errno`.
void writeStandardError(std::string_view text);

} // namespace tarn::host
