// Peers that must be kept out: other users and other images.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "message/message_support.h"

namespace {

using namespace message_test;

constexpr uid_t kNobody = 65534;

// A bare socket, bound or connected to a receiver's address.
template <typename Use>
int rawSocket(const std::string& name, Use use) {
    const int file = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    messageFile(name + ".socket").copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(use(file, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << std::strerror(errno);
    return file;
}

// Whether a receiver closes the connection, whatever it says before.
bool isTurnedAway() {
    const int file = rawSocket("guarded", connect);
    char buffer[4096];
    pollfd readable = {file, POLLIN, 0};
    ssize_t got = 1;
    while (got > 0 && poll(&readable, 1, 10000) > 0) {
        got = recv(file, buffer, sizeof buffer, 0);
    }
    close(file);
    return got <= 0;
}

// A receiver whose standard error is caught.
class MessagePeer : public testing::Test {
 protected:
    CaughtErrors errors_;
    Receiver receiver_{"guarded"};
};

// Runs the other program; its exit code.
int runStranger(const char* name, const std::string& directory = TarnHostDir()) {
    return runForked([&] {
        setenv("TARN_HOST_DIR", directory.c_str(), 1);
        execl(MESSAGE_STRANGER, MESSAGE_STRANGER, name, nullptr);
        return 127;
    });
}

TEST_F(MessagePeer, AnotherImageIsRefusedAndToldWhy) {
    const CaughtErrors strangers;
    EXPECT_EQ(runStranger("guarded"), ENOEXEC);
    EXPECT_EQ(strangers.mentions(" cannot call process host_message (pid " + std::to_string(receiver_.pid()) +
                                 "): the main program is another build there"),
              1)
        << strangers.text();
    EXPECT_EQ(strangers.mentions(""), 1);
}

TEST(MessageDirectory, MayHaveALongName) {
    std::string directory = TarnHostDir();
    while (directory.size() < 200) {
        directory += "/a-directory-with-a-long-name";
        std::filesystem::create_directory(directory);
    }
    EXPECT_EQ(runStranger(nullptr, directory), 0);
}

TEST_F(MessagePeer, OfAnotherUserIsKeptOut) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    // What keeps others out first are the directories; here only the check of the peer is wanted.
    const auto setDirectories = [](mode_t mode) {
        return chmod(TarnHostDir(), mode) | chmod(messageFile("").c_str(), mode);
    };
    ASSERT_EQ(setDirectories(0711) | chmod(messageFile("guarded.socket").c_str(), 0777), 0);
    EXPECT_EQ(runForked([] { return setuid(kNobody) == 0 && isTurnedAway() ? 0 : 1; }), 0);
    EXPECT_EQ(errors_.mentions("refused a process of user 65534"), 1);
    EXPECT_EQ(call("guarded", order(kEcho)).code, 0U);

    const Child imposter([&] {
        const int socket = rawSocket("imposter", bind);
        return setuid(kNobody) == 0 && listen(socket, 5) == 0; // who listens is the peer
    });
    expectAll(EPERM, {call("imposter", order(kEcho)).code, post("imposter", order(kEcho))});
    std::filesystem::remove(messageFile("imposter.socket"));
    EXPECT_EQ(setDirectories(0700), 0);
}

} // namespace
