#include "xml_fixture.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <new>

// Of the leak checker, where there is one.
extern "C" {
__attribute__((weak)) void __lsan_disable();
__attribute__((weak)) void __lsan_enable();
}

namespace {

thread_local size_t blocksUntilFailure = 0;
thread_local bool failed = false;
thread_local void* newest = nullptr;
thread_local size_t newestSize = 0;
thread_local size_t givenBack = 0; // size of a newest block that was released at once

// Only blocks that the library or tinyxml2 asks for count.
bool isMeant(const void* caller) {
    Dl_info info = {};
    return dladdr(caller, &info) != 0 && info.dli_fname != nullptr &&
           (std::strstr(info.dli_fname, "libtinyxml2") != nullptr ||
            std::strstr(info.dli_fname, "libtarn_conference_common") != nullptr);
}

void* allocate(size_t size, const void* caller) {
    // A block of a size that was just given back is to be had again, as allocators with a cache have it.
    const bool isCached = size == givenBack;
    if (isCached) {
        givenBack = 0;
    }
    if (blocksUntilFailure != 0 && !isCached && isMeant(caller) && --blocksUntilFailure == 0) {
        failed = true;
        return nullptr;
    }
    newest = std::malloc(size == 0 ? 1 : size);
    newestSize = size;
    return newest;
}

void release(void* block) {
    if (block != nullptr && block == newest) {
        givenBack = newestSize;
        newest = nullptr;
    }
    std::free(block);
}

void* allocateOrThrow(size_t size, const void* caller) {
    void* const block = allocate(size, caller);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

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

void failBlock(size_t n) {
    failed = false;
    blocksUntilFailure = n;
}

bool blockFailed() {
    return failed;
}

MeantLeaks::MeantLeaks() {
    if (__lsan_disable != nullptr) {
        __lsan_disable();
    }
}

MeantLeaks::~MeantLeaks() {
    if (__lsan_enable != nullptr) {
        __lsan_enable();
    }
}

} // namespace tarn::test
