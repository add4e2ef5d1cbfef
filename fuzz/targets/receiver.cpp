// The receiving side of the host platform's sockets: a process that connects and sends frames, whole, broken and in
// pieces. What is delivered and answered is what plain reading of the same bytes finds.
#include <cerrno>
#include <cstring>
#include <mutex>

#include "frame.h"
#include "host_run.h"
#include "target.h"
#include "tarn_host/host_message.h"

namespace {

using namespace tarn::fuzz;

constexpr const char* kName = "fuzzed";
constexpr uint32_t kBlockCall = 2;
constexpr size_t kPointer = 20 + 72;

struct Delivered {
    bool wanted = false;
    uint32_t kind = 0;
    Bytes payload;
};

std::mutex deliveredMutex;
std::vector<Delivered> delivered;

// A first byte that is odd has the call go without an answer.
bool isAnswered(const Bytes& payload) {
    return payload.empty() || payload[0] % 2 == 0;
}

void onRecord(OsMsgRecord* record) {
    const auto* const start = static_cast<const uint8_t*>(record->payload);
    const Bytes payload(start, start + record->payloadLength);
    FUZZ_CHECK(std::memchr(record->senderName, '\0', sizeof record->senderName) != nullptr);
    if (record->responseWanted == 1 && isAnswered(payload)) {
        FUZZ_CHECK(OsMsgSynSendResp(record, record->payload, record->payloadLength) == 0);
        FUZZ_CHECK(OsMsgSynSendResp(record, record->payload, record->payloadLength) == EINVAL);
    }
    const std::lock_guard lock(deliveredMutex);
    delivered.push_back({record->responseWanted == 1, record->kind, payload});
}

// What a sender of this program says first, taken from one.
Bytes captureIntroduction() {
    const Socket listening = listenAs("listener");
    Bytes payload = {1};
    const OsMsgRecord record = makeRecord("listener", 1, payload);
    FUZZ_CHECK(OsMsgAsynSend(&record) == 0);
    const std::optional<Frame> hello = acceptFrom(listening).receiveFrame();
    FUZZ_CHECK(hello.has_value() && hello->header.type == kHello);
    return encode(*hello);
}

const Bytes& introduction() {
    static const Bytes bytes = [] {
        useHostDirectory();
        Bytes captured = captureIntroduction();
        FUZZ_CHECK(OsMsgReceiverStart(kName, onRecord) == 0);
        return captured;
    }();
    return bytes;
}

// No pointer of a sender's arrives where a block may be attached.
Bytes withoutPointer(const Frame& frame) {
    Bytes payload = frame.payload;
    uint32_t dataLength = 0;
    if (payload.size() >= kPointer + sizeof(void*)) {
        std::memcpy(&dataLength, payload.data() + 16, sizeof dataLength);
        if (frame.header.kind == kBlockCall && dataLength >= 80) {
            std::memset(payload.data() + kPointer, 0, sizeof(void*));
        }
    }
    return payload;
}

// What comes of a frame: a record, or, without any record, the account of the process's memory as answer.
using Outcome = std::optional<Delivered>;

struct Expected {
    std::vector<Outcome> outcomes;
    bool foreign = false; // The sender introduces itself as somebody else, who may be let in or not.
};

Expected expect(std::span<const uint8_t> bytes) {
    Expected expected;
    bool greeted = false;
    Frame frame;
    while (takeFrame(bytes, frame) == Reading::kWhole) {
        const uint16_t type = frame.header.type;
        const bool hello = type == kHello;
        const bool account = type == kAccount && frame.payload.empty();
        if ((!hello && !account && type != kCall && type != kPost) || frame.header.blockLength != 0) {
            break;
        }
        if (account) {
            expected.outcomes.emplace_back();
            continue;
        }
        if (hello == greeted) {
            break;
        }
        greeted = true;
        if (!hello) {
            expected.outcomes.emplace_back(Delivered{type == kCall, frame.header.kind, withoutPointer(frame)});
        } else if (encode(frame) != introduction()) {
            expected.foreign = true;
        }
    }
    return expected;
}

void checkDeliveries(const std::vector<Outcome>& outcomes) {
    size_t count = 0;
    for (const Outcome& outcome : outcomes) {
        if (outcome) {
            FUZZ_CHECK(count < delivered.size());
            FUZZ_CHECK(delivered[count].wanted == outcome->wanted && delivered[count].kind == outcome->kind);
            FUZZ_CHECK(delivered[count].payload == outcome->payload);
            ++count;
        }
    }
    FUZZ_CHECK(delivered.size() == count);
}

// An answer with the same payload for each call that is answered, a failure for each other.
void checkAnswers(std::span<const uint8_t> bytes, const std::vector<Outcome>& outcomes) {
    constexpr size_t kLeastAccount = 48;
    Frame frame;
    for (const Outcome& outcome : outcomes) {
        if (outcome && !outcome->wanted) {
            continue;
        }
        FUZZ_CHECK(takeFrame(bytes, frame) == Reading::kWhole && frame.block.empty());
        if (!outcome) {
            FUZZ_CHECK(frame.header.type == kAnswer && frame.payload.size() >= kLeastAccount);
        } else if (isAnswered(outcome->payload)) {
            FUZZ_CHECK(frame.header.type == kAnswer && frame.payload == outcome->payload);
            FUZZ_CHECK(frame.header.kind == outcome->kind);
        } else {
            FUZZ_CHECK(frame.header.type == kFailure && frame.header.code == ENOMSG);
        }
    }
    FUZZ_CHECK(bytes.empty());
}

void fuzzReceiver(std::span<const uint8_t> bytes) {
    Input input(bytes);
    const Bytes& hello = introduction();
    const uint8_t manner = input.byte();
    Bytes sent = manner % 4 == 0 ? Bytes() : hello;
    if (manner % 4 == 3) {
        const std::span<const uint8_t> raw = input.rest();
        sent.insert(sent.end(), raw.begin(), raw.end());
    }
    while (!input.empty()) {
        const Bytes frame = makeFrame(input);
        sent.insert(sent.end(), frame.begin(), frame.end());
    }
    {
        const std::lock_guard lock(deliveredMutex);
        delivered.clear();
    }
    Bytes answers;
    {
        const Socket connection = connectTo(kName);
        connection.send(sent, manner / 4U);
        connection.end();
        answers = connection.receiveAll();
    }
    const std::lock_guard lock(deliveredMutex);
    const Expected expected = expect(sent);
    if (expected.foreign) {
        FUZZ_CHECK(delivered.size() <= expected.outcomes.size());
        return;
    }
    checkDeliveries(expected.outcomes);
    checkAnswers(answers, expected.outcomes);
}

const Target target("receiver", fuzzReceiver);

} // namespace
