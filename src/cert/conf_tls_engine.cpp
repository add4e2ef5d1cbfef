// The key holder as an OpenSSL engine, loaded from its shared object through the "dynamic" engine. The only file that
// knows engines: OpenSSL 3 has them for the last time.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/engine.h>

#include "base/log.h"
#include "base/platform_lock.h"
#include "cert/key_holder.h"

namespace {

constexpr const char* kLogName = "conf_cert";
constexpr const char* kEngineId = "openssl_engine";
constexpr const char* kEngineModule = TARN_ENGINE_PATH;

OsMutex loadMutex;

ENGINE* failed(const char* text) {
    TARN_LOG_AS("GetOpensslEngine", CONF_LOG_ERROR, "%s", text);
    return nullptr;
}

// The engine is never released: keys that contexts have from it call into its code until the process ends. Nor is the
// "dynamic" handle, which becomes the engine when it is loaded; one whose load failed stays as well.
ENGINE* GetOpensslEngine() {
    // Two threads that both miss the engine would otherwise load it twice, and the second would be refused.
    const tarn::detail::PlatformLock lock(loadMutex);
    ENGINE* const present = ENGINE_by_id(kEngineId);
    if (present != nullptr) {
        TARN_LOG(CONF_LOG_INFO, "ssl_engine has loaded");
        return present;
    }
    ENGINE* const dynamic = ENGINE_by_id("dynamic");
    if (dynamic == nullptr) {
        return failed("ENGINE_by_id failed");
    }
    if (ENGINE_ctrl_cmd_string(dynamic, "SO_PATH", kEngineModule, 0) != 1) {
        return failed("ENGINE_ctrl_cmd_string SO_PATH failed");
    }
    if (ENGINE_ctrl_cmd_string(dynamic, "ID", kEngineId, 0) != 1) {
        return failed("ENGINE_ctrl_cmd_string ID failed");
    }
    if (ENGINE_ctrl_cmd(dynamic, "LIST_ADD", 1, nullptr, nullptr, 0) != 1) {
        return failed("ENGINE_ctrl_cmd_string LIST_ADD failed");
    }
    if (ENGINE_ctrl_cmd(dynamic, "LOAD", 1, nullptr, nullptr, 0) != 1) {
        return failed("ENGINE_ctrl_cmd_string LOAD failed");
    }
    ENGINE* const loaded = ENGINE_by_id(kEngineId);
    if (loaded == nullptr) {
        return failed("FAILED to load engine");
    }
    // One that does not start shows when it is asked for a key.
    ENGINE_init(loaded);
    return loaded;
}

} // namespace

namespace tarn::detail {

KeyHolder KeyHolder::open() {
    return KeyHolder(GetOpensslEngine());
}

OwnedKey KeyHolder::load(const char* id) const {
    return OwnedKey(ENGINE_load_private_key(static_cast<ENGINE*>(handle_), id, nullptr, nullptr));
}

} // namespace tarn::detail
