// Peers that must be kept out: other users and other images.
#include <sys/socket.h>
#include <sys/un.h>

#include "message/message_support.h"

namespace {

using namespace message_test;

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
    inFork([] {
        EXPECT_EQ(setuid(65534), 0);
        const int file = rawSocket("guarded", connect);
        char byte = 0;
        while (recv(file, &byte, 1, 0) > 0) {
        } // What the receiver says before it closes the connection; one that does not ends this by the alarm.
    });
    EXPECT_EQ(errors_.mentions("refused a process of user 65534"), 1);
    EXPECT_EQ(call("guarded", order(kEcho)).code, 0U);

    const Child imposter([&] {
        const int socket = rawSocket("imposter", bind);
        return setuid(65534) == 0 && listen(socket, 5) == 0; // who listens is the peer
    });
    expectAll(EPERM, {call("imposter", order(kEcho)).code, post("imposter", order(kEcho))});
    std::filesystem::remove(messageFile("imposter.socket"));
    EXPECT_EQ(setDirectories(0700), 0);
}

} // namespace
