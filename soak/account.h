// What the processes of a soak run tell each other about their work, in memory that all of them share.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tarn::soak {

constexpr size_t kProcesses = 5;
constexpr std::array<const char*, kProcesses> kNames = {"meeting", "panel", "media", "recorder", "gateway"};
// The first ones are never killed, so that their memory can be watched over the whole run.
constexpr size_t kSurvivors = 2;
constexpr size_t kConfigWriter = 0;

// An era ends when a process is killed, or after a while without that.
constexpr uint32_t kEras = 1U << 14U;
constexpr uint32_t kNobody = kProcesses;

enum class Order : uint32_t { kWork, kRest, kEnd };

// What a resting process holds.
struct Holdings {
    uint64_t liveBlocks;
    uint64_t heapBytes;     // without the next
    uint64_t databaseBytes; // of the configuration's database
    uint64_t residentKib;
    uint32_t descriptors;
    uint32_t threads;
};

struct ProcessAccount {
    std::atomic<uint32_t> isUp; // receives; goes to 0 before the process is killed
    std::atomic<uint32_t> starts;
    std::atomic<uint32_t> resting; // how often it has come to rest

    std::atomic<uint64_t> calls; // synchronous, each ends as one of the next three or with the caller's own end
    std::atomic<uint64_t> answered;
    std::atomic<uint64_t> failedCalls; // the receiver was killed or not there
    std::atomic<uint64_t> lostCalls;   // no answer, or a wrong one, and no reason for it

    std::atomic<uint64_t> refusedEvents; // asynchronous ones that the receiver was not there for
    std::atomic<uint64_t> lostEvents;    // refused without a reason

    std::atomic<uint64_t> expiries;
    std::atomic<uint64_t> configChanges;
    std::atomic<uint64_t> certificateChanges;
    std::atomic<uint64_t> troubles; // calls of the library that failed otherwise

    std::atomic<int32_t> configValue; // at rest
    std::atomic<uint32_t> caFiles;    // at rest
    Holdings holdings;                // at rest; read by the director after `resting` has gone up
};

struct Account {
    std::atomic<Order> order;
    std::atomic<uint32_t> rests; // how often a rest was ordered
    std::atomic<uint32_t> era;
    std::atomic<int32_t> configWritten;
    std::array<std::atomic<uint32_t>, kEras> killedAtStart; // of an era: who, or kNobody
    // Events by the era in which they were sent, their sender and their receiver.
    using Events = std::array<std::array<std::atomic<uint32_t>, kProcesses>, kProcesses>;
    std::array<Events, kEras> sent;
    std::array<Events, kEras> received;
    std::array<ProcessAccount, kProcesses> processes;
};

// Shared with every process that is forked from now on; kept for the life of the program. Null without memory.
Account* makeAccount();

} // namespace tarn::soak
