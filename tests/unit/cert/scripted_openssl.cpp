// Calls of OpenSSL that a test can make fail like those of the platform. The engine that is loaded stands in this
// program, wherever the library looks for its module.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <dlfcn.h>
#include <openssl/engine.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <cstring>

#include "scripted_openssl.h"
#include "scripted_platform.h"

namespace {

using tarn::test::ScriptedEngine;

constexpr const char* kEngineId = "openssl_engine";

// OpenSSL's calls of itself come here too; only those from outside count.
thread_local int insideOpenssl = 0;

bool fails(const char* call) {
    return insideOpenssl == 0 && tarn::test::ScriptedPlatform::get().enter(call);
}

template <typename Function, typename... Arguments>
auto callGenuine(Function*, const char* name, Arguments... arguments) {
    ++insideOpenssl;
    const auto result = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(arguments...);
    --insideOpenssl;
    return result;
}

#define GENUINE(function, ...) callGenuine(&(function), #function, __VA_ARGS__)

EVP_PKEY* loadKey(ENGINE*, const char* id, UI_METHOD*, void*) {
    BIO* const bio = GENUINE(BIO_new_file, (ScriptedEngine::get().keyDirectory + "/").append(id).c_str(), "rb");
    EVP_PKEY* const key = PEM_read_bio_PrivateKey(bio, nullptr, nullptr, nullptr);
    BIO_free(bio);
    return key;
}

int loadEngine() {
    ENGINE* const engine = ENGINE_new();
    const bool added = ENGINE_set_id(engine, kEngineId) == 1 && ENGINE_set_name(engine, "test keys") == 1 &&
                       ENGINE_set_load_privkey_function(engine, loadKey) == 1 && ENGINE_add(engine) == 1;
    ENGINE_free(engine);
    return added ? 1 : 0;
}

} // namespace

ScriptedEngine& ScriptedEngine::get() {
    static ScriptedEngine engine;
    return engine;
}

void ScriptedEngine::unload() {
    ENGINE* const engine = GENUINE(ENGINE_by_id, kEngineId);
    if (engine != nullptr) {
        ENGINE_remove(engine);
        ENGINE_free(engine);
    }
    ERR_clear_error();
}

#pragma GCC visibility push(default)

ENGINE* ENGINE_by_id(const char* id) {
    return fails("ENGINE_by_id") ? nullptr : GENUINE(ENGINE_by_id, id);
}

int ENGINE_ctrl_cmd_string(ENGINE* engine, const char* command, const char* argument, int optional) {
    if (fails("ENGINE_ctrl_cmd_string")) {
        return 0;
    }
    if (insideOpenssl == 0 && std::strcmp(command, "SO_PATH") == 0) {
        ScriptedEngine::get().modulePath = argument;
    }
    return GENUINE(ENGINE_ctrl_cmd_string, engine, command, argument, optional);
}

int ENGINE_ctrl_cmd(ENGINE* engine, const char* command, long number, void* pointer, void (*function)(void),
                    int optional) {
    if (fails("ENGINE_ctrl_cmd")) {
        return 0;
    }
    return insideOpenssl == 0 && std::strcmp(command, "LOAD") == 0
               ? loadEngine()
               : GENUINE(ENGINE_ctrl_cmd, engine, command, number, pointer, function, optional);
}

int ENGINE_init(ENGINE* engine) {
    return fails("ENGINE_init") ? 0 : GENUINE(ENGINE_init, engine);
}

X509_STORE* SSL_CTX_get_cert_store(const SSL_CTX* context) {
    return fails("SSL_CTX_get_cert_store") ? nullptr : GENUINE(SSL_CTX_get_cert_store, context);
}

int X509_STORE_add_crl(X509_STORE* store, X509_CRL* crl) {
    return fails("X509_STORE_add_crl") ? 0 : GENUINE(X509_STORE_add_crl, store, crl);
}

BIO* BIO_new_file(const char* path, const char* mode) {
    return fails("BIO_new_file") ? nullptr : GENUINE(BIO_new_file, path, mode);
}

#pragma GCC visibility pop
