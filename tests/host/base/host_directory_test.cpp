// The endpoint's directory, settled at the first use; so each case has a process of its own.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "support/processes.h"
#include "tarn_host/host_process.h"

namespace {

using tarn::test::runForked;

// The directory that a process with this TARN_HOST_DIR uses, as a path from the test's own; "-" when it has none.
void expectDirectory(const std::string& wanted, const std::string& used) {
    const std::filesystem::path own = std::getenv("TARN_HOST_DIR");
    EXPECT_EQ(runForked([&] {
                  std::filesystem::current_path(own);
                  setenv("TARN_HOST_DIR", wanted.c_str(), 1);
                  const char* const directory = TarnHostDir();
                  EXPECT_EQ(directory == nullptr ? "-" : std::string(directory), used == "-" ? "-" : own / used);
                  return 0;
              }),
              0);
}

TEST(HostDirectory, IsOnesOwnAndWritableForNobodyElse) {
    const std::filesystem::path own = std::getenv("TARN_HOST_DIR");
    expectDirectory(own / "new", "new");
    struct stat status = {};
    ASSERT_EQ(stat((own / "new").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    expectDirectory("relative//", "relative");
    expectDirectory(own / "absent" / "new", "-");

    chmod((own / "new").c_str(), 0755);
    expectDirectory(own / "new", "new");
    for (const mode_t open : {0775U, 0757U, 01777U}) {
        chmod((own / "new").c_str(), open);
        expectDirectory(own / "new", "-");
    }
    std::filesystem::create_directory_symlink(own / "relative", own / "link");
    expectDirectory(own / "link", "-");
    if (geteuid() == 0) {
        ASSERT_EQ(chown((own / "relative").c_str(), 1, 1), 0);
        expectDirectory(own / "relative", "-");
    }
}

} // namespace
