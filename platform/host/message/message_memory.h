// Memory for messages as they arrive.
#pragma once

#include <cstddef>

namespace tarn::host {

// A block aligned for any type, or null. Large ones may have been used before: a fresh one costs a page fault for every
// page that is touched, which for a payload of 1 MiB is more than copying it.
void* takeMessageMemory(size_t bytes);

// Gives a block of `takeMessageMemory` back; null does nothing. A few large ones are kept for the next taker.
void giveMessageMemory(void* memory);

} // namespace tarn::host
