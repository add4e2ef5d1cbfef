// The heap under the library: blocks that it, tinyxml2, cJSON and OpenSSL ask for run out when a test says so. Those of
// the test itself never do.
#pragma once

#include <cstddef>

namespace tarn::test {

enum HeapOwner : unsigned {
    kOperatorNew = 1, // of the library and of tinyxml2
    kJson = 2,
    kOpenssl = 4,
};

// From now on blocks of these owners count, and the n-th of them is refused; 0 for none.
void failHeapBlock(unsigned owners, size_t n);
bool heapBlockFailed();

// Blocks that counted and are in use; those of cJSON never count.
size_t liveHeapBlocks(unsigned owners);

} // namespace tarn::test
