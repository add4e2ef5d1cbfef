#include <array>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "tarn_conference/conf_digest.h"

namespace {

using Digest = std::array<unsigned char, 32>;

std::string hex(const Digest& digest, uint32_t count) {
    char text[65] = {};
    OPENSSL_buf2hexstr_ex(text, sizeof text, nullptr, digest.data(), count, '\0');
    return text;
}

std::string oneShot(uint32_t id, const std::string& data) {
    Digest digest;
    uint32_t length = 99;
    EXPECT_EQ(ZOR_CRYPT_digest(id, data.data(), static_cast<uint32_t>(data.size()), digest.data(), &length), 1U);
    return hex(digest, length);
}

// Of "abc", in two pieces.
std::string streamed(uint32_t id) {
    EVP_MD_CTX* context = nullptr;
    Digest digest;
    uint32_t length = 0;
    EXPECT_EQ(ZOR_CRYPT_digestInit(&context, id), 1U);
    EXPECT_EQ(ZOR_CRYPT_digestUpdate(context, "a", 1), 1U);
    EXPECT_EQ(ZOR_CRYPT_digestUpdate(context, "bc", 2), 1U);
    EXPECT_EQ(ZOR_CRYPT_digestFinal(&context, digest.data(), &length), 1U);
    EXPECT_EQ(context, nullptr);
    return hex(digest, length);
}

// First in this program: the first start of an algorithm is the one that threads can meet in.
TEST(Digests, ThreadsMayStartTheSameAlgorithmAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] { EXPECT_EQ(oneShot(3, "abc").substr(0, 8), "66C7F0F4"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Digests, KnownAnswers) {
    const std::array<const char*, 4> ofAbc = {
        "A9993E364706816ABA3E25717850C26C9CD0D89D", "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD",
        "900150983CD24FB0D6963F7D28E17F72", "66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0"};
    const EVP_MD* const algorithms[] = {EVP_sha1(), EVP_sha256(), EVP_md5(), EVP_sm3()};
    for (uint16_t id = 0; id < ofAbc.size(); ++id) {
        EXPECT_EQ(oneShot(id, "abc"), ofAbc[id]);
        EXPECT_EQ(oneShot(id + 65536U, "abc"), ofAbc[id]); // only the low 16 bits count
        EXPECT_EQ(streamed(id), ofAbc[id]);
        EXPECT_EQ(get_evp_md_by_id_conf(id), algorithms[id]);
    }
    EXPECT_EQ(oneShot(1, ""), "E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855");
}

TEST(Digests, BadArgumentsFailAndTouchNothing) {
    Digest digest = {7};
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

} // namespace
