// The keyless engine as a shared object of its own, for processes that load it through OpenSSL's "dynamic" engine.
#define OPENSSL_SUPPRESS_DEPRECATED // As told in key_engine.cpp.
#include <openssl/engine.h>

#include <cstring>

#include "certificate/key_engine.h"

// OpenSSL looks these two up by their names.
extern "C" {
__attribute__((visibility("default"))) unsigned long v_check(unsigned long version);
__attribute__((visibility("default"))) int bind_engine(ENGINE* engine, const char* id, const dynamic_fns* functions);
}

unsigned long v_check(unsigned long version) {
    return version >= OSSL_DYNAMIC_OLDEST ? OSSL_DYNAMIC_VERSION : 0;
}

int bind_engine(ENGINE* engine, const char* id, const dynamic_fns* functions) {
    // With another copy of OpenSSL than the process's own, memory would cross between their allocators.
    if (ENGINE_get_static_state() != functions->static_state) {
        CRYPTO_set_mem_functions(functions->mem_fns.malloc_fn, functions->mem_fns.realloc_fn,
                                 functions->mem_fns.free_fn);
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
    }
    if (id != nullptr && std::strcmp(id, tarn::host::kKeyEngineId) != 0) {
        return 0;
    }
    return tarn::host::bindKeyEngine(engine) ? 1 : 0;
}
