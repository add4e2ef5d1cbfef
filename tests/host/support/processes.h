// What the host tests share: child processes, threads, waiting, and the standard error of a process.
#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace tarn::test {

// Waits for it, for many seconds on a busy machine.
template <typename Condition>
bool comesTrue(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Runs body(0), body(1) and so on, each in a thread, and waits for them all.
template <typename Body>
void inThreads(size_t count, Body body) {
    std::vector<std::jthread> threads;
    for (size_t i = 0; i < count; ++i) {
        threads.emplace_back([&body, i] { body(i); });
    }
}

// A thread that runs the body again and again until it is destroyed.
template <typename Body>
std::jthread meanwhile(Body body) {
    return std::jthread([body](const std::stop_token& stop) mutable {
        while (!stop.stop_requested()) {
            body();
        }
    });
}

// The same in a test that forks beside it. Without a thread under AddressSanitizer: GCC 12's runtime does not hold the
// locks of its allocator over a fork, so a child may wait for ever for one that this thread held.
template <typename Body>
std::jthread meanwhileForking(Body body) {
#ifdef __SANITIZE_ADDRESS__
    body();
    return {};
#else
    return meanwhile(std::move(body));
#endif
}

// Runs the body in a forked process, which ends with its result; with 1 instead of 0 when an expectation failed in it.
pid_t startForked(const std::function<int()>& body);

// Waits for its end: its exit code, or minus the signal that ended it.
int endOf(pid_t child);

int runForked(const std::function<int()>& body);

// Runs the body in a forked process, which must end well.
void inFork(const std::function<void()>& body);

// Starts the program of a line of the shell in the host directory, with this input; a file there gets both its outputs.
pid_t startShell(const std::string& line, const std::string& output = "out", const std::string& input = "");

struct Outcome {
    int code;
    std::string output;
};

// The same, waiting for its end.
Outcome runShell(const std::string& line, const std::string& input = "");

// A forked process that runs its body, tells that it is ready when that returns true, and sleeps until it is killed or
// its parent is gone.
class Child {
 public:
    explicit Child(const std::function<bool()>& body);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { end(); }

    pid_t pid() const { return pid_; }
    void signal(int number) const;
    // Kills it and waits for its end.
    void end();

 private:
    pid_t pid_ = -1;
};

// Catches the standard error of this process, and of the children that it starts meanwhile.
class CaughtErrors {
 public:
    CaughtErrors();
    CaughtErrors(const CaughtErrors&) = delete;
    CaughtErrors& operator=(const CaughtErrors&) = delete;
    ~CaughtErrors();

    std::string text() const;
    // Lines that hold `part`.
    long mentions(const std::string& part) const;

 private:
    int file_;
    int saved_;
};

// Descriptors of this process, but the standard ones, that /proc names like that.
size_t openDescriptors(const std::string& kind);

// While it lives, no file of this process grows beyond so many bytes, as on a full disk.
class FileSizeLimit {
 public:
    explicit FileSizeLimit(size_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
    rlimit before_ = {};
};

std::vector<std::string> splitLines(const std::string& text);
long mentionsIn(const std::string& text, const std::string& part);

} // namespace tarn::test
