// Peers that must be kept out: other users, other images, and connections that do not speak the protocol.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "message/frame.h"
#include "message/message_support.h"
#include "tarn_host/host_process.h"

namespace {

using namespace message_test;
using tarn::host::FrameHeader;
using tarn::host::FrameType;

constexpr uid_t kNobody = 65534;

std::string socketFile(const char* name) {
    return std::string(TarnHostDir()) + "/msg/" + name + ".socket";
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int connectRaw(const std::string& path) {
    const int file = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(path);
    EXPECT_EQ(connect(file, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << std::strerror(errno);
    return file;
}

// Whether the other end closes within some seconds, whatever it says before.
bool closes(int file) {
    char buffer[4096];
    pollfd readable = {file, POLLIN, 0};
    while (poll(&readable, 1, 10000) > 0) {
        if (recv(file, buffer, sizeof buffer, 0) <= 0) {
            return true;
        }
    }
    return false;
}

size_t linesWith(const std::string& path, const std::string& text) {
    std::ifstream file(path);
    size_t lines = 0;
    for (std::string line; std::getline(file, line);) {
        lines += line.find(text) != std::string::npos ? 1 : 0;
    }
    return lines;
}

// A receiver whose standard error goes to a file.
struct Guarded {
    explicit Guarded(const std::string& name)
        : log(std::string(TarnHostDir()) + "/" + name + ".txt"), child([&] {
              const int file = open(log.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_APPEND, 0600);
              return file >= 0 && dup2(file, STDERR_FILENO) >= 0 && OsMsgReceiverStart(name.c_str(), obey) == 0;
          }) {}
    std::string log;
    Child child;
};

Bytes bytesOf(const FrameHeader& header, size_t payload = 0) {
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

TEST(MessagePeer, MalformedConnectionsAreClosed) {
    const Guarded guard("guarded");
    FrameHeader badMagic = headerOf(FrameType::kHello);
    badMagic.magic++;
    FrameHeader badVersion = headerOf(FrameType::kHello);
    badVersion.version++;
    FrameHeader unterminated = headerOf(FrameType::kHello);
    std::memset(unterminated.senderName, 'x', sizeof unterminated.senderName);
    FrameHeader block = headerOf(FrameType::kCall);
    block.blockLength = 8;
    const Bytes whole[] = {
        bytesOf(badMagic),
        bytesOf(badVersion),
        bytesOf(unterminated),
        bytesOf(block),
        bytesOf(headerOf(FrameType::kCall, 8), 8), // Without an introduction.
        bytesOf(headerOf(FrameType::kHello, 5), 5),
        bytesOf(headerOf(FrameType::kHello, 2U << 20)),
        bytesOf(headerOf(FrameType::kCall, 0xFFFFFFFF)),
        bytesOf(headerOf(FrameType::kAnswer)),
        bytesOf(headerOf(static_cast<FrameType>(99))),
    };
    for (const Bytes& bytes : whole) {
        const int file = connectRaw(socketFile("guarded"));
        EXPECT_EQ(send(file, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        EXPECT_TRUE(closes(file)) << &bytes - whole;
        close(file);
    }
    EXPECT_EQ(linesWith(guard.log, "closed the connection of process"), std::size(whole));
    // Cut off in the header, and in the payload.
    for (const Bytes& bytes : {Bytes(10), bytesOf(headerOf(FrameType::kHello, 1000), 10)}) {
        const int file = connectRaw(socketFile("guarded"));
        EXPECT_EQ(send(file, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
        shutdown(file, SHUT_WR);
        EXPECT_TRUE(closes(file));
        close(file);
    }
    EXPECT_EQ(linesWith(guard.log, "in the middle of a message"), 2U);
    EXPECT_EQ(call("guarded", order(kEcho)).code, 0U);
}

// Runs the other program with its standard error in `log`; its exit code.
int runStranger(std::vector<std::string> arguments, const std::string& log, const std::string& directory) {
    arguments.insert(arguments.begin(), MESSAGE_STRANGER);
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    std::string setting = "TARN_HOST_DIR=" + directory;
    char* environment[] = {setting.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
    pid_t pid = -1;
    EXPECT_EQ(posix_spawn(&pid, MESSAGE_STRANGER, &actions, nullptr, argv.data(), environment), 0);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(MessagePeer, AnotherImageIsRefusedAndToldWhy) {
    const Guarded guard("guarded");
    const std::string log = std::string(TarnHostDir()) + "/stranger.txt";
    for (const char* way : {"call", "post"}) {
        EXPECT_EQ(runStranger({way, "guarded"}, log, TarnHostDir()), ENOEXEC) << way;
        EXPECT_EQ(linesWith(log, ""), 1U);
        EXPECT_EQ(linesWith(log, "tarn-host[message_strange]: process message_strange (pid "), 1U);
        EXPECT_EQ(linesWith(log, " cannot call process host_message (pid " + std::to_string(guard.child.pid()) + "): "),
                  1U);
        EXPECT_EQ(linesWith(log, "the main program is another build there; start both from one image"), 1U);
    }
    EXPECT_EQ(linesWith(guard.log, ""), 0U);
}

TEST(MessagePeer, WorksBelowALongDirectory) {
    std::string directory = TarnHostDir();
    while (directory.size() < 200) {
        directory += "/a-directory-with-a-long-name";
        std::filesystem::create_directory(directory);
    }
    EXPECT_EQ(runStranger({"alone"}, "/dev/null", directory), 0);
}

class MessageForeignUser : public testing::Test {
 protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become another user";
        }
        // What keeps others out first is the directory; here only the check of the peer is wanted.
        chmod(TarnHostDir(), 0711);
        chmod((std::string(TarnHostDir()) + "/msg").c_str(), 0777);
    }
    void TearDown() override {
        chmod(TarnHostDir(), 0700);
        chmod((std::string(TarnHostDir()) + "/msg").c_str(), 0700);
    }
};

TEST_F(MessageForeignUser, IsRefusedByTheReceiver) {
    const Guarded guard("guarded");
    chmod(socketFile("guarded").c_str(), 0777);
    EXPECT_EQ(runForked([] {
                  if (setuid(kNobody) != 0) {
                      return 1;
                  }
                  const int file = connectRaw(socketFile("guarded"));
                  return closes(file) ? 0 : 2;
              }),
              0);
    EXPECT_EQ(linesWith(guard.log, "refused a process of user 65534"), 1U);
    EXPECT_EQ(call("guarded", order(kEcho)).code, 0U);
}

TEST_F(MessageForeignUser, IsNotSentTo) {
    const std::string path = socketFile("imposter");
    const Child imposter([&] {
        const int file = setuid(kNobody) == 0 ? socket(AF_UNIX, SOCK_STREAM, 0) : -1;
        const sockaddr_un address = addressOf(path);
        return bind(file, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && listen(file, 5) == 0;
    });
    EXPECT_EQ(call("imposter", order(kEcho)).code, uint32_t{EPERM});
    EXPECT_EQ(post("imposter", order(kEcho)), uint32_t{EPERM});
    std::filesystem::remove(path);
}

} // namespace
