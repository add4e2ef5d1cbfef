// Calls of OpenSSL that a test can make fail like those of the platform. The engine's module is this build's own,
// wherever the library looks for it.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <dlfcn.h>
#include <openssl/engine.h>
#include <openssl/ssl.h>

#include <cstring>
#include <string>

#include "scripted_openssl.h"
#include "scripted_platform.h"

namespace {

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

} // namespace

std::string& tarn::test::engineModulePath() {
    static std::string path;
    return path;
}

#define GENUINE(function, ...) callGenuine(&(function), #function, __VA_ARGS__)

#pragma GCC visibility push(default)

ENGINE* ENGINE_by_id(const char* id) {
    return fails("ENGINE_by_id") ? nullptr : GENUINE(ENGINE_by_id, id);
}

int ENGINE_ctrl_cmd_string(ENGINE* engine, const char* command, const char* argument, int optional) {
    if (fails("ENGINE_ctrl_cmd_string")) {
        return 0;
    }
    if (insideOpenssl == 0 && std::strcmp(command, "SO_PATH") == 0) {
        tarn::test::engineModulePath() = argument;
        argument = TEST_ENGINE_MODULE;
    }
    return GENUINE(ENGINE_ctrl_cmd_string, engine, command, argument, optional);
}

int ENGINE_ctrl_cmd(ENGINE* engine, const char* command, long number, void* pointer, void (*function)(void),
                    int optional) {
    return fails("ENGINE_ctrl_cmd") ? 0
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
