// Receivers: names, start and stop, lists, and forks.
#include <errno.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>

#include "message/message_support.h"
#include "tarn_host/host_process.h"

namespace {

using namespace message_test;

// ThreadSanitizer takes a new thread on the stack of one that stayed in the parent for a double.
#ifdef __SANITIZE_THREAD__
constexpr bool kThreadsAfterFork = false;
#else
constexpr bool kThreadsAfterFork = true;
#endif

bool receive() {
    return OsMsgReceiverStart("server", obey) == 0;
}

size_t openSockets() {
    size_t sockets = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const bool own = std::stoi(entry.path().filename()) > STDERR_FILENO;
        sockets += own && read_symlink(entry.path(), gone).string().starts_with("socket:") ? 1 : 0;
    }
    return sockets;
}

TEST(MessageReceiver, HoldsItsNameAlone) {
    EXPECT_EQ(OsMsgReceiverStart(nullptr, obey), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgReceiverStart("server", nullptr), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgReceiverStart("../server", obey), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgReceiverStart("sixteen-letters!", obey), uint32_t{EINVAL});
    EXPECT_EQ(OsMsgReceiverStop("server"), uint32_t{ENOENT});
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    EXPECT_EQ(OsMsgReceiverStart("server", obey), uint32_t{EADDRINUSE});
    EXPECT_EQ(runForked([] { return static_cast<int>(OsMsgReceiverStart("server", obey)); }), EADDRINUSE);
    EXPECT_EQ(call("server", order(kEcho)).code, 0U) << "the attempts left it alone";
    EXPECT_EQ(OsMsgReceiverStop("server"), 0U);
    EXPECT_EQ(call("server", order(kEcho)).code, uint32_t{ECONNREFUSED});
    for (const char* suffix : {".socket", ".lock"}) {
        EXPECT_FALSE(std::filesystem::exists(std::string(TarnHostDir()) + "/msg/server" + suffix));
    }
    struct stat status = {};
    ASSERT_EQ(stat((std::string(TarnHostDir()) + "/msg").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST(MessageReceiver, StopsInsideItsCallback) {
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    EXPECT_EQ(call("server", order(kStop)).number(), 0U) << "the record being handled is still answered";
    EXPECT_EQ(call("server", order(kEcho)).code, uint32_t{ECONNREFUSED});
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    EXPECT_EQ(OsMsgReceiverStop("server"), 0U);
}

TEST(MessageReceiver, StopTellsWaitingSenders) {
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    std::thread handled([] { EXPECT_EQ(call("server", order(kSleepThenEcho, 300)).code, 0U); });
    usleep(100000);
    std::vector<std::thread> waiting;
    for (int i = 0; i < 3; i++) {
        waiting.emplace_back([] { EXPECT_EQ(call("server", order(kEcho)).code, uint32_t{ECONNRESET}); });
    }
    usleep(100000);
    EXPECT_EQ(OsMsgReceiverStop("server"), 0U);
    handled.join();
    for (std::thread& thread : waiting) {
        thread.join();
    }
}

TEST(MessageReceiver, IsListed) {
    ASSERT_EQ(OsMsgReceiverStart("own", obey), 0U);
    const Child server(receive);
    const std::string stale = std::string(TarnHostDir()) + "/msg/stale.lock";
    std::ofstream(stale) << "1\n";
    TarnHostReceiver all[4] = {};
    uint32_t count = 0;
    EXPECT_EQ(TarnHostReceiverList(all, 4, &count), 0U);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(all[0].name, "own");
    EXPECT_EQ(all[0].pid, static_cast<uint32_t>(getpid()));
    EXPECT_STREQ(all[1].name, "server");
    EXPECT_EQ(all[1].pid, static_cast<uint32_t>(server.pid()));
    for (int i = 0; i < 2; i++) {
        EXPECT_LE(std::abs(static_cast<int64_t>(all[i].startTime) - std::time(nullptr)), 60);
    }
    EXPECT_EQ(TarnHostReceiverList(nullptr, 0, &count), 0U);
    EXPECT_EQ(count, 2U);
    EXPECT_EQ(TarnHostReceiverList(nullptr, 1, &count), uint32_t{EINVAL});
    EXPECT_EQ(TarnHostReceiverList(all, 1, nullptr), uint32_t{EINVAL});
    // Listing opens lock files; it must not have dropped our own.
    EXPECT_EQ(runForked([] { return static_cast<int>(OsMsgReceiverStart("own", obey)); }), EADDRINUSE);
    EXPECT_EQ(OsMsgReceiverStop("own"), 0U);
    std::filesystem::remove(stale);
}

TEST(MessageReceiver, AForkedChildStartsClean) {
    const Child server(receive);
    ASSERT_EQ(OsMsgReceiverStart("own", obey), 0U);
    ASSERT_EQ(call("server", order(kEcho)).code, 0U);
    ASSERT_EQ(call("own", order(kEcho)).code, 0U);
    EXPECT_EQ(runForked([] {
                  EXPECT_EQ(openSockets(), 0U);
                  EXPECT_EQ(OsMsgReceiverStop("own"), uint32_t{ENOENT});
                  EXPECT_EQ(call("server", order(kEcho)).code, 0U);
                  EXPECT_EQ(call("own", order(kEcho)).code, 0U);
                  if (kThreadsAfterFork) {
                      EXPECT_EQ(OsMsgReceiverStart("childs", obey), 0U);
                      EXPECT_EQ(call("childs", order(kEcho)).code, 0U);
                      EXPECT_EQ(OsMsgReceiverStop("childs"), 0U);
                  }
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
    EXPECT_EQ(call("server", order(kEcho)).code, 0U);
    EXPECT_EQ(OsMsgReceiverStop("own"), 0U);
}

// Forks beside threads that send, start and stop; the children must neither hang nor disturb them.
TEST(MessageReceiver, ForksBesideBusyThreads) {
    const Child server(receive);
    std::atomic<bool> over = false;
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        while (!over) {
            EXPECT_EQ(OsMsgReceiverStart("own", obey), 0U);
            EXPECT_EQ(call("own", order(kEcho)).code, 0U);
            EXPECT_EQ(OsMsgReceiverStop("own"), 0U);
        }
    });
    threads.emplace_back([&] {
        while (!over) {
            std::thread([] { EXPECT_EQ(call("server", order(kEcho, 0, 9000)).code, 0U); }).join();
        }
    });
    for (int i = 0; i < 20; i++) {
        const pid_t pid = fork();
        if (pid == 0) {
            alarm(20);
            _exit(static_cast<int>(call("server", order(kEcho), 10000).code));
        }
        int status = -1;
        waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
    over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void forkInside(OsMsgRecord* record) {
    const pid_t pid = fork();
    if (pid == 0) {
        return; // Into the parent's receiver, which must not go on here.
    }
    int status = -1;
    waitpid(pid, &status, 0);
    OsMsgSynSendResp(record, &status, sizeof status);
}

TEST(MessageReceiver, AChildForkedInTheCallbackDoesNotServe) {
    ASSERT_EQ(OsMsgReceiverStart("forker", forkInside), 0U);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(call("forker", order(kEcho)).number(), 256U) << "the child's exit code is 1";
    }
    EXPECT_EQ(OsMsgReceiverStop("forker"), 0U);
}

} // namespace
