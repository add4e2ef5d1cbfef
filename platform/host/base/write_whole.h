// Writes all of something to a file, however many steps that takes.
#pragma once

#include <cstddef>
#include <span>

namespace tarn::host {

// 0 or an errno, after which a part may have been written.
int writeWhole(int file, std::span<const std::byte> bytes);

} // namespace tarn::host
