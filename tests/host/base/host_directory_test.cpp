// The endpoint's directory, settled at the first use; so each case has a process of its own.
#include "support/host_test.h"
#include "tarn_host/host_message.h"
#include "tarn_platform/om_key.h"
#include "tarn_platform/om_path.h"

namespace {

using namespace tarn::test;

std::filesystem::path ownDirectory() {
    return std::getenv("TARN_HOST_DIR");
}

// The directory that a process with this TARN_HOST_DIR uses, as a path from the test's own; "-" when it has none.
void expectDirectory(const std::string& wanted, const std::string& used) {
    EXPECT_EQ(runForked([&] {
                  const std::filesystem::path own = ownDirectory();
                  std::filesystem::current_path(own);
                  setenv("TARN_HOST_DIR", wanted.c_str(), 1);
                  const char* const directory = TarnHostDir();
                  EXPECT_EQ(directory == nullptr ? "-" : std::string(directory), used == "-" ? "-" : own / used);
                  return 0;
              }),
              0);
}

TEST(HostDirectory, IsOnesOwnAndWritableForNobodyElse) {
    const std::filesystem::path own = ownDirectory();
    const std::filesystem::path fresh = own / "new";
    expectDirectory(fresh, "new");
    EXPECT_EQ(std::filesystem::status(fresh).permissions(), std::filesystem::perms{0700});
    expectDirectory("relative//", "relative");
    expectDirectory(own / "absent" / "new", "-");

    chmod(fresh.c_str(), 0755);
    expectDirectory(fresh, "new");
    for (const mode_t open : {0775U, 0757U, 01777U}) {
        chmod(fresh.c_str(), open);
        expectDirectory(fresh, "-");
    }
    std::filesystem::create_directory_symlink(own / "relative", own / "link");
    expectDirectory(own / "link", "-");
    if (geteuid() == 0) {
        ASSERT_EQ(chown((own / "relative").c_str(), 1, 1), 0);
        expectDirectory(own / "relative", "-");
    }
}

// What a process says in whose directory nothing can be made; each call comes several times.
std::string toldOfUnusable(const std::string& directory) {
    setenv("TARN_HOST_DIR", directory.c_str(), 1);
    const CaughtErrors errors;
    OsMsgRecord record = {};
    std::strcpy(record.receiverName, "nobody");
    char output[OM_KEY_MAX_OUTPUT];
    uint32_t number = 0;
    for (int i = 0; i < 3; ++i) {
        expectAll(ENOTDIR,
                  {OsMsgReceiverStart("unusable", [](OsMsgRecord*) {}), OsMsgAsynSend(&record),
                   TarnHostReceiverList(nullptr, 0, &number), TarnOmKeymEncrypt("owner", "p", 1, output, &number)});
        EXPECT_EQ(TarnOmCustUtilGetStoragePath(), nullptr);
    }
    return errors.text();
}

TEST(HostDirectory, OneThatCannotBeUsedIsToldOnce) {
    EXPECT_EQ(runForked([] {
                  const std::string told = toldOfUnusable("/dev/null/below");
                  EXPECT_EQ(mentionsIn(told, "cannot use the directory /dev/null/below: Not a directory"), 1);
                  EXPECT_EQ(mentionsIn(told, ""), 1);
                  return 0;
              }),
              0);
    EXPECT_EQ(runForked([] {
                  const std::filesystem::path own = ownDirectory() / "unusable";
                  std::filesystem::create_directory(own);
                  std::filesystem::permissions(own, std::filesystem::perms::owner_all);
                  for (const char* service : {"msg", "keys", "storage"}) {
                      std::filesystem::create_symlink("/dev/null", own / service);
                  }
                  EXPECT_EQ(mentionsIn(toldOfUnusable(own), ""), 3) << "once a service";
                  std::filesystem::remove(own / "storage");
                  EXPECT_NE(TarnOmCustUtilGetStoragePath(), nullptr);
                  return 0;
              }),
              0);
}

} // namespace
