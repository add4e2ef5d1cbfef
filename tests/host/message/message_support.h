// Processes and records for the message tests.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tarn_host/host_message.h"

namespace message_test {

using Bytes = std::vector<uint8_t>;

// A forked process. It runs `body`, says that it is ready when that returns true, and sleeps; or ends with failure.
class Child {
 public:
    explicit Child(const std::function<bool()>& body);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child();

    pid_t pid() const { return pid_; }
    void signal(int number) const { kill(pid_, number); }
    // Kills it and waits for its end.
    void end();

 private:
    pid_t pid_ = -1;
};

// Runs `body` in a forked process to its end and returns what it returned; -1 when it died.
int runForked(const std::function<int()>& body);

// What the callback `obey` is asked for, in the first bytes of a payload.
enum Command : uint32_t {
    kEcho,          // Answers with the payload as it came.
    kSleepThenEcho, // Waits `argument` milliseconds first.
    kKeepSilent,    // Returns without an answer.
    kDie,           // Is killed inside the callback.
    kRemember,      // Appends `argument` to the process's list of numbers.
    kRecall,        // Answers with that list and empties it.
    kAnswerTwice,   // Answers with the code of the second answer.
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

struct AnswerFree {
    void operator()(OsMsgRecord* answer) const { OsMsgSynRespFree(answer); }
};
using AnswerPointer = std::unique_ptr<OsMsgRecord, AnswerFree>;

struct Result {
    uint32_t code;
    AnswerPointer answer;
    Bytes bytes() const;
    uint32_t number() const; // The answer's first four bytes.
};

OsMsgRecord makeRecord(const std::string& receiver, Bytes& payload, uint32_t kind = 1);
Result call(const std::string& receiver, Bytes payload, uint32_t timeoutMs = 20000, uint32_t kind = 1);
uint32_t post(const std::string& receiver, Bytes payload);

// Milliseconds that `body` takes.
template <typename Body>
int64_t elapsedMs(Body body) {
    const auto start = std::chrono::steady_clock::now();
    body();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

// Longer than anything that happens "at once" on a busy machine, shorter than any timeout of the tests.
constexpr int64_t kAtOnceMs = 2000;

} // namespace message_test
