// What the log tests share: small log files, reading them back, and a child process whose standard error is caught.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tarn_platform/om_log.h"

namespace tarn::test {

// Connects the client and creates the file; its id.
uint16_t createLog(const char* name, uint32_t fileCount = 9, uint32_t maxFileBytes = 1U << 20U,
                   uint32_t recordBytes = 512);

void writeRecord(uint16_t fileId, const std::string& text);

// Of this process; ends with a slash.
std::string logDirectory();

std::string readFile(const std::string& path);

// The lines of a file; one that is not there has none.
std::vector<std::string> linesOf(const std::string& path);

// The lines of a file and all its predecessors, oldest first.
std::vector<std::string> allLinesOf(const std::string& path);

// The text of a line, behind its six fields.
std::string textOf(const std::string& line);
std::vector<std::string> textsOf(const std::vector<std::string>& lines);

struct ChildResult {
    int pid;
    int status; // As waitpid gives it; 0 when the body had no failed expectation.
    std::string standardError;

    // Lines on standard error that hold `part`.
    long mentions(const std::string& part) const;
};

// Runs the body in a forked process named `name`.
ChildResult runChild(const char* name, const std::function<void()>& body);

} // namespace tarn::test
