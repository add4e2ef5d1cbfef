#include "failing_heap.h"

#include <cJSON.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <openssl/crypto.h>
#include <openssl/err.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

using tarn::test::HeapOwner;

// Before every block of `operator new`.
struct alignas(std::max_align_t) Header {
    size_t size;
    bool isMeant;
};

thread_local size_t blocksUntilFailure = 0;
thread_local unsigned failingOwners = 0;
thread_local bool failed = false;
thread_local Header* newest = nullptr;
constexpr size_t kLongestCached = 1032;
thread_local size_t givenBack = 0; // size of a newest block that was released at once
std::atomic<size_t> liveNews;
std::atomic<size_t> liveOpenssl;

bool refuses(HeapOwner owner) {
    if ((failingOwners & owner) == 0 || blocksUntilFailure == 0 || --blocksUntilFailure != 0) {
        return false;
    }
    failed = true;
    return true;
}

bool isIn(const void* address, const char* library) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 && info.dli_fname != nullptr && std::strstr(info.dli_fname, library) != nullptr;
}

// Whether a block is the library's or tinyxml2's, maybe by way of the standard library.
bool isMeant(const void* caller) {
    const auto isStandard = [](const void* address) { return isIn(address, "libstdc++"); };
    const void* asker = caller;
    if (isStandard(caller)) {
        void* frames[12];
        void** const end = frames + backtrace(frames, static_cast<int>(std::size(frames)));
        void** const found = std::find_if_not(std::find(frames, end, caller), end, isStandard);
        asker = found == end ? nullptr : *found;
    }
    return isIn(asker, "libtinyxml2") || isIn(asker, "libtarn_conference_common");
}

void* allocate(size_t size, const void* caller) {
    const bool meant = failingOwners != 0 && isMeant(caller);
    // A block of a size that was just given back is to be had again, as allocators with a cache have it. A long one is
    // not cached, and whatever is asked for next may take its place.
    const bool isCached = meant && size == givenBack;
    if (isCached || (meant && givenBack > kLongestCached)) {
        givenBack = 0;
    }
    if (meant && !isCached && refuses(tarn::test::kOperatorNew)) {
        return nullptr;
    }
    auto* const header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
    if (header == nullptr) {
        return nullptr;
    }
    *header = {size, meant};
    liveNews += meant ? 1 : 0;
    newest = header;
    return header + 1;
}

void release(void* block) {
    if (block == nullptr) {
        return;
    }
    Header* const header = static_cast<Header*>(block) - 1;
    if (header == newest) {
        givenBack = header->size;
        newest = nullptr;
    }
    liveNews -= header->isMeant ? 1 : 0;
    std::free(header);
}

void* allocateOrThrow(size_t size, const void* caller) {
    void* const block = allocate(size, caller);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void* jsonMalloc(size_t size) {
    return refuses(tarn::test::kJson) ? nullptr : std::malloc(size);
}

void* opensslMalloc(size_t size, const char*, int) {
    void* const block = refuses(tarn::test::kOpenssl) ? nullptr : std::malloc(size);
    liveOpenssl += block != nullptr ? 1 : 0;
    return block;
}

void opensslFree(void* block, const char*, int) {
    liveOpenssl -= block != nullptr ? 1 : 0;
    std::free(block);
}

void* opensslRealloc(void* block, size_t size, const char* file, int line) {
    if (block == nullptr) {
        return opensslMalloc(size, file, line);
    }
    return refuses(tarn::test::kOpenssl) ? nullptr : std::realloc(block, size);
}

// Before either has allocated anything.
const bool takenOver = [] {
    cJSON_Hooks hooks = {jsonMalloc, std::free};
    cJSON_InitHooks(&hooks);
    void* frame = nullptr;
    backtrace(&frame, 1); // loads what it needs
    return CRYPTO_set_mem_functions(opensslMalloc, opensslRealloc, opensslFree) == 1;
}();

} // namespace

void* operator new(size_t size) {
    return allocateOrThrow(size, __builtin_return_address(0));
}
void* operator new[](size_t size) {
    return allocateOrThrow(size, __builtin_return_address(0));
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, __builtin_return_address(0));
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size, __builtin_return_address(0));
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, size_t) noexcept {
    release(block);
}
void operator delete[](void* block, size_t) noexcept {
    release(block);
}

namespace tarn::test {

void failHeapBlock(unsigned owners, size_t n) {
    failed = false;
    failingOwners = takenOver ? owners : 0;
    blocksUntilFailure = n;
}

bool heapBlockFailed() {
    return failed;
}

size_t liveHeapBlocks(unsigned owners) {
    size_t blocks = (owners & kOperatorNew) != 0 ? liveNews.load() : 0;
    if ((owners & kOpenssl) != 0) {
        ERR_clear_error(); // the thread's error queue holds some
        blocks += liveOpenssl;
    }
    return blocks;
}

} // namespace tarn::test
