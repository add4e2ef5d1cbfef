// The answering side of the host platform's sockets: a receiver that answers a call, or the question for the account of
// its memory, with frames, whole, broken and in pieces. What the caller gets is what plain reading of the same bytes
// finds, and later calls are none the worse.
#include <cerrno>
#include <cstring>
#include <thread>

#include "frame.h"
#include "host_run.h"
#include "target.h"
#include "tarn_host/host_memory.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace tarn::fuzz;

constexpr const char* kName = "answers";
constexpr uint32_t kBlockCall = 2;
constexpr uint32_t kTimeoutMs = 15'000; // never waited for
constexpr size_t kDataOffset = 20;
constexpr size_t kBlockHeader = 88;
constexpr size_t kPointer = kDataOffset + 72;

// First bytes of the calls' payloads.
enum Call : uint8_t { kFuzzed, kNext, kLast };

struct Peer {
    const Socket& listening;
    const Bytes& answer;
    size_t piece;
    uint32_t fuzzedCalls = 0;
};

void echo(const Socket& connection, const Frame& request) {
    Frame answer = request;
    answer.header.type = kAnswer;
    connection.send(encode(answer));
}

// Serves one connection; false after the last call.
bool serve(const Socket& connection, Peer& peer) {
    while (const std::optional<Frame> request = connection.receiveFrame()) {
        if (request->header.type == kHello) {
            continue;
        }
        const uint8_t call = request->header.type == kAccount ? uint8_t{kFuzzed} : request->payload.at(0);
        if (call == kFuzzed) {
            ++peer.fuzzedCalls;
            connection.send(peer.answer, peer.piece);
            connection.end();
        } else {
            echo(connection, *request);
        }
        if (call == kLast) {
            return false;
        }
    }
    return true;
}

uint32_t call(Call which, uint32_t kind, OsMsgRecord*& answer) {
    Bytes payload = {which};
    OsMsgRecord record = makeRecord(kName, kind, payload);
    return OsMsgSynSend(&record, &answer, kTimeoutMs);
}

uint32_t failureCode(uint32_t code) {
    constexpr uint32_t kLargestErrno = 4095;
    return code == 0 || code > kLargestErrno ? EPROTO : code;
}

uint32_t expected(std::span<const uint8_t> bytes, uint32_t kind, Frame& frame) {
    const bool hasHeader = bytes.size() >= sizeof frame.header;
    const Reading reading = takeFrame(bytes, frame);
    const bool isFailure = frame.header.type == kFailure;
    if (reading == Reading::kMalformed || (hasHeader && !isFailure && frame.header.type != kAnswer)) {
        return EPROTO;
    }
    if (reading == Reading::kPartial) {
        return ECONNRESET;
    }
    if (isFailure) {
        return failureCode(frame.header.code);
    }
    return frame.header.kind == kind ? 0 : EPROTO;
}

template <typename Number>
Number numberAt(const uint8_t* bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof number);
    return number;
}

// The block that came with the payload, which has its address; the rest of the payload is as it was sent.
void checkPayload(uint8_t* payload, const Frame& frame) {
    const size_t length = frame.payload.size();
    const bool isBlock = frame.header.kind == kBlockCall;
    const uint32_t dataLength = length < kDataOffset ? 0 : numberAt<uint32_t>(payload + 16);
    Bytes wanted = frame.payload;
    if (isBlock && length >= kPointer + sizeof(void*) && dataLength >= kBlockHeader - 8) {
        void* const block = numberAt<void*>(payload + kPointer);
        const bool attached = length >= kDataOffset + kBlockHeader && dataLength >= kBlockHeader;
        FUZZ_CHECK((block != nullptr) == (attached && !frame.block.empty()));
        FUZZ_CHECK(block == nullptr || std::memcmp(block, frame.block.data(), frame.block.size()) == 0);
        std::memcpy(wanted.data() + kPointer, &block, sizeof block);
        if (attached) {
            FUZZ_CHECK(numberAt<uint32_t>(payload + kPointer + 8) == frame.block.size());
            std::memcpy(wanted.data() + kPointer + 8, payload + kPointer + 8, 4);
        }
        OSMemTypeFreeMon(block, 0, 0, __LINE__, "fuzz");
    }
    FUZZ_CHECK(std::equal(wanted.begin(), wanted.end(), payload));
}

