// Texts and buffers that need more than one record.
#include <array>
#include <cstring>

#include "base/log.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr const char* kLogName = "conf_log_adapter";

constexpr size_t kPieceBytes = 352;
constexpr uint32_t kOutOfBoundsLine = 203;

constexpr uint32_t kUnsegmentedBelow = 400;
constexpr uint32_t kSegmentBytes = 256;
constexpr uint32_t kWholeLine = 110;
constexpr uint32_t kSegmentLine = 124;
constexpr uint32_t kTailLine = 135;

// Length of the next piece of a text whose first bytes stand in `window`: all of it when it fits, else up to and with
// the window's last newline, else the whole window.
size_t pieceLength(const char* window, size_t available) {
    if (available <= kPieceBytes) {
        return available;
    }
    const auto* newline = static_cast<const char*>(memrchr(window, '\n', kPieceBytes));
    return newline == nullptr ? kPieceBytes : static_cast<size_t>(newline - window) + 1;
}

const char* baseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

// One segment of at most 256 bytes as a terminated text.
class Segment {
 public:
    // Negative when the segment could not be filled; only a negative sum counts as a failure.
    int fill(const char* data, uint32_t length) {
        const errno_t cleared = memset_s(text_.data(), text_.size(), 0, text_.size());
        const errno_t copied = memcpy_s(text_.data(), text_.size(), data, length);
        text_[length] = '\0';
        return cleared + copied;
    }
    const char* text() const { return text_.data(); }

 private:
    std::array<char, kSegmentBytes + 2> text_ = {};
};

} // namespace

void ConfLogPrintfStr(int level, const char* funcName, const char* fileName, uint32_t line, const char* text) {
    if (text == nullptr || *text == '\0' || fileName == nullptr) {
        return;
    }
    const auto fileNameLength = static_cast<uint8_t>(std::strlen(fileName));
    std::array<char, kPieceBytes + 1> piece;
    bool first = true;
    while (*text != '\0') {
        if (strncpy_s(piece.data(), piece.size(), text, kPieceBytes) != 0) {
            return;
        }
        const size_t length = pieceLength(piece.data(), strnlen(text, kPieceBytes + 1));
        // Cannot come unless `pieceLength` is changed; readers of the log know the text.
        if (length > kPieceBytes) {
            ConfLogPrintf(CONF_LOG_ERROR, __func__, kLogName, kOutOfBoundsLine, "ConfLogPrintfStr: OutOfBoundsChecker");
            return;
        }
        piece[length] = '\0';
        if (first) {
            ConfLogPrintf(level, funcName, fileName, line, "%s", piece.data());
        } else {
            // Without the level test: whoever reads the continuation of a filtered text relies on finding it.
            TarnOmLogModuleLogRecord(static_cast<uint8_t>(level), GetConfLogFileId(), fileName, fileNameLength, line,
                                     "%s", piece.data());
        }
        first = false;
        text += length;
    }
}

void ConfLogSegmentPrint(const char* fileName, uint32_t line, uint32_t level, const void* data, uint32_t length) {
    const int callerLine = static_cast<int>(line);
    if (data == nullptr || fileName == nullptr || length == 0) {
        TARN_LOG(CONF_LOG_ERROR, "[%d] param is null", callerLine);
        return;
    }
    const char* file = baseName(fileName);
    const int recordLevel = static_cast<int>(level);
    const char* rest = static_cast<const char*>(data);
    if (length < kUnsegmentedBelow) {
        // A text up to its NUL, but never past the buffer: dumped packets have no NUL.
        ConfLogPrintf(recordLevel, __func__, kLogName, kWholeLine, "[%s : %d] \n%.*s", file, callerLine,
                      static_cast<int>(length), rest);
        return;
    }
    Segment segment;
    const char* const tail = rest + (length - length % kSegmentBytes);
    for (; rest != tail; rest += kSegmentBytes) {
        const int result = segment.fill(rest, kSegmentBytes);
        if (result < 0) {
            TARN_LOG(CONF_LOG_ERROR, " [%s : %d] secure func fail,ret:%d", file, callerLine, result);
            break;
        }
        ConfLogPrintf(recordLevel, __func__, kLogName, kSegmentLine, "[%s : %d] \n%s", file, callerLine,
                      segment.text());
    }
    const uint32_t tailLength = length % kSegmentBytes;
    if (tailLength == 0) {
        return;
    }
    // After a failure in the loop this starts at the segment that failed.
    const int result = segment.fill(rest, tailLength);
    if (result < 0) {
        TARN_LOG(CONF_LOG_ERROR, "[%s : %d] secure func fail,ret:%d ", file, callerLine, result);
        return;
    }
    ConfLogPrintf(recordLevel, __func__, kLogName, kTailLine, "[%s : %d] \n%s", file, callerLine, segment.text());
}
