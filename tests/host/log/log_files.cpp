#include "log/log_files.h"

namespace tarn::test {
namespace {

// Behind six fields, the first of which is a time.
std::string textOf(const std::string& line) {
    size_t start = 0;
    for (int field = 0; field < 6 && start != std::string::npos; ++field) {
        start = line.find(' ', start + 1);
    }
    return start == std::string::npos || line.find(' ') != std::strlen("2026-01-01T00:00:00.000+00:00")
               ? "(torn) " + line
               : line.substr(start + 1);
}

} // namespace

std::string LogFile::path() const {
    return logDirectory() + name;
}

void LogFile::write(const std::string& text) const {
    TarnOmLogModuleLogRecord(1, id, "log_test", 8, 7, "%s", text.c_str());
}

void LogFile::writeMany(const std::string& word, int count) const {
    for (int i = 0; i < count; ++i) {
        write(word + " " + std::to_string(i));
    }
}

std::string LogFile::last() const {
    return textOf(linesOf(path()).back());
}

LogFile createLog(const char* name, uint32_t fileCount, uint32_t maxFileBytes, uint32_t recordBytes) {
    OmLogCreationRecord creation = {recordBytes, fileCount, maxFileBytes, {}};
    std::strncpy(creation.name, name, sizeof creation.name - 1);
    ConfLogInfo info = {0, name};
    EXPECT_EQ(TarnOmLogClientInit("T", 1), 0U);
    EXPECT_EQ(TarnOmLogCreateLog(&creation, &info), 0U);
    return {name, info.fileId};
}

std::string logDirectory(const char* process) {
    std::array<char, 512> path = {};
    EXPECT_EQ(TarnHostLogDirectory(process, path.data(), path.size()), 0U);
    return std::string(path.data()) + "/";
}

std::vector<std::string> linesOf(const std::string& path) {
    return splitLines(readFile(path));
}

std::vector<std::string> textsOf(const std::string& path) {
    std::vector<std::string> texts = linesOf(path);
    for (std::string& line : texts) {
        line = textOf(line);
    }
    return texts;
}

std::vector<std::string> allTextsOf(const std::string& path) {
    std::vector<std::string> all = textsOf(path);
    for (int number = 1; fs::exists(path + "." + std::to_string(number)); ++number) {
        const std::vector<std::string> older = textsOf(path + "." + std::to_string(number));
        all.insert(all.begin(), older.begin(), older.end());
    }
    return all;
}

Ended runChild(const char* name, const std::function<void()>& body) {
    const CaughtErrors errors;
    const pid_t child = startForked([&] {
        EXPECT_EQ(TarnHostSetProcessName(name), 0U);
        body();
        return 0;
    });
    EXPECT_EQ(endOf(child), 0) << errors.text();
    return {child, errors.text()};
}

} // namespace tarn::test
