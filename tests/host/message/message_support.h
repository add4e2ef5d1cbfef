// Receivers and records for the message tests.
#pragma once

#include "support/host_test.h"
#include "tarn_host/host_message.h"

namespace message_test {

using namespace tarn::test;
using Bytes = std::vector<uint8_t>;
using Numbers = std::vector<uint32_t>;

// What the callback `obey` is asked for, in the first bytes of a payload.
enum Command : uint32_t {
    kEcho,          // Answers with the payload as it came.
    kSleepThenEcho, // Waits `argument` milliseconds first.
    kKeepSilent,    // Returns without an answer.
    kDie,           // Is killed inside the callback.
    kRemember,      // Appends `argument` to the process's list of numbers.
    kRecall,        // Answers with that list and empties it.
    kCallSelf,      // Answers with the code of a call to its own receiver.
    kStop,          // Stops its receiver inside the callback and answers with the code.
};

struct Order {
    uint32_t command;
    uint32_t argument;
};

// The record callback of the tests' receivers.
void obey(OsMsgRecord* record);

Bytes order(Command command, uint32_t argument = 0, size_t size = sizeof(Order));

// A process that receives.
struct Receiver : Child {
    explicit Receiver(const char* name, void (*onRecord)(OsMsgRecord*) = obey)
        : Child([=] { return OsMsgReceiverStart(name, onRecord) == 0; }) {}
};

struct Result {
    uint32_t code;
    OsMsgRecord answer; // Its payload is gone.
    Bytes bytes;
    uint32_t number() const; // The first four bytes.
};

OsMsgRecord makeRecord(const std::string& receiver, Bytes& payload, uint32_t kind = 1);
Result call(const std::string& receiver, Bytes payload, uint32_t timeoutMs = 20000, uint32_t kind = 1);
uint32_t post(const std::string& receiver, Bytes payload);

// Posts a number for the receiver to remember, in a message of so many bytes; takes back all that it remembers.
uint32_t remember(const std::string& receiver, uint32_t number, size_t size = sizeof(Order));
Numbers recall(const std::string& receiver);

// Below the directory of the messages.
std::string messageFile(const std::string& name);

// Milliseconds that `body` takes.
template <typename Body>
int64_t elapsedMs(Body body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

constexpr size_t kMiB = size_t{1} << 20;

// Longer than anything that happens "at once" on a busy machine, shorter than any timeout of the tests.
constexpr int64_t kAtOnceMs = 2000;

} // namespace message_test
