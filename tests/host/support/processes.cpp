#include "support/processes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "file/scratch_directory.h"

namespace tarn::test {

namespace {

// Of this test: its failed expectations so far.
int failures() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}

} // namespace

pid_t startForked(const std::function<int()>& body) {
    std::fflush(nullptr);
    const int failuresBefore = failures();
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        const int code = body();
        _exit(code == 0 && failures() > failuresBefore ? 1 : code);
    }
    EXPECT_GT(child, 0);
    return child;
}

int endOf(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int runForked(const std::function<int()>& body) {
    return endOf(startForked(body));
}

void inFork(const std::function<void()>& body) {
    EXPECT_EQ(runForked([&] {
                  body();
                  return 0;
              }),
              0);
}

pid_t startShell(const std::string& line, const std::string& output, const std::string& input) {
    const std::string directory = std::getenv("TARN_HOST_DIR");
    writeFile(directory + "/in", input);
    writeFile(directory + "/" + output, "");
    const std::string whole = "cd '" + directory + "' && exec <in >>" + output + " 2>&1 && exec " + line;
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        execl("/bin/sh", "sh", "-c", whole.c_str(), nullptr);
        _exit(127);
    }
    return child;
}

Outcome runShell(const std::string& line, const std::string& input) {
    const int code = endOf(startShell(line, "out", input));
    return {code, readFile(std::string(std::getenv("TARN_HOST_DIR")) + "/out")};
}

Child::Child(const std::function<bool()>& body) {
    std::array<int, 2> ready = {-1, -1};
    EXPECT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
    pid_ = startForked([&] {
        close(ready[0]);
        if (!body() || write(ready[1], "r", 1) != 1) {
            return 1;
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        alarm(0);
        return pause();
    });
    close(ready[1]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1) << "the child process failed";
    close(ready[0]);
}

void Child::signal(int number) const {
    kill(pid_, number);
}

void Child::end() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

CaughtErrors::CaughtErrors()
    : file_(memfd_create("standard error", MFD_CLOEXEC)), saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    EXPECT_EQ(dup2(file_, STDERR_FILENO), STDERR_FILENO);
}

CaughtErrors::~CaughtErrors() {
    dup2(saved_, STDERR_FILENO);
    close(saved_);
    close(file_);
}

std::string CaughtErrors::text() const {
    return readFile("/proc/self/fd/" + std::to_string(file_));
}

long CaughtErrors::mentions(const std::string& part) const {
    return mentionsIn(text(), part);
}

size_t openDescriptors(const std::string& kind) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const bool own = std::stoi(entry.path().filename()) > STDERR_FILENO;
        count += own && read_symlink(entry.path(), gone).string().starts_with(kind) ? 1 : 0;
    }
    return count;
}

FileSizeLimit::FileSizeLimit(size_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before_), 0);
    const rlimit tight = {bytes, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &tight), 0);
}

FileSizeLimit::~FileSizeLimit() {
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before_), 0);
    signal(SIGXFSZ, SIG_DFL);
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

long mentionsIn(const std::string& text, const std::string& part) {
    return std::ranges::count_if(splitLines(text),
                                 [&](const std::string& line) { return line.find(part) != line.npos; });
}

} // namespace tarn::test
