#include "report.h"

#include <cinttypes>
#include <cstdio>
#include <utility>

namespace tarn::soak {
namespace {

// The same blocks may take some bytes more: the allocator does not split off what is too small to be of use, and its
// own bytes beside each block are not counted as the database's.
constexpr uint64_t kUnsplitBytes = 4096;
// The database keeps pages of its file up to a limit, for each of the two connections of a process.
constexpr uint64_t kMostDatabaseBytes = 2 * 320UL * 1024;
constexpr uint64_t kExpiriesPerSecond = 50;

class Verdict {
 public:
    // A line of the account, with what is wrong with it when something is.
    void line(bool good, const char* label, const std::string& text) {
        std::printf("  %-6s  %-22s %s\n", good ? "ok" : "FAILED", label, text.c_str());
        allGood_ = allGood_ && good;
    }
    bool allGood() const { return allGood_; }

 private:
    bool allGood_ = true;
};

std::string number(uint64_t value) {
    return std::to_string(value);
}

// Whether a process of a pair was killed at the begin of the era, or at the end of it or of the one after. The begin
// counts because an era begins a moment before the kill.
bool pairWasHit(const Account& account, uint32_t era, size_t sender, size_t receiver) {
    for (uint32_t near = era; near <= era + 2 && near < kEras; ++near) {
        const uint32_t killed = account.killedAtStart[near];
        if (killed == sender || killed == receiver) {
            return true;
        }
    }
    return false;
}

uint64_t sum(const Account& account, std::atomic<uint64_t> ProcessAccount::*field) {
    uint64_t total = 0;
    for (const ProcessAccount& process : account.processes) {
        total += process.*field;
    }
    return total;
}

void reportCalls(Verdict& verdict, const Account& account) {
    const uint64_t calls = sum(account, &ProcessAccount::calls);
    const uint64_t answered = sum(account, &ProcessAccount::answered);
    const uint64_t failed = sum(account, &ProcessAccount::failedCalls);
    const uint64_t lost = sum(account, &ProcessAccount::lostCalls);
    // The rest ended with its caller.
    const uint64_t cutOff = calls - answered - failed - lost;
    verdict.line(lost == 0 && answered > 0, "calls",
                 number(calls) + " made, " + number(answered) + " answered rightly, " + number(failed) +
                     " failed because the receiver was killed, " + number(cutOff) + " ended with their caller, " +
                     number(lost) + " lost");
}

void reportEvents(Verdict& verdict, const Account& account) {
    const EventAccount events = accountEvents(account);
    const uint64_t refused = sum(account, &ProcessAccount::refusedEvents);
    const uint64_t refusedWithoutReason = sum(account, &ProcessAccount::lostEvents);
    verdict.line(events.lost + refusedWithoutReason == 0 && events.received > 0, "notifications",
                 number(events.sent) + " sent, " + number(events.received) + " received, " + number(events.cutOff) +
                     " cut off by a kill, " + number(refused) + " refused by an absent receiver, " +
                     number(events.lost + refusedWithoutReason) + " lost");
}

void reportState(Verdict& verdict, const Account& account, const Expected& expected) {
    const int32_t written = account.configWritten;
    for (size_t i = 0; i < kProcesses; ++i) {
        const ProcessAccount& process = account.processes[i];
        verdict.line(
            process.configValue == written && process.caFiles == expected.caFiles && process.troubles == 0, kNames[i],
            "started " + number(process.starts) + " times; configuration at " + std::to_string(process.configValue) +
                " of " + std::to_string(written) + " after " + number(process.configChanges) + " notifications; " +
                number(process.caFiles) + " CA files after " + number(process.certificateChanges) + " events; " +
                number(process.expiries) + " expiries; " + number(process.troubles) + " other failures");
    }
}

std::string change(uint64_t before, uint64_t after) {
    return number(before) + " -> " + number(after);
}

void reportHoldings(Verdict& verdict, const HoldingsOfAll& warm, const HoldingsOfAll& now) {
    for (size_t i = 0; i < kSurvivors; ++i) {
        const Holdings& before = warm[i];
        const Holdings& after = now[i];
        verdict.line(after.liveBlocks <= before.liveBlocks && after.heapBytes <= before.heapBytes + kUnsplitBytes &&
                         after.databaseBytes <= kMostDatabaseBytes && after.descriptors <= before.descriptors &&
                         after.threads <= before.threads,
                     (std::string(kNames[i]) + " holds").c_str(),
                     "blocks " + change(before.liveBlocks, after.liveBlocks) + ", heap bytes in use " +
                         change(before.heapBytes, after.heapBytes) + ", of the database besides " +
                         change(before.databaseBytes, after.databaseBytes) + ", resident KiB " +
                         change(before.residentKib, after.residentKib) + ", descriptors " +
                         change(before.descriptors, after.descriptors) + ", threads " +
                         change(before.threads, after.threads));
    }
}

} // namespace

HoldingsOfAll holdingsOf(const Account& account) {
    HoldingsOfAll holdings;
    for (size_t i = 0; i < kProcesses; ++i) {
        holdings[i] = account.processes[i].holdings;
    }
    return holdings;
}

EventAccount accountEvents(const Account& account) {
    EventAccount events;
    for (uint32_t era = 0; era <= account.era && era < kEras; ++era) {
        for (size_t sender = 0; sender < kProcesses; ++sender) {
            for (size_t receiver = 0; receiver < kProcesses; ++receiver) {
                const uint64_t sent = account.sent[era][sender][receiver];
                const uint64_t received = account.received[era][sender][receiver];
                const uint64_t difference = sent > received ? sent - received : received - sent;
                events.sent += sent;
                events.received += received;
                (pairWasHit(account, era, sender, receiver) ? events.cutOff : events.lost) += difference;
            }
        }
    }
    return events;
}

bool printReport(const Account& account, const HoldingsOfAll& warm, const Expected& expected) {
    Verdict verdict;
    std::printf("\nAfter %" PRIu64 " s of load and %u kills:\n", expected.workSeconds, expected.kills);
    reportCalls(verdict, account);
    reportEvents(verdict, account);
    // Half of them, because an expiry that comes late on a loaded machine swallows the next.
    for (size_t i = 0; i < kSurvivors; ++i) {
        const ProcessAccount& process = account.processes[i];
        verdict.line(process.expiries >= expected.workSeconds * kExpiriesPerSecond / 2,
                     (std::string(kNames[i]) + " timer").c_str(), number(process.expiries) + " expiries");
    }
    reportState(verdict, account, expected);
    reportHoldings(verdict, warm, holdingsOf(account));
    return verdict.allGood();
}

} // namespace tarn::soak
