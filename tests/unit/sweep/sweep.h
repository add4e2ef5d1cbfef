// One table for every exported operation that something it asks for can fail: what it then answers, and what it leaves.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "file/scratch_directory.h"

namespace tarn::test {

// A result that only the failure itself decides.
constexpr uint64_t kEither = 0xE17E'E17E'E17E'E17E;
// In place of a platform call's name: a block of the heap.
constexpr const char* kMemory = "memory";
// Likewise: the formatting of a record for the log.
constexpr const char* kLog = "log";
// Stands for every call without an entry of its own.
constexpr const char* kEveryCall = "";

struct Answers {
    uint64_t success = 0;
    uint64_t failure = 1;
    // By the call that fails, where it is not `failure`. With `success` the call's failure must change nothing at all.
    std::map<std::string, uint64_t> results = {};
};

struct Operation {
    std::string name; // an exported name; what follows a '/' tells several cases of it apart
    std::function<uint64_t()> run;
    Answers answers;
    const char* partial; // why a failure may leave the state changed; null when it may not
    // Records, maybe with their "[function]", that some failure must log, as errors where no level is named.
    std::vector<std::string> tells;
    std::map<std::string, size_t> keeps = {}; // accounted blocks that stay, by the call that failed
    size_t keepsHeap = 0;                     // blocks of the heap that a success keeps
};

inline Operation op(std::string name, std::function<uint64_t()> run, Answers answers = {},
                    const char* partial = nullptr, std::vector<std::string> tells = {}) {
    return {std::move(name), std::move(run), std::move(answers), partial, std::move(tells)};
}

// Of a function without a result.
template <typename Call>
std::function<uint64_t()> done(Call call) {
    return [call] {
        call();
        return uint64_t{0};
    };
}

// What operations write into; each run begins with it as new.
struct Outputs {
    std::string bytes = std::string(160, 'x'); // a buffer
    uint64_t number = 99;
    void* block = nullptr; // an accounted block, released behind the run
    bool operator==(const Outputs&) const = default;

    char* text() { return bytes.data(); }
    std::string shown() const;
};
Outputs& outputs();

// Gone with the program; not with its children.
const ScratchDirectory& scratch();

// Operations on one state.
struct Subject {
    std::function<void()> prepare = [] {};
    std::function<std::string()> state = [] { return outputs().shown(); }; // all that an operation may write
    std::function<void()> finish = [] {};
    std::function<bool()> isSound = {};        // what must hold behind every run
    unsigned heap = 0;                         // the `HeapOwner`s that can run out
    std::vector<std::string> losesHeapBy = {}; // failures that leave blocks of the heap behind
    bool ownProcess = false;                   // the library does it only once in the life of a process
    std::vector<Operation> operations = {};
};

std::vector<Subject> logSubjects();
std::vector<Subject> messageSubjects();
std::vector<Subject> configSubjects();
std::vector<Subject> xmlSubjects();
std::vector<Subject> utilSubjects();
std::vector<Subject> certSubjects();

} // namespace tarn::test
