#include "log/log_files.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"

namespace tarn::test {
namespace {

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace

uint16_t createLog(const char* name, uint32_t fileCount, uint32_t maxFileBytes, uint32_t recordBytes) {
    OmLogCreationRecord creation = {recordBytes, fileCount, maxFileBytes, {}};
    std::strncpy(creation.name, name, sizeof creation.name - 1);
    ConfLogInfo info = {0, name};
    EXPECT_EQ(TarnOmLogClientInit("T", 1), 0U);
    EXPECT_EQ(TarnOmLogCreateLog(&creation, &info), 0U);
    return info.fileId;
}

void writeRecord(uint16_t fileId, const std::string& text) {
    TarnOmLogModuleLogRecord(1, fileId, "log_test", 8, 7, "%s", text.c_str());
}

std::string logDirectory() {
    std::array<char, 512> path = {};
    EXPECT_EQ(TarnHostLogDirectory(nullptr, path.data(), path.size()), 0U);
    return std::string(path.data()) + "/";
}

std::string readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::vector<std::string> linesOf(const std::string& path) {
    return split(readFile(path));
}

std::vector<std::string> allLinesOf(const std::string& path) {
    int oldest = 0;
    while (std::filesystem::exists(path + "." + std::to_string(oldest + 1))) {
        ++oldest;
    }
    std::string text;
    for (int number = oldest; number > 0; --number) {
        text += readFile(path + "." + std::to_string(number));
    }
    return split(text + readFile(path));
}

std::string textOf(const std::string& line) {
    size_t start = 0;
    for (int field = 0; field < 6; ++field) {
        start = line.find(' ', start);
        if (start == std::string::npos) {
            return "(torn) " + line;
        }
        ++start;
    }
    return line.substr(start);
}

std::vector<std::string> textsOf(const std::vector<std::string>& lines) {
    std::vector<std::string> texts;
    std::transform(lines.begin(), lines.end(), std::back_inserter(texts), textOf);
    return texts;
}

long ChildResult::mentions(const std::string& part) const {
    const std::vector<std::string> lines = split(standardError);
    return std::count_if(lines.begin(), lines.end(),
                         [&part](const std::string& line) { return line.find(part) != std::string::npos; });
}

ChildResult runChild(const char* name, const std::function<void()>& body) {
    std::array<int, 2> pipeEnds = {};
    if (pipe(pipeEnds.data()) != 0) {
        ADD_FAILURE() << "no pipe";
        return {0, -1, {}};
    }
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        close(pipeEnds[0]);
        dup2(pipeEnds[1], STDERR_FILENO);
        close(pipeEnds[1]);
        alarm(60);
        EXPECT_EQ(TarnHostSetProcessName(name), 0U);
        body();
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    close(pipeEnds[1]);
    ChildResult result = {child, 0, {}};
    std::array<char, 4096> buffer;
    for (ssize_t got = 0; (got = read(pipeEnds[0], buffer.data(), buffer.size())) > 0;) {
        result.standardError.append(buffer.data(), static_cast<size_t>(got));
    }
    close(pipeEnds[0]);
    EXPECT_EQ(waitpid(child, &result.status, 0), child);
    return result;
}

} // namespace tarn::test
