// Digests of a buffer and of a stream.
#include <cstring>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_digest.h"
// [/includes]

namespace {

constexpr unsigned char kAbc[] = {0xBA, 0x78, 0x16, 0xBF, 0x8F, 0x01, 0xCF, 0xEA, 0x41, 0x41, 0x40,
                                  0xDE, 0x5D, 0xAE, 0x22, 0x23, 0xB0, 0x03, 0x61, 0xA3, 0x96, 0x17,
                                  0x7A, 0x9C, 0xB4, 0x10, 0xFF, 0x61, 0xF2, 0x00, 0x15, 0xAD};

} // namespace

int main() {
    // [once]
    unsigned char digest[32];
    uint32_t length = 0;
    const bool done = ZOR_CRYPT_digest(ZOR_CRYPT_DIGEST_SHA256, "abc", 3, digest, &length) == 1; // 1 is success
    // [/once]
    guide::promise(done && length == 32 && std::memcmp(digest, kAbc, 32) == 0, "SHA-256 of a buffer");

    // [stream]
    EVP_MD_CTX* context = nullptr;
    const bool isGood = ZOR_CRYPT_digestInit(&context, ZOR_CRYPT_DIGEST_SHA256) == 1 &&
                        ZOR_CRYPT_digestUpdate(context, "a", 1) == 1 && ZOR_CRYPT_digestUpdate(context, "bc", 2) == 1 &&
                        ZOR_CRYPT_digestFinal(&context, digest, &length) == 1;
    // [/stream]
    guide::promise(isGood && std::memcmp(digest, kAbc, 32) == 0, "the same of a stream");
    return guide::result();
}
