// Encryption there and back, and one key for all processes.
#include "support/host_test.h"
#include "tarn_host/host_key.h"

namespace {

using namespace tarn::test;

constexpr const char* kOwner = "TarnUIConf";

std::string keyPath() {
    return std::string(TarnHostDir()) + "/keys/value.key";
}

std::string encrypted(const std::string& plain) {
    char output[OM_KEY_MAX_OUTPUT] = {};
    uint32_t length = 0;
    EXPECT_EQ(TarnOmKeymEncrypt(kOwner, plain.data(), static_cast<uint32_t>(plain.size()), output, &length), 0U);
    EXPECT_EQ(strnlen(output, sizeof output), length);
    return output;
}

// The value, or the name of the code.
std::string decrypted(const std::string& text, const char* owner = kOwner) {
    char plain[256] = "untouched";
    uint32_t length = 0;
    const uint32_t error = TarnHostKeyDecrypt(owner, text.c_str(), plain, sizeof plain, &length);
    EXPECT_TRUE(error == 0 || strcmp(plain, "untouched") == 0);
    return error == 0 ? std::string(plain, length) : strerrorname_np(static_cast<int>(error));
}

// First, as the key must not be there yet.
TEST(Key, IsOneForProcessesThatStartTogether) {
    const ScratchDirectory scratch;
    int go[2];
    ASSERT_EQ(pipe(go), 0);
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        children.push_back(startForked([&] {
            close(go[1]);
            char nothing = 0;
            EXPECT_EQ(read(go[0], &nothing, 1), 0); // All at once, by the end of the pipe.
            writeFile(scratch / std::to_string(i), encrypted("together"));
            return 0;
        }));
    }
    close(go[0]);
    close(go[1]);
    for (size_t i = 0; i < children.size(); ++i) {
        EXPECT_EQ(endOf(children[i]), 0);
        EXPECT_EQ(decrypted(readFile(scratch / std::to_string(i))), "together");
    }
    EXPECT_EQ(std::filesystem::status(keyPath()).permissions(), std::filesystem::perms{0600});
    EXPECT_EQ(namesIn(std::filesystem::path(keyPath()).parent_path()).size(), 1U);
}

TEST(Key, EncryptsAllSizesThatFit) {
    for (size_t size = 0; size <= 200; ++size) {
        std::string plain = std::string("p\0\xFF", 3) + std::string(200, 'p');
        plain.resize(size);
        EXPECT_EQ(decrypted(encrypted(plain)), plain) << size;
    }
    EXPECT_NE(encrypted("same"), encrypted("same"));

    char output[OM_KEY_MAX_OUTPUT] = "untouched";
    uint32_t length = 77;
    const std::string large(201, 'p');
    EXPECT_EQ(TarnOmKeymEncrypt(kOwner, large.data(), 201, output, &length), uint32_t{EMSGSIZE});
    expectAll(
        kInvalid,
        {TarnOmKeymEncrypt(nullptr, "p", 1, output, &length), TarnOmKeymEncrypt(kOwner, nullptr, 1, output, &length),
         TarnOmKeymEncrypt(kOwner, "p", 1, nullptr, &length), TarnOmKeymEncrypt(kOwner, "p", 1, output, nullptr)});
    EXPECT_STREQ(output, "untouched");
    EXPECT_EQ(length, 77U);
}

TEST(Key, RefusesWhatItDidNotMake) {
    const std::string text = encrypted("a secret value");
    EXPECT_EQ(decrypted(text, "somebody"), "EBADMSG");
    for (size_t i = 0; i < text.size(); ++i) {
        std::string changed = text;
        changed[i] = changed[i] == 'A' ? 'B' : 'A';
        EXPECT_EQ(decrypted(changed), "EBADMSG") << i;
        EXPECT_EQ(decrypted(text.substr(0, i)), "EBADMSG") << i;
    }
    EXPECT_EQ(decrypted(text + std::string(400, 'A')), "EBADMSG");
    EXPECT_EQ(decrypted("TK1:===="), "EBADMSG");
    char small[14];
    uint32_t length = 0;
    EXPECT_EQ(TarnHostKeyDecrypt(kOwner, text.c_str(), small, sizeof small, &length), uint32_t{EMSGSIZE});
}

TEST(Key, RefusesAKeyFileThatIsNone) {
    const std::string text = encrypted("kept");
    ASSERT_EQ(chmod(keyPath().c_str(), 0640), 0);
    EXPECT_EQ(decrypted(text), "EPERM");
    ASSERT_EQ(chmod(keyPath().c_str(), 0600), 0);
    EXPECT_EQ(decrypted(text), "kept");
    std::filesystem::resize_file(keyPath(), 31);
    char output[OM_KEY_MAX_OUTPUT];
    uint32_t length = 0;
    EXPECT_EQ(TarnOmKeymEncrypt(kOwner, "p", 1, output, &length), uint32_t{EBADMSG});
    std::filesystem::remove(keyPath());
    std::filesystem::create_symlink("/dev/zero", keyPath());
    EXPECT_EQ(decrypted(text), "ELOOP");
    std::filesystem::remove(keyPath());
    EXPECT_EQ(decrypted(text), "EBADMSG") << "with a new key";
}

} // namespace
