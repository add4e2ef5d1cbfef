// Receivers: names, start and stop, lists, and forks.
#include <sys/socket.h>

#include <algorithm>
#include <ctime>

#include "message/message_support.h"

namespace {

using namespace message_test;

uint32_t echo(const char* name) {
    return call(name, order(kEcho)).code;
}

uint32_t startInFork(const char* name) {
    return static_cast<uint32_t>(runForked([&] { return static_cast<int>(OsMsgReceiverStart(name, obey)); }));
}

TEST(MessageReceiver, HoldsItsNameAloneUntilItStops) {
    expectAll(kInvalid, {OsMsgReceiverStart("server", nullptr), OsMsgReceiverStart("../server", obey)});
    EXPECT_EQ(OsMsgReceiverStop("server"), uint32_t{ENOENT});
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    EXPECT_EQ(OsMsgReceiverStart("server", obey), uint32_t{EADDRINUSE});
    EXPECT_EQ(startInFork("server"), uint32_t{EADDRINUSE});
    EXPECT_EQ(echo("server"), 0U) << "the attempts left it alone";
    EXPECT_EQ(OsMsgReceiverStop("server"), 0U);
    EXPECT_EQ(echo("server"), uint32_t{ECONNREFUSED});
    EXPECT_FALSE(std::filesystem::exists(messageFile("server.socket")));
    EXPECT_EQ(std::filesystem::status(messageFile("")).permissions(), std::filesystem::perms::owner_all);

    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    EXPECT_EQ(call("server", order(kStop)).number(), 0U) << "the record being handled is still answered";
    EXPECT_EQ(echo("server"), uint32_t{ECONNREFUSED});
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    EXPECT_EQ(OsMsgReceiverStop("server"), 0U);
}

TEST(MessageReceiver, StopTellsWaitingSenders) {
    ASSERT_EQ(OsMsgReceiverStart("server", obey), 0U);
    const std::jthread handled([] { EXPECT_EQ(call("server", order(kSleepThenEcho, 300)).code, 0U); });
    usleep(100000);
    const std::jthread waiting([] { inThreads(3, [](size_t) { EXPECT_EQ(echo("server"), uint32_t{ECONNRESET}); }); });
    usleep(100000);
    EXPECT_EQ(OsMsgReceiverStop("server"), 0U);
}

TEST(MessageReceiver, IsListed) {
    ASSERT_EQ(OsMsgReceiverStart("own", obey), 0U);
    const Receiver server("server");
    writeFile(messageFile("stale.lock"), "1\n");
    ASSERT_EQ(mkfifo(messageFile("pipe.lock").c_str(), 0600), 0); // must not hold up anything
    TarnHostReceiver all[4] = {};
    uint32_t count = 0;
    EXPECT_EQ(TarnHostReceiverList(all, 4, &count), 0U);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(all[0].name, "own");
    EXPECT_STREQ(all[1].name, "server");
    EXPECT_EQ(static_cast<pid_t>(all[1].pid), server.pid());
    EXPECT_LE(std::abs(static_cast<int64_t>(all[1].startTime) - std::time(nullptr)), 60);
    EXPECT_NE(OsMsgReceiverStart("pipe", obey), 0U);
    // Listing opens lock files; it must not have dropped our own.
    EXPECT_EQ(startInFork("own"), uint32_t{EADDRINUSE});
    EXPECT_EQ(OsMsgReceiverStop("own"), 0U);
    std::filesystem::remove(messageFile("stale.lock"));
    std::filesystem::remove(messageFile("pipe.lock"));
}

TEST(MessageReceiver, AForkedChildStartsClean) {
    const Receiver server("server");
    ASSERT_EQ(OsMsgReceiverStart("own", obey), 0U);
    ASSERT_EQ(echo("server"), 0U);
    ASSERT_EQ(echo("own"), 0U);
    inFork([] {
        EXPECT_EQ(openDescriptors("socket:"), 0U);
        EXPECT_EQ(OsMsgReceiverStop("own"), uint32_t{ENOENT});
        EXPECT_EQ(echo("server"), 0U);
        EXPECT_EQ(echo("own"), 0U);
#ifndef __SANITIZE_THREAD__ // It takes a new thread on the stack of one that stayed in the parent for a double.
        EXPECT_EQ(OsMsgReceiverStart("childs", obey), 0U);
        EXPECT_EQ(echo("childs"), 0U);
        EXPECT_EQ(OsMsgReceiverStop("childs"), 0U);
#endif
    });
    EXPECT_EQ(echo("server"), 0U);
    EXPECT_EQ(OsMsgReceiverStop("own"), 0U);

    // Beside threads that send, start and stop; the children must neither hang nor disturb them.
    const std::jthread restarting = meanwhileForking([] {
        EXPECT_EQ(OsMsgReceiverStart("own", obey), 0U);
        EXPECT_EQ(echo("own"), 0U);
        EXPECT_EQ(OsMsgReceiverStop("own"), 0U);
    });
    // A new thread has a connection of its own.
    const std::jthread sending = meanwhileForking(
        [] { inThreads(1, [](size_t) { EXPECT_EQ(call("server", order(kEcho, 0, 9000)).code, 0U); }); });
    for (int i = 0; i < 20; i++) {
        EXPECT_EQ(runForked([] { return static_cast<int>(call("server", order(kEcho), 10000).code); }), 0);
    }
}

// Copies of the receivers' ends of this process's connections.
std::vector<int> copiesOfServedSockets() {
    std::vector<int> served;
    for (int descriptor = 3; descriptor < 200; ++descriptor) {
        sockaddr_storage address;
        socklen_t own = sizeof address;
        socklen_t peer = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (getpeername(descriptor, generic, &peer) == 0 && getsockname(descriptor, generic, &own) == 0 && own > peer) {
            served.push_back(descriptor);
        }
    }
    std::ranges::transform(served, served.begin(), dup);
    return served;
}

// As a child has them between its fork and its first step.
TEST(MessageReceiver, ForgetsAConnectionOfWhichACopyStaysOpen) {
    ASSERT_EQ(OsMsgReceiverStart("own", obey), 0U);
    std::vector<int> copies;
    inThreads(1, [&](size_t) {
        EXPECT_EQ(echo("own"), 0U);
        copies = copiesOfServedSockets();
    });
    EXPECT_EQ(copies.size(), 1U);
    const std::clock_t before = std::clock();
    usleep(200000);
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10) << "it is told of the connection again and again";
    EXPECT_EQ(echo("own"), 0U);
    EXPECT_EQ(OsMsgReceiverStop("own"), 0U);
    for (const int copy : copies) {
        close(copy);
    }
}

// The child returns into the parent's receiver, which must not go on there.
void forkInside(OsMsgRecord* record) {
    const pid_t pid = fork();
    if (pid != 0) {
        const int code = endOf(pid);
        OsMsgSynSendResp(record, &code, sizeof code);
    }
}

TEST(MessageReceiver, AChildForkedInTheCallbackDoesNotServe) {
    ASSERT_EQ(OsMsgReceiverStart("forker", forkInside), 0U);
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(call("forker", order(kEcho)).number(), 1U) << "the child's exit code";
    }
    EXPECT_EQ(OsMsgReceiverStop("forker"), 0U);
}

} // namespace
