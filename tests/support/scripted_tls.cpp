// The TLS extension of the scripted platform, by what stock OpenSSL has for it.
#include "scripted_platform.h"
#include "tarn_platform/tls_extension.h"

int SSL_CTX_load_cacertificate_file(SSL_CTX* context, const char* path, uint32_t fileType) {
    if (tarn::test::ScriptedPlatform::get().enter("SSL_CTX_load_cacertificate_file") || fileType != 1) {
        return 0;
    }
    return SSL_CTX_load_verify_locations(context, path, nullptr);
}
