// "tarnctl cert" from a new authority to a revoked certificate.
#include <sys/wait.h>

#include "support/host_test.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct Result {
    int code;
    std::string output; // Both streams.
};

Result cert(const std::string& words) {
    const std::string line = "cd " + std::string(TarnHostDir()) + " && " TARNCTL " cert " + words + " 2>&1 </dev/null";
    FILE* const pipe = popen(line.c_str(), "r");
    std::string output;
    std::array<char, 512> part;
    while (fgets(part.data(), part.size(), pipe) != nullptr) {
        output += part.data();
    }
    return {WEXITSTATUS(pclose(pipe)), output};
}

void expectDone(const std::string& words) {
    const Result result = cert(words);
    EXPECT_EQ(result.code, 0) << words << ": " << result.output;
}

TEST(TarnctlCert, InstallsChecksAndRevokes) {
    expectDone("demo-ca authority --issue server next");
    struct stat status = {};
    ASSERT_EQ(stat((std::string(TarnHostDir()) + "/authority/ca.key").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    const Result again = cert("demo-ca authority --issue fresh server");
    EXPECT_EQ(again.code, 1);
    EXPECT_EQ(again.output, "tarnctl: server was issued already; choose another --issue name\n");
    expectDone("demo-ca authority --issue third");

    expectDone("install 0x107 --cert authority/server.pem --key authority/server.key");
    expectDone("install 0x103 --cert authority/next.pem --key authority/next.key --keyless");
    Result result = cert("check");
    EXPECT_EQ(result.code, 1);
    EXPECT_THAT(result.output, HasSubstr("0x107: peers refuse it: self-signed certificate in certificate chain\n"));
    expectDone("ca add authority/ca.pem");
    result = cert("check");
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.output, "");

    for (int i = 0; i < 2; i++) {
        expectDone("revoke authority/server.pem --ca authority");
    }
    result = cert("check");
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "0x107: peers refuse it: certificate revoked\n");
    EXPECT_THAT(cert("check --json").output, HasSubstr(R"("severity":	"error",
		"name":	"0x107",
		"text":	"peers refuse it: certificate revoked")"));
    expectDone("install 0x107 --cert authority/third.pem --key authority/third.key");
    expectDone("check");

    result = cert("list");
    EXPECT_THAT(result.output, HasSubstr("service 0x107\n  subject  CN=third\n  issuer   CN=Tarn demonstration CA\n"));
    EXPECT_THAT(result.output, HasSubstr("EC prime256v1, keyless"));
    EXPECT_THAT(result.output, testing::ContainsRegex(", (89|90) days left"));
    expectDone("uninstall 0x107");
    EXPECT_EQ(cert("uninstall 0x107").code, 3);
    EXPECT_THAT(cert("list").output, Not(HasSubstr("0x107")));
}

TEST(TarnctlCert, SaysWhatIsWrong) {
    expectDone("demo-ca other --issue one two");
    const Result mismatch = cert("install 0x104 --cert other/one.pem --key other/two.key");
    EXPECT_EQ(mismatch.code, 1);
    EXPECT_THAT(mismatch.output, HasSubstr("the key belongs to another certificate"));
    EXPECT_EQ(cert("install 0x104 --cert absent.pem --key other/one.key").code, 3);
    EXPECT_EQ(cert("install 0x108 --cert other/one.pem --key other/one.key").code, 2);
    EXPECT_EQ(cert("crl add other/ca.pem").code, 1);
    EXPECT_EQ(cert("ca remove ../../other/ca.pem").code, 1);
    EXPECT_EQ(cert("demo-ca other --issue ../escape").code, 2);
    expectDone("demo-ca foreign --issue one");
    const Result stranger = cert("revoke other/one.pem --ca foreign");
    EXPECT_EQ(stranger.code, 1);
    EXPECT_THAT(stranger.output, HasSubstr("is not one of the authority in foreign"));

    const std::string folder = std::string(TarnHostDir()) + "/cert";
    ASSERT_EQ(chmod(folder.c_str(), 0777), 0);
    for (const char* words : {"ca add other/ca.pem", "install 0x104 --cert other/one.pem --key other/one.key"}) {
        EXPECT_THAT(cert(words).output, HasSubstr(folder + " and the folders in it must be your own"));
    }
    ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
}

} // namespace