void checkFuzzedCall(const Bytes& bytes, uint32_t kind) {
    OsMsgRecord* answer = nullptr;
    const uint32_t result = call(kFuzzed, kind, answer);
    Frame frame;
    FUZZ_CHECK(result == expected(bytes, kind, frame));
    FUZZ_CHECK((answer != nullptr) == (result == 0));
    if (answer == nullptr) {
        return;
    }
    FUZZ_CHECK(answer->kind == kind && answer->payloadLength == frame.payload.size());
    FUZZ_CHECK((answer->payload == nullptr) == frame.payload.empty());
    if (answer->payload != nullptr) {
        checkPayload(static_cast<uint8_t*>(answer->payload), frame);
    }
    OsMsgSynRespFree(answer);
}

struct Site {
    TarnHostMemorySite site;
    std::string name;
};

// The site's head on the wire: its name follows.
struct SiteHead {
    uint32_t line;
    uint32_t nameBytes;
    uint64_t counts[5];
};

// Whether the payload is an account, and its sites.
bool readAccount(std::span<const uint8_t> bytes, std::vector<Site>& sites) {
    constexpr uint32_t kLongestName = 4096;
    if (bytes.size() < sizeof(TarnHostMemoryStatus)) {
        return false;
    }
    bytes = bytes.subspan(sizeof(TarnHostMemoryStatus));
    while (!bytes.empty()) {
        SiteHead head = {};
        if (bytes.size() < sizeof head) {
            return false;
        }
        std::memcpy(&head, bytes.data(), sizeof head);
        bytes = bytes.subspan(sizeof head);
        if (head.nameBytes > kLongestName || head.nameBytes > bytes.size()) {
            return false;
        }
        Site site = {{}, std::string(asText(bytes.first(head.nameBytes)))};
        site.site.line = head.line;
        site.site.totalBytes = head.counts[4];
        sites.push_back(std::move(site));
        bytes = bytes.subspan(head.nameBytes);
    }
    return true;
}

void keepSite(const TarnHostMemorySite* site, void* sites) {
    static_cast<std::vector<Site>*>(sites)->push_back({*site, site->fileName});
}

void checkAccount(const Bytes& bytes) {
    Frame frame;
    std::vector<Site> wanted;
    uint32_t code = expected(bytes, 0, frame);
    if (code == 0 && !readAccount(frame.payload, wanted)) {
        code = EPROTO;
    }
    TarnHostMemoryStatus status;
    std::memset(&status, 0x5A, sizeof status);
    const TarnHostMemoryStatus before = status;
    std::vector<Site> sites;
    FUZZ_CHECK(TarnHostMemoryOf(kName, kTimeoutMs, &status, keepSite, &sites) == code);
    if (code != 0) {
        FUZZ_CHECK(sites.empty() && std::memcmp(&status, &before, sizeof status) == 0);
        return;
    }
    FUZZ_CHECK(std::memcmp(&status, frame.payload.data(), sizeof status) == 0 && sites.size() == wanted.size());
    for (size_t i = 0; i < sites.size(); ++i) {
        FUZZ_CHECK(sites[i].name == wanted[i].name.c_str()); // NOLINT(readability-redundant-string-cstr): up to a NUL
        FUZZ_CHECK(sites[i].site.line == wanted[i].site.line);
        FUZZ_CHECK(sites[i].site.totalBytes == wanted[i].site.totalBytes);
    }
}

void fuzzAnswer(std::span<const uint8_t> bytes) {
    useHostDirectory();
    static const Socket listening = listenAs(kName);
    Input input(bytes);
    const uint8_t manner = input.byte();
    const uint32_t kind = 1 + manner % 2U;
    Bytes sent;
    while (!input.empty()) {
        const Bytes frame = makeFrame(input);
        sent.insert(sent.end(), frame.begin(), frame.end());
    }
    if (manner % 4 == 3) {
        sent.resize(sent.size() / 2);
    }
    constexpr uint8_t kAsksForAccount = 0x80;
    Peer peer = {listening, sent, manner / 4U % 32U, 0};
    std::thread thread([&] {
        while (serve(acceptFrom(listening), peer)) {
        }
    });
    if ((manner & kAsksForAccount) != 0) {
        checkAccount(sent);
    } else {
        checkFuzzedCall(sent, kind);
    }
    // What is left of the broken answer may fail the next call, but no more than that one.
    OsMsgRecord* answer = nullptr;
    call(kNext, kind, answer);
    OsMsgSynRespFree(answer);
    FUZZ_CHECK(call(kLast, kind, answer) == 0 && answer->payloadLength == 1);
    OsMsgSynRespFree(answer);
    thread.join();
    FUZZ_CHECK(peer.fuzzedCalls == 1);
}

const Target target("answer", fuzzAnswer);

} // namespace
