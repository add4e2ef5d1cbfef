// Peers that must be kept out: other users, other images, and connections that do not speak the protocol.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "message/frame.h"
#include "message/message_support.h"

namespace {

using namespace message_test;
using tarn::host::FrameHeader;
using tarn::host::FrameType;

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

// Whether a receiver that gets these bytes closes the connection, whatever it says before.
bool isClosedAfter(const Bytes& bytes, bool isCutOff = false) {
    const int file = rawSocket("guarded", connect);
    if (!bytes.empty()) {
        EXPECT_EQ(send(file, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    if (isCutOff) {
        shutdown(file, SHUT_WR);
    }
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

Bytes bytesOf(FrameHeader header, size_t payload = 0) {
    Bytes bytes(sizeof header + payload);
    std::memcpy(bytes.data(), &header, sizeof header);
    return bytes;
}

FrameHeader headerOf(FrameType type, uint32_t length = 0) {
    FrameHeader header;
    header.type = type;
    header.payloadLength = length;
    return header;
}

TEST_F(MessagePeer, MalformedConnectionsAreClosed) {
    std::array<FrameHeader, 4> spoiled;
    spoiled.fill(headerOf(FrameType::kHello));
    spoiled[0].magic++;
    spoiled[1].version++;
    std::memset(spoiled[2].senderName, 'x', OS_MSG_NAME_LEN);
    spoiled[3].type = FrameType::kCall;
    spoiled[3].blockLength = 8;
    const Bytes whole[] = {
        bytesOf(spoiled[0]),
        bytesOf(spoiled[1]),
        bytesOf(spoiled[2]),
        bytesOf(spoiled[3]),
        bytesOf(headerOf(FrameType::kCall, 8), 8), // Without an introduction.
        bytesOf(headerOf(FrameType::kHello, 5), 5),
        bytesOf(headerOf(FrameType::kHello, 2U << 20)),
        bytesOf(headerOf(FrameType::kCall, 0xFFFFFFFF)),
        bytesOf(headerOf(FrameType::kAnswer)),
        bytesOf(headerOf(static_cast<FrameType>(99))),
    };
    for (const Bytes& bytes : whole) {
        EXPECT_TRUE(isClosedAfter(bytes)) << &bytes - whole;
    }
    EXPECT_EQ(errors_.mentions("closed the connection of process"), std::ssize(whole));
    EXPECT_TRUE(isClosedAfter(Bytes(10), true)) << "cut off in the header";
    EXPECT_TRUE(isClosedAfter(bytesOf(headerOf(FrameType::kHello, 1000), 10), true)) << "cut off in the payload";
    EXPECT_EQ(errors_.mentions("in the middle of a message"), 2);
    EXPECT_EQ(call("guarded", order(kEcho)).code, 0U);
}

// Runs the other program; its exit code.
int runStranger(const char* way, const char* name, const std::string& directory = TarnHostDir()) {
    return runForked([&] {
        setenv("TARN_HOST_DIR", directory.c_str(), 1);
        execl(MESSAGE_STRANGER, MESSAGE_STRANGER, way, name, nullptr);
        return 127;
    });
}

TEST_F(MessagePeer, AnotherImageIsRefusedAndToldWhy) {
    for (const char* way : {"call", "post"}) {
        const CaughtErrors strangers;
        EXPECT_EQ(runStranger(way, "guarded"), ENOEXEC) << way;
        EXPECT_EQ(strangers.mentions(""), 1);
        for (const std::string& part :
             {std::string("tarn-host[message_strange]: process message_strange (pid "),
              " cannot call process host_message (pid " + std::to_string(receiver_.pid()) + "): ",
              std::string("the main program is another build there; start both from one image")}) {
            EXPECT_EQ(strangers.mentions(part), 1) << strangers.text();
        }
    }
    EXPECT_EQ(errors_.text(), "");
}

TEST(MessageDirectory, MayHaveALongName) {
    std::string directory = TarnHostDir();
    while (directory.size() < 200) {
        directory += "/a-directory-with-a-long-name";
        std::filesystem::create_directory(directory);
    }
    EXPECT_EQ(runStranger("alone", "", directory), 0);
}

class MessageForeignUser : public MessagePeer {
 protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
        // What keeps others out first are the directories; here only the check of the peer is wanted.
        chmod(TarnHostDir(), 0711);
        chmod(messageFile("").c_str(), 0711);
    }
    void TearDown() override {
        chmod(TarnHostDir(), 0700);
        chmod(messageFile("").c_str(), 0700);
    }
};

TEST_F(MessageForeignUser, IsRefusedByTheReceiver) {
    chmod(messageFile("guarded.socket").c_str(), 0777);
    EXPECT_EQ(runForked([] { return setuid(kNobody) == 0 && isClosedAfter({}) ? 0 : 1; }), 0);
    EXPECT_EQ(errors_.mentions("refused a process of user 65534"), 1);
    EXPECT_EQ(call("guarded", order(kEcho)).code, 0U);
}

TEST_F(MessageForeignUser, IsNotSentTo) {
    const Child imposter([&] {
        const int socket = rawSocket("imposter", bind);
        return setuid(kNobody) == 0 && listen(socket, 5) == 0; // who listens is the peer
    });
    EXPECT_EQ(call("imposter", order(kEcho)).code, uint32_t{EPERM});
    EXPECT_EQ(post("imposter", order(kEcho)), uint32_t{EPERM});
    std::filesystem::remove(messageFile("imposter.socket"));
}

} // namespace
