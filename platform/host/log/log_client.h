// The log files of this process. One lock keeps the whole: a record is composed and written while it is held, so that
// the lines of a file stand in the order of their times.
#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>
#include <string_view>

#include "log/log_directory.h"
#include "log/log_line.h"
#include "log/log_trouble.h"
#include "log/rotating_file.h"
#include "tarn_platform/om_log.h"

namespace tarn::host {

class LogClient {
 public:
    static LogClient& instance();

    // Results are 0 or `errno` values.
    uint32_t connect();
    uint32_t disconnect();
    uint32_t createFile(const OmLogCreationRecord& creation, uint16_t& fileId);

    // `text` is what there is of a text of `textBytes` bytes.
    void write(uint16_t fileId, LogRecord record, size_t textBytes);

    // Empty while this process has none.
    std::string directoryPath();
    uint64_t lostRecords();

 private:
    struct File {
        std::string name;
        size_t recordBytes = kMaxRecordBytes;
        RotationLimits limits = {};
        RotatingFile file;
        LogTroubles troubles;
        uint64_t lost = 0;   // Since the last line that reached the file.
        time_t lookedAt = 0; // The second of the last thorough look.
    };

    static constexpr size_t kFiles = 16;

    LogClient();

    File* fileOf(uint16_t fileId);
    File* fileNamed(std::string_view name);
    const char* processName();
    bool open(File& file);
    bool append(File& file, std::string_view line);
    bool appendLossNote(File& file);
    bool writeTo(File& file, const LogRecord& record);
    void readEnvironment();
    void forgetParent();

    std::mutex mutex_;
    bool connected_ = false;
    bool copyToStandardError_ = false;
    uint64_t lost_ = 0;
    size_t created_ = 0;
    std::array<File, kFiles> files_; // A file keeps its place, and with it its id, for the life of the process.
    LogDirectory directory_;
    std::string processName_; // As it was when the directory was taken.
    LogLine line_;
};

} // namespace tarn::host
