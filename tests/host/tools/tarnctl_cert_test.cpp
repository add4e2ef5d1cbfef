// "tarnctl cert" from a new authority to a revoked certificate.
#include "tools/tarnctl_support.h"

namespace {

using namespace tarn::test;

TEST(TarnctlCert, InstallsChecksAndRevokes) {
    expectRun(0, "cert demo-ca authority --issue server next");
    EXPECT_EQ(std::filesystem::status(fileOf("authority/ca.key")).permissions(), std::filesystem::perms{0600});
    expectRun(1, "cert demo-ca authority --issue fresh server",
              "tarnctl: server was issued already; choose another --issue name\n");
    expectRun(0, "cert demo-ca authority --issue third");

    expectRun(0, "cert install 0x107 --cert authority/server.pem --key authority/server.key");
    expectRun(0, "cert install 0x103 --cert authority/next.pem --key authority/next.key --keyless");
    expectRun(1, "cert check", HasSubstr("0x107: peers refuse it: self-signed certificate in certificate chain\n"));
    expectRun(0, "cert ca add authority/ca.pem");
    expectRun(0, "cert check", "");

    for (int i = 0; i < 2; i++) {
        expectRun(0, "cert revoke authority/server.pem --ca authority");
    }
    expectRun(1, "cert check", "0x107: peers refuse it: certificate revoked\n");
    expectRun(1, "cert check --json", HasSubstr(R"("severity":	"error",
		"name":	"0x107",
		"text":	"peers refuse it: certificate revoked")"));
    expectRun(0, "cert install 0x107 --cert authority/third.pem --key authority/third.key");
    expectRun(0, "cert check");
    expectRun(0, "cert list",
              testing::AllOf(HasSubstr("service 0x107\n  subject  CN=third\n  issuer   CN=Tarn demonstration CA\n"),
                             HasSubstr("EC prime256v1, keyless"), testing::ContainsRegex(", (89|90) days left")));
    expectRun(0, "cert uninstall 0x107");
    expectRun(3, "cert uninstall 0x107");
    expectRun(0, "cert list", Not(HasSubstr("0x107")));
}

TEST(TarnctlCert, SaysWhatIsWrong) {
    expectRun(0, "cert demo-ca other --issue one two");
    expectRun(0, "cert demo-ca foreign --issue one");
    expectRun(1, "cert install 0x104 --cert other/one.pem --key other/two.key",
              HasSubstr("the key belongs to another certificate"));
    expectRun(3, "cert install 0x104 --cert absent.pem --key other/one.key");
    expectRun(2, "cert install 0x108 --cert other/one.pem --key other/one.key");
    expectRun(1, "cert crl add other/ca.pem");
    expectRun(1, "cert ca remove ../../other/ca.pem");
    expectRun(2, "cert demo-ca other --issue ../escape");
    expectRun(1, "cert revoke other/one.pem --ca foreign", HasSubstr("is not one of the authority in foreign"));

    ASSERT_EQ(chmod(fileOf("cert").c_str(), 0777), 0);
    for (const char* words : {"ca add other/ca.pem", "install 0x104 --cert other/one.pem --key other/one.key"}) {
        expectRun(1, std::string("cert ") + words,
                  HasSubstr(fileOf("cert") + " and the folders in it must be your own"));
    }
    ASSERT_EQ(chmod(fileOf("cert").c_str(), 0700), 0);
}

} // namespace
