// The log client's calls. A text is formatted before the client's lock is taken and on the caller's stack.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/guarded.h"
#include "log/log_client.h"
#include "tarn_host/host_log.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/om_log.h"

namespace {

using tarn::host::guarded;
using tarn::host::kMaxRecordBytes;
using tarn::host::LogClient;
using tarn::host::LogRecord;

// Callers log from within their error handling.
class KeepErrno {
 public:
    KeepErrno() = default;
    ~KeepErrno() { errno = saved_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno(KeepErrno&&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;
    KeepErrno& operator=(KeepErrno&&) = delete;

 private:
    int saved_ = errno;
};

using Text = std::array<char, kMaxRecordBytes + 1>;

// Length of the whole text, of which `text` has the start.
size_t formatText(Text& text, const char* format, va_list arguments) {
    const int length = format == nullptr ? -1 : std::vsnprintf(text.data(), text.size(), format, arguments);
    if (length >= 0) {
        return static_cast<size_t>(length);
    }
    constexpr std::string_view unusable = "(a text that cannot be formatted)";
    std::copy(unusable.begin(), unusable.end(), text.begin());
    return unusable.size();
}

std::string directoryOf(const char* processName) {
    if (processName == nullptr) {
        return LogClient::instance().directoryPath();
    }
    const char* root = TarnHostDir();
    return root == nullptr ? std::string() : std::string(root) + "/log/" + processName;
}

} // namespace

uint32_t TarnOmLogClientInit(const char* name, uint32_t) {
    if (name == nullptr) {
        return EINVAL;
    }
    return guarded([] { return LogClient::instance().connect(); });
}

uint32_t TarnOmLogClientUnInit(void) {
    return guarded([] { return LogClient::instance().disconnect(); });
}

uint32_t TarnOmLogCreateLog(const void* creationRecord, ConfLogInfo* info) {
    if (creationRecord == nullptr || info == nullptr) {
        return EINVAL;
    }
    OmLogCreationRecord creation = {};
    std::memcpy(&creation, creationRecord, sizeof creation);
    return guarded([&] { return LogClient::instance().createFile(creation, info->fileId); });
}

void TarnOmLogModuleLogRecord(uint8_t level, uint16_t fileId, const char* fileName, uint8_t fileNameLength,
                              uint32_t line, const char* format, ...) {
    const KeepErrno keep;
    Text text;
    va_list arguments;
    va_start(arguments, format);
    const size_t textBytes = formatText(text, format, arguments);
    va_end(arguments);
    const LogRecord record = {level,
                              fileName == nullptr ? std::string_view("?") : std::string_view(fileName, fileNameLength),
                              line,
                              {text.data(), std::min(textBytes, kMaxRecordBytes)},
                              0};
    // Only making the client itself fails here.
    guarded([&] {
        LogClient::instance().write(fileId, record, textBytes);
        return 0U;
    });
}

uint32_t TarnHostLogDirectory(const char* processName, char* path, size_t pathBytes) {
    if (path == nullptr || pathBytes == 0 || (processName != nullptr && std::strchr(processName, '/') != nullptr)) {
        return EINVAL;
    }
    return guarded([&]() -> uint32_t {
        const std::string directory = directoryOf(processName);
        if (directory.empty()) {
            return ENOENT;
        }
        if (directory.size() >= pathBytes) {
            return ERANGE;
        }
        std::memcpy(path, directory.c_str(), directory.size() + 1);
        return 0;
    });
}

uint64_t TarnHostLogLostRecords(void) {
    uint64_t lost = 0; // nothing can be lost without a client
    guarded([&] {
        lost = LogClient::instance().lostRecords();
        return 0U;
    });
    return lost;
}
