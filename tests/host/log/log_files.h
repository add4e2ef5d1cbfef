// What the log tests share: small log files, reading them back, and a child process with a log of its own.
#pragma once

#include "support/host_test.h"
#include "tarn_host/host_log.h"
#include "tarn_platform/om_log.h"

namespace tarn::test {

namespace fs = std::filesystem;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

// A file of this process.
struct LogFile {
    std::string name;
    uint16_t id;

    std::string path() const;
    void write(const std::string& text) const;
    // "WORD 0", "WORD 1" and so on.
    void writeMany(const std::string& word, int count) const;
    // The text of its last record.
    std::string last() const;
};

// Connects the client and creates the file.
LogFile createLog(const char* name, uint32_t fileCount = 9, uint32_t maxFileBytes = 1U << 20U,
                  uint32_t recordBytes = 512);

// Of this process, or where that of another is; ends with a slash.
std::string logDirectory(const char* process = nullptr);

// The lines of a file; one that is not there has none.
std::vector<std::string> linesOf(const std::string& path);

// The texts of the lines, behind their six fields; and those of all its predecessors before them, oldest first.
std::vector<std::string> textsOf(const std::string& path);
std::vector<std::string> allTextsOf(const std::string& path);

struct Ended {
    pid_t pid;
    std::string errors; // Its standard error.

    long mentions(const std::string& part) const { return mentionsIn(errors, part); }
};

// Runs the body in a forked process named `name`, which must end well.
Ended runChild(const char* name, const std::function<void()>& body);

} // namespace tarn::test
