// OpenSSL 3 marks engines as deprecated in favour of providers and still carries them whole. Processes find the keyless
// keys by an engine's id, so this file and the module are engines until those look for a provider.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "certificate/key_engine.h"

#include <openssl/engine.h>
#include <openssl/err.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include "base/fork_handlers.h"
#include "certificate/keyless_key.h"

namespace tarn::host {
namespace {

// OpenSSL's caller sees the reason in its error queue.
EVP_PKEY* loadPrivateKey(ENGINE*, const char* id, UI_METHOD*, void*) {
    KeyPointer key;
    int error = EINVAL;
    if (id != nullptr) {
        try {
            error = loadKeylessKey(id, key);
        } catch (const std::bad_alloc&) {
            error = ENOMEM;
        }
    }
    if (error != 0) {
        ERR_raise_data(ERR_LIB_ENGINE, ENGINE_R_FAILED_LOADING_PRIVATE_KEY, "keyless certificate %s: %s",
                       id == nullptr ? "without id" : id, std::strerror(error));
    }
    return error == 0 ? key.release() : nullptr;
}

struct EngineFree {
    void operator()(ENGINE* engine) const { ENGINE_free(engine); }
};
using EnginePointer = std::unique_ptr<ENGINE, EngineFree>;

// Who finds the engine in the list asks it for keys without starting it, so it stays started as long as the process
// lives.
ENGINE* startedEngine = nullptr;

constinit std::mutex registering;

const HeldOverForks<registering> registeringOverForks;

int addToList() {
    const OpensslErrorScope errors;
    const EnginePointer present(startedEngine == nullptr ? ENGINE_by_id(kKeyEngineId) : nullptr);
    if (startedEngine != nullptr || present != nullptr) {
        return 0;
    }
    EnginePointer engine(ENGINE_new());
    if (engine == nullptr) {
        return ENOMEM;
    }
    if (!bindKeyEngine(engine.get()) || ENGINE_add(engine.get()) != 1 || ENGINE_init(engine.get()) != 1) {
        return ENODEV;
    }
    startedEngine = engine.release();
    return 0;
}

} // namespace

bool bindKeyEngine(ENGINE* engine) {
    return ENGINE_set_id(engine, kKeyEngineId) == 1 && ENGINE_set_name(engine, "keys of the host platform") == 1 &&
           ENGINE_set_load_privkey_function(engine, loadPrivateKey) == 1;
}

int registerKeyEngine() {
    const std::lock_guard lock(registering);
    return addToList();
}

} // namespace tarn::host
