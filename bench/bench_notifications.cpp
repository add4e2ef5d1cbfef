// Multi-packet delivery hands out pointers into the caller's data: 32 MiB take as long as their packets take to
// announce, whatever is in them.
#include <cstdio>
#include <vector>

#include "ratio.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_notify.h"

namespace {

constexpr double kLengthLimit = 1.5;
constexpr double kCallbackLimit = 3.0;
constexpr uint32_t kShortLast = 8 * CONF_NOTIFY_PACKET_BYTES + 1; // as many packets as the longest

uint64_t seen = 0;

uint32_t onNotify(uint32_t id, void* data, uint32_t length, uint32_t result) {
    benchmark::DoNotOptimize(data);
    seen += id + length + result;
    return 0;
}

void deliver(std::vector<uint8_t>& bytes, uint32_t length) {
    ConfCommSendMultiPackNotifyToApp(1, bytes.data(), length);
}

bool ratios() {
    std::vector<uint8_t> bytes(CONF_NOTIFY_MAX_BYTES);
    const double length =
        tarn::bench::medianRatio([&] { deliver(bytes, CONF_NOTIFY_MAX_BYTES); }, [&] { deliver(bytes, kShortLast); });
    const double callbacks = tarn::bench::medianRatio([&] { deliver(bytes, CONF_NOTIFY_MAX_BYTES); },
                                                      [&] {
                                                          for (int packet = 0; packet < 10; ++packet) {
                                                              ConfCommSendNotifyToApp(1, bytes.data(), 1);
                                                          }
                                                      });
    const bool first = tarn::bench::holds("32 MiB to as many packets with 1 byte in the last", length, kLengthLimit);
    return tarn::bench::holds("32 MiB to ten bare deliveries", callbacks, kCallbackLimit) && first;
}

void multiPacket(benchmark::State& state) {
    std::vector<uint8_t> bytes(CONF_NOTIFY_MAX_BYTES);
    for ([[maybe_unused]] auto iteration : state) {
        deliver(bytes, static_cast<uint32_t>(state.range(0)));
    }
}
BENCHMARK(multiPacket)->Arg(4096)->Arg(CONF_NOTIFY_PACKET_BYTES)->Arg(CONF_NOTIFY_MAX_BYTES);

} // namespace

int main(int argc, char** argv) {
    SetLogLevel(CONF_LOG_ERROR);
    ConfRegisterNotifyFunc(onNotify);
    return tarn::bench::runAll(argc, argv, ratios);
}
