#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <openssl/evp.h>

#include "tarn_conference/conf_digest.h"

namespace {

std::string hex(const unsigned char* bytes, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += "0123456789abcdef"[bytes[i] >> 4];
        text += "0123456789abcdef"[bytes[i] & 15];
    }
    return text;
}

std::string oneShot(uint32_t id, const std::string& data) {
    std::array<unsigned char, 32> digest;
    uint32_t length = 99;
    if (ZOR_CRYPT_digest(id, data.data(), static_cast<uint32_t>(data.size()), digest.data(), &length) != 1) {
        return "failed";
    }
    return hex(digest.data(), length);
}

std::string streamed(uint32_t id, const std::string& first, const std::string& second) {
    EVP_MD_CTX* context = nullptr;
    std::array<unsigned char, 32> digest;
    uint32_t length = 0;
    EXPECT_EQ(ZOR_CRYPT_digestInit(&context, id), 1U);
    EXPECT_EQ(ZOR_CRYPT_digestUpdate(context, first.data(), static_cast<uint32_t>(first.size())), 1U);
    EXPECT_EQ(ZOR_CRYPT_digestUpdate(context, second.data(), static_cast<uint32_t>(second.size())), 1U);
    EXPECT_EQ(ZOR_CRYPT_digestFinal(&context, digest.data(), &length), 1U);
    EXPECT_EQ(context, nullptr);
    return hex(digest.data(), length);
}

TEST(Digest, KnownAnswers) {
    const std::array<const char*, 4> ofAbc = {
        "a9993e364706816aba3e25717850c26c9cd0d89d", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
        "900150983cd24fb0d6963f7d28e17f72", "66c7f0f462eeedd9d1f2d46bdc10e4e24167c4875cf2f7a2297da02b8f4ba8e0"};
    for (uint32_t id = 0; id < ofAbc.size(); ++id) {
        EXPECT_EQ(oneShot(id, "abc"), ofAbc[id]);
        EXPECT_EQ(oneShot(id + 65536, "abc"), ofAbc[id]); // only the low 16 bits count
        EXPECT_EQ(streamed(id, "a", "bc"), ofAbc[id]);
    }
    EXPECT_EQ(oneShot(1, ""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    const EVP_MD* const algorithms[] = {EVP_sha1(), EVP_sha256(), EVP_md5(), EVP_sm3(), nullptr};
    for (uint16_t id = 0; id < std::size(algorithms); ++id) {
        EXPECT_EQ(get_evp_md_by_id_conf(id), algorithms[id]);
    }
}

TEST(Digest, BadArgumentsFailAndTouchNothing) {
    std::array<unsigned char, 32> digest = {7};
    uint32_t length = 99;
    EVP_MD_CTX* context = nullptr;
    auto* const untouched = reinterpret_cast<EVP_MD_CTX*>(&length);
    EVP_MD_CTX* kept = untouched;
    EXPECT_THAT(
        (std::vector<uint32_t>{
            ZOR_CRYPT_digest(4, "a", 1, digest.data(), &length),
            ZOR_CRYPT_digest(0, nullptr, 1, digest.data(), &length), ZOR_CRYPT_digest(0, "a", 1, nullptr, &length),
            ZOR_CRYPT_digestFinal(&context, digest.data(), &length),
            ZOR_CRYPT_digestFinal(nullptr, digest.data(), &length), ZOR_CRYPT_digestUpdate(nullptr, "a", 1),
            ZOR_CRYPT_digestInit(nullptr, 0), ZOR_CRYPT_digestInit(&kept, 4)}),
        testing::Each(0));
    EXPECT_EQ(kept, untouched);
    EXPECT_EQ(digest[0], 7);
    EXPECT_EQ(length, 99U);
}

TEST(Digest, ThreadsMayStartTheSameAlgorithmAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] { EXPECT_EQ(oneShot(3, "abc").substr(0, 8), "66c7f0f4"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
