// Calls in a process whose host directory cannot be used.
#include <errno.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "support/processes.h"
#include "tarn_host/host_message.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_key.h"
#include "tarn_platform/om_path.h"

namespace {

using namespace tarn::test;

void ignoreRecord(OsMsgRecord* /*record*/) {}

// What each call has to say about it, `times` times over.
void expectAll(uint32_t error, int times = 3) {
    OsMsgRecord record = {};
    std::strcpy(record.receiverName, "nobody");
    char output[OM_KEY_MAX_OUTPUT];
    uint32_t number = 0;
    for (int i = 0; i < times; ++i) {
        EXPECT_EQ(OsMsgReceiverStart("unusable", ignoreRecord), error);
        EXPECT_EQ(OsMsgAsynSend(&record), error);
        EXPECT_EQ(TarnHostReceiverList(nullptr, 0, &number), error);
        EXPECT_EQ(TarnOmKeymEncrypt("owner", "p", 1, output, &number), error);
        EXPECT_EQ(TarnOmCustUtilGetStoragePath(), nullptr);
    }
}

TEST(UnusableDirectory, IsToldWithItsErrorAndOnce) {
    EXPECT_EQ(runForked([] {
                  const CaughtErrors errors;
                  setenv("TARN_HOST_DIR", "/dev/null/below", 1);
                  expectAll(ENOTDIR);
                  EXPECT_EQ(errors.mentions("cannot use the directory /dev/null/below: Not a directory"), 1);
                  EXPECT_EQ(errors.mentions(""), 1);
                  return 0;
              }),
              0);
}

TEST(UnusableDirectory, OfAServiceIsToldOnceUntilItIsMended) {
    EXPECT_EQ(runForked([] {
                  const CaughtErrors errors;
                  const std::string own = std::string(std::getenv("TARN_HOST_DIR")) + "/unusable";
                  setenv("TARN_HOST_DIR", own.c_str(), 1);
                  std::filesystem::create_directory(own);
                  std::filesystem::permissions(own, std::filesystem::perms::owner_all);
                  for (const char* name : {"msg", "keys", "storage"}) {
                      std::filesystem::create_symlink("/dev/null", own + "/" + name);
                  }
                  expectAll(ENOTDIR);
                  EXPECT_EQ(errors.mentions(""), 3);
                  std::filesystem::remove(own + "/storage");
                  EXPECT_NE(TarnOmCustUtilGetStoragePath(), nullptr);
                  return 0;
              }),
              0);
}

} // namespace
