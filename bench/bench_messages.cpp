// A synchronous call between two processes beside a bare Unix-domain ping-pong of the same size and a D-Bus method
// call, and large payloads beside the bare socket. The bus connection is direct, without a daemon in between: the most
// favourable case for it.
#include <systemd/sd-bus.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ratio.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_msg.h"
#include "tarn_host/host_message.h"

namespace {

constexpr const char* kPeer = "bench-peer";
constexpr size_t kSmall = 64;
constexpr size_t kLarge = size_t{1024} * 1024;
constexpr int kRounds = 40;
constexpr int kSmallCalls = 500;
constexpr int kLargeCalls = 10;
constexpr uint32_t kTimeoutMs = 5000;

constexpr double kSmallLimit = 2.0;
constexpr double kLargeLimit = 2.0; // half the throughput
constexpr double kBusLimit = 1.0;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench_messages: %s failed\n", what);
    std::exit(1);
}

uint32_t echo(uint32_t, void*, uint32_t) {
    return 0;
}

void onRecord(OsMsgRecord* record) {
    ConfCommMsgProcess(record);
}

bool readWhole(int descriptor, char* bytes, size_t count) {
    while (count > 0) {
        const ssize_t got = recv(descriptor, bytes, count, 0);
        if (got <= 0) {
            return false;
        }
        bytes += got;
        count -= static_cast<size_t>(got);
    }
    return true;
}

bool writeWhole(int descriptor, const char* bytes, size_t count) {
    while (count > 0) {
        const ssize_t sent = send(descriptor, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) {
            return false;
        }
        bytes += sent;
        count -= static_cast<size_t>(sent);
    }
    return true;
}

// A child process that serves until its link to this one closes; killed at the end.
class Peer {
 public:
    template <typename Serve>
    explicit Peer(Serve serve) {
        std::array<int, 2> ends = {};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
            fail("socketpair");
        }
        pid_ = fork();
        if (pid_ == 0) {
            close(ends[0]);
            serve(ends[1]);
            _exit(0);
        }
        close(ends[1]);
        link_ = ends[0];
    }
    ~Peer() {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        close(link_);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    int link() const { return link_; }

 private:
    pid_t pid_ = -1;
    int link_ = -1;
};

void serveCalls(int link) {
    if (OsMsgReceiverStart(kPeer, onRecord) != 0) {
        return;
    }
    char ready = 1;
    writeWhole(link, &ready, 1);
    readWhole(link, &ready, 1); // returns when the other end closes
}

template <size_t kBytes>
void serveBare(int link) {
    std::vector<char> bytes(kBytes);
    while (readWhole(link, bytes.data(), kBytes) && writeWhole(link, bytes.data(), kBytes)) {
    }
}

int onBusEcho(sd_bus_message* message, void*, sd_bus_error*) {
    const void* bytes = nullptr;
    size_t count = 0;
    sd_bus_message_read_array(message, 'y', &bytes, &count);
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(message, &reply);
    sd_bus_message_append_array(reply, 'y', bytes, count);
    const int result = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return result;
}

const sd_bus_vtable kBusTable[] = {SD_BUS_VTABLE_START(0),
                                   SD_BUS_METHOD("Echo", "ay", "ay", onBusEcho, SD_BUS_VTABLE_UNPRIVILEGED),
                                   SD_BUS_VTABLE_END};

void serveBus(int link) {
    sd_bus* bus = nullptr;
    sd_id128_t id = {};
    sd_id128_randomize(&id);
    if (sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, link, link) < 0 || sd_bus_set_server(bus, 1, id) < 0 ||
        sd_bus_start(bus) < 0 ||
        sd_bus_add_object_vtable(bus, nullptr, "/bench", "tarn.Bench", kBusTable, nullptr) < 0) {
        return;
    }
    while (true) {
        const int handled = sd_bus_process(bus, nullptr);
        if (handled < 0) {
            return;
        }
        if (handled == 0) {
            sd_bus_wait(bus, UINT64_MAX);
        }
    }
}

sd_bus* connectBus(int link) {
    sd_bus* bus = nullptr;
    if (sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, link, link) < 0 || sd_bus_start(bus) < 0) {
        fail("sd_bus_start");
    }
    return bus;
}

