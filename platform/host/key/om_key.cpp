// Encryption of values. Sealed bytes are nonce, ciphertext, tag; the text is their base64 behind a version prefix.
#include "tarn_platform/om_key.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/guarded.h"
#include "key/key_file.h"
#include "tarn_host/host_key.h"

namespace {

using tarn::host::guarded;
using tarn::host::loadValueKey;
using tarn::host::ValueKey;

constexpr std::string_view kPrefix = "TK1:";
constexpr size_t kNonceBytes = 12;
constexpr size_t kTagBytes = 16;
constexpr size_t kFrameBytes = kNonceBytes + kTagBytes;
constexpr size_t kMostBytesBeforeBase64 = (OM_KEY_MAX_OUTPUT - 1 - kPrefix.size()) / 4 * 3;
constexpr size_t kMostPlain = kMostBytesBeforeBase64 - kFrameBytes;
static_assert(kMostPlain == 200, "told in host_key.h");

struct FreeContext {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, FreeContext>;

// On the stack, and wiped when it goes.
struct Plain {
    Plain() = default;
    Plain(const Plain&) = delete;
    Plain& operator=(const Plain&) = delete;
    ~Plain() { OPENSSL_cleanse(bytes.data(), bytes.size()); }
    std::array<uint8_t, kMostBytesBeforeBase64> bytes = {};
};

struct Sealed {
    std::array<uint8_t, kMostBytesBeforeBase64 + 3> bytes = {}; // Decoding writes whole groups.
    size_t length = 0;

    uint8_t* nonce() { return bytes.data(); }
    uint8_t* cipher() { return bytes.data() + kNonceBytes; }
    uint8_t* tag() { return bytes.data() + length - kTagBytes; }
    int cipherLength() const { return static_cast<int>(length - kFrameBytes); }
};

const uint8_t* bytesOf(const char* text) {
    return reinterpret_cast<const uint8_t*>(text);
}

int seal(const ValueKey& key, std::string_view owner, std::string_view plain, Sealed& sealed) {
    sealed.length = plain.size() + kFrameBytes;
    const Context context(EVP_CIPHER_CTX_new());
    int done = 0;
    const bool isSealed =
        context != nullptr && RAND_bytes(sealed.nonce(), kNonceBytes) == 1 &&
        EVP_EncryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.bytes.data(), sealed.nonce(), nullptr) == 1 &&
        EVP_EncryptUpdate(context.get(), nullptr, &done, bytesOf(owner.data()), static_cast<int>(owner.size())) == 1 &&
        EVP_EncryptUpdate(context.get(), sealed.cipher(), &done, bytesOf(plain.data()),
                          static_cast<int>(plain.size())) == 1 &&
        EVP_EncryptFinal_ex(context.get(), sealed.tag(), &done) == 1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTagBytes, sealed.tag()) == 1;
    return isSealed ? 0 : EIO;
}

int unseal(const ValueKey& key, std::string_view owner, Sealed& sealed, Plain& plain) {
    const Context context(EVP_CIPHER_CTX_new());
    int done = 0;
    if (context == nullptr ||
        EVP_DecryptInit_ex2(context.get(), EVP_aes_256_gcm(), key.bytes.data(), sealed.nonce(), nullptr) != 1 ||
        EVP_DecryptUpdate(context.get(), nullptr, &done, bytesOf(owner.data()), static_cast<int>(owner.size())) != 1 ||
        EVP_DecryptUpdate(context.get(), plain.bytes.data(), &done, sealed.cipher(), sealed.cipherLength()) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTagBytes, sealed.tag()) != 1) {
        return EIO;
    }
    return EVP_DecryptFinal_ex(context.get(), plain.bytes.data(), &done) == 1 ? 0 : EBADMSG;
}

// False for a text that cannot be one of ours.
bool decode(std::string_view text, Sealed& sealed) {
    if (!text.starts_with(kPrefix) || text.size() >= OM_KEY_MAX_OUTPUT) {
        return false;
    }
    text.remove_prefix(kPrefix.size());
    const int decoded = EVP_DecodeBlock(sealed.bytes.data(), bytesOf(text.data()), static_cast<int>(text.size()));
    // Padding counts as bytes of zero there.
    const size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    if (decoded < static_cast<int>(kFrameBytes + padding)) {
        return false;
    }
    sealed.length = static_cast<size_t>(decoded) - padding;
    return true;
}

int encrypt(std::string_view owner, std::string_view plain, char* output, uint32_t* outputLength) {
    ValueKey key;
    int error = loadValueKey(key);
    Sealed sealed;
    if (error == 0) {
        error = seal(key, owner, plain, sealed);
    }
    if (error == 0) {
        kPrefix.copy(output, kPrefix.size());
        const int length = EVP_EncodeBlock(reinterpret_cast<uint8_t*>(output + kPrefix.size()), sealed.bytes.data(),
                                           static_cast<int>(sealed.length));
        *outputLength = static_cast<uint32_t>(kPrefix.size()) + static_cast<uint32_t>(length);
    }
    return error;
}

} // namespace

uint32_t TarnOmKeymEncrypt(const char* owner, const char* plain, uint32_t plainLength, char* output,
                           uint32_t* outputLength) {
    if (owner == nullptr || (plain == nullptr && plainLength > 0) || output == nullptr || outputLength == nullptr) {
        return EINVAL;
    }
    if (plainLength > kMostPlain) {
        return EMSGSIZE;
    }
    return guarded([&] { return encrypt(owner, {plain, plainLength}, output, outputLength); });
}

uint32_t TarnHostKeyDecrypt(const char* owner, const char* text, char* plain, uint32_t plainBytes,
                            uint32_t* plainLength) {
    if (owner == nullptr || text == nullptr || plain == nullptr || plainLength == nullptr) {
        return EINVAL;
    }
    Sealed sealed;
    if (!decode(text, sealed)) {
        return EBADMSG;
    }
    const auto length = static_cast<uint32_t>(sealed.cipherLength());
    if (length >= plainBytes) {
        return EMSGSIZE;
    }
    return guarded([&] {
        ValueKey key;
        Plain value;
        int error = loadValueKey(key);
        if (error == 0) {
            error = unseal(key, owner, sealed, value);
        }
        if (error == 0) {
            std::memcpy(plain, value.bytes.data(), length);
            plain[length] = '\0';
            *plainLength = length;
        }
        return error;
    });
}
