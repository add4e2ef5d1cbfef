// One record at a time: the level test, the formatting, the log client. A text that does not fit a record is dropped
// whole, because readers of the log take a record as complete.
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstring>
#include <new>

#include "base/log.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr uint32_t kFailed = 0xFFFFFFFF;
constexpr size_t kRecordBytes = 512;
constexpr uint8_t kHighestLevel = CONF_LOG_DEBUG;
constexpr OmLogCreationRecord kLogLimits = {512, 9, 10U * 1024 * 1024, {}};

using RecordText = std::array<char, kRecordBytes>;

std::atomic<uint8_t> currentLevel{CONF_LOG_INFO};

uint32_t createLogFile(const char* name) {
    if (name == nullptr) {
        return kFailed;
    }
    OmLogCreationRecord record = kLogLimits;
    const errno_t copied = strcpy_s(record.name, sizeof record.name, name);
    if (copied != 0) {
        return static_cast<uint32_t>(copied);
    }
    return TarnOmLogCreateLog(&record, &g_LogInfo);
}

// The file id is published by `ConfLogInit` while other threads may already be logging.
uint16_t fileId() {
    return std::atomic_ref(g_LogInfo.fileId).load(std::memory_order_relaxed);
}

// Apart from the level test, so that a record above the level does not pay for the buffers' stack frame.
__attribute__((noinline)) void writeRecord(uint8_t level, const char* funcName, const char* fileName, uint32_t line,
                                           const char* format, va_list arguments) {
    RecordText message;
    if (vsnprintf_s(message.data(), message.size(), format, arguments) == -1) {
        return;
    }
    RecordText text;
    if (sprintf_s(text.data(), text.size(), "[%s]%s", funcName, message.data()) == -1) {
        return;
    }
    text.back() = '\0';
    TarnOmLogModuleLogRecord(level, fileId(), fileName, static_cast<uint8_t>(std::strlen(fileName)), line, "%s",
                             text.data());
}

} // namespace

ConfLogInfo g_LogInfo = {0, "Conference.log"};

uint32_t ConfLogInit(void) {
    const uint32_t connected = TarnOmLogClientInit("C", 1);
    if (connected != 0) {
        return connected;
    }
    return createLogFile(g_LogInfo.fileName);
}

uint32_t ConfLogUnInit(void) {
    TarnOmLogClientUnInit();
    return 0;
}

uint16_t GetConfLogFileId(void) {
    return fileId();
}

uint8_t GetLogLevel(void) {
    return currentLevel.load(std::memory_order_relaxed);
}

uint32_t SetLogLevel(uint8_t level) {
    if (level > kHighestLevel) {
        return kFailed;
    }
    currentLevel.store(level, std::memory_order_relaxed);
    return 0;
}

// Holds no buffer of its own, and a guard would cost a record above the level more than its level test.
__attribute__((no_stack_protector)) void ConfLogPrintf(int level, const char* funcName, const char* fileName,
                                                       uint32_t line, const char* format, ...) {
    const auto recordLevel = static_cast<uint8_t>(level);
    if (recordLevel > currentLevel.load(std::memory_order_relaxed)) {
        return;
    }
    if (fileName == nullptr || format == nullptr) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    writeRecord(recordLevel, funcName, fileName, line, format, arguments);
    va_end(arguments);
}

std::string GetFileName(const std::string& path) {
    try {
        const size_t separator = path.find_last_of("/\\");
        return separator == std::string::npos ? path : path.substr(separator + 1);
    } catch (const std::bad_alloc&) {
        return {};
    }
}
