// An engine as the keyless types need one: it gives the key whose id is the name of a file in TARN_TEST_ENGINE_KEYS.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/bio.h>
#include <openssl/engine.h>
#include <openssl/pem.h>

#include <cstdlib>
#include <string>

namespace {

EVP_PKEY* loadKey(ENGINE*, const char* id, UI_METHOD*, void*) {
    const char* const directory = std::getenv("TARN_TEST_ENGINE_KEYS");
    BIO* const file =
        BIO_new_file((std::string(directory == nullptr ? "" : directory) += "/").append(id).c_str(), "rb");
    EVP_PKEY* const key = PEM_read_bio_PrivateKey(file, nullptr, nullptr, nullptr);
    BIO_free(file);
    return key;
}

int bind(ENGINE* engine, const char*) {
    return ENGINE_set_id(engine, "openssl_engine") == 1 && ENGINE_set_name(engine, "test keys") == 1 &&
                   ENGINE_set_load_privkey_function(engine, loadKey) == 1
               ? 1
               : 0;
}

} // namespace

extern "C" {
IMPLEMENT_DYNAMIC_CHECK_FN()
IMPLEMENT_DYNAMIC_BIND_FN(bind)
}