void callBus(sd_bus* bus, const std::vector<char>& bytes) {
    sd_bus_message* call = nullptr;
    sd_bus_message* reply = nullptr;
    if (sd_bus_message_new_method_call(bus, &call, nullptr, "/bench", "tarn.Bench", "Echo") < 0 ||
        sd_bus_message_append_array(call, 'y', bytes.data(), bytes.size()) < 0 ||
        sd_bus_call(bus, call, uint64_t{kTimeoutMs} * 1000, nullptr, &reply) < 0) {
        fail("sd_bus_call");
    }
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
}

void callPeer(std::vector<char>& bytes) {
    if (ConfCommMsgSynSendImpl(kPeer, echo, 1, bytes.data(), static_cast<uint32_t>(bytes.size()), kTimeoutMs) != 0) {
        fail("ConfCommMsgSynSendImpl");
    }
}

void pingPong(int link, std::vector<char>& bytes) {
    if (!writeWhole(link, bytes.data(), bytes.size()) || !readWhole(link, bytes.data(), bytes.size())) {
        fail("bare ping-pong");
    }
}

class Durations {
 public:
    template <typename Call>
    void measure(int calls, Call call) {
        for (int i = 0; i < calls; ++i) {
            const double start = tarn::bench::now(CLOCK_MONOTONIC);
            call();
            seconds_.push_back(tarn::bench::now(CLOCK_MONOTONIC) - start);
        }
    }

    double quantile(double share) {
        const auto at = static_cast<size_t>(share * static_cast<double>(seconds_.size()));
        const size_t index = std::min(at, seconds_.size() - 1);
        std::ranges::nth_element(seconds_, seconds_.begin() + static_cast<long>(index));
        return seconds_[index];
    }

    void print(const char* name) {
        std::printf("%-28s p50 %8.1f us   p99 %8.1f us   p99.9 %8.1f us\n", name, quantile(0.5) * 1e6,
                    quantile(0.99) * 1e6, quantile(0.999) * 1e6);
    }

 private:
    std::vector<double> seconds_;
};

bool smallCalls(int bareLink, sd_bus* bus) {
    std::vector<char> bytes(kSmall);
    Durations call;
    Durations bare;
    Durations message;
    for (int round = 0; round < kRounds; ++round) {
        call.measure(kSmallCalls, [&] { callPeer(bytes); });
        bare.measure(kSmallCalls, [&] { pingPong(bareLink, bytes); });
        message.measure(kSmallCalls, [&] { callBus(bus, bytes); });
    }
    call.print("synchronous call, 64 bytes");
    bare.print("bare ping-pong, 64 bytes");
    message.print("D-Bus method call, 64 bytes");
    const bool toBare = tarn::bench::holds("synchronous call to bare ping-pong, 64 bytes",
                                           call.quantile(0.5) / bare.quantile(0.5), kSmallLimit);
    const bool toBus = tarn::bench::holds("synchronous call to D-Bus method call, 64 bytes",
                                          call.quantile(0.5) / message.quantile(0.5), kBusLimit);
    return toBare && toBus;
}

bool largeCalls(int bareLink) {
    std::vector<char> bytes(kLarge);
    Durations call;
    Durations bare;
    for (int round = 0; round < kRounds; ++round) {
        call.measure(kLargeCalls, [&] { callPeer(bytes); });
        bare.measure(kLargeCalls, [&] { pingPong(bareLink, bytes); });
    }
    call.print("synchronous call, 1 MiB");
    bare.print("bare ping-pong, 1 MiB");
    return tarn::bench::holds("synchronous call to bare ping-pong, 1 MiB", call.quantile(0.5) / bare.quantile(0.5),
                              kLargeLimit);
}

bool measureAll() {
    const Peer callPeerProcess(serveCalls);
    const Peer smallBare(serveBare<kSmall>);
    const Peer largeBare(serveBare<kLarge>);
    const Peer busPeer(serveBus);
    char ready = 0;
    if (!readWhole(callPeerProcess.link(), &ready, 1)) {
        fail("the receiver");
    }
    sd_bus* const bus = connectBus(dup(busPeer.link()));
    const bool small = smallCalls(smallBare.link(), bus);
    const bool large = largeCalls(largeBare.link());
    sd_bus_unref(bus);
    return small && large;
}

} // namespace

int main() {
    std::string directory = (std::filesystem::temp_directory_path() / "tarn-bench-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr || setenv("TARN_HOST_DIR", directory.c_str(), 1) != 0) {
        fail("making a host directory");
    }
    const bool all = measureAll();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return all ? 0 : 1;
}
