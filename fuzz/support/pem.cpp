#include "pem.h"

#include <openssl/evp.h>

#include <vector>

namespace tarn::fuzz {

std::string armoured(const char* label, std::span<const uint8_t> bytes, bool raw) {
    if (raw) {
        return {bytes.begin(), bytes.end()};
    }
    constexpr size_t kLineBytes = 48;
    std::string text = std::string("-----BEGIN ").append(label).append("-----\n");
    while (!bytes.empty()) {
        const std::span<const uint8_t> line = bytes.first(std::min(kLineBytes, bytes.size()));
        unsigned char encoded[kLineBytes / 3 * 4 + 1];
        EVP_EncodeBlock(encoded, line.data(), static_cast<int>(line.size()));
        text.append(reinterpret_cast<const char*>(encoded)).append("\n");
        bytes = bytes.subspan(line.size());
    }
    return text.append("-----END ").append(label).append("-----\n");
}

} // namespace tarn::fuzz
