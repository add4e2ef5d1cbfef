// Single parameters and lists of character codes. A list is decoded without a NUL at its end: the caller's zero-filled
// store ends the text.
#include "tarn_conference/conf_xml_param.h"

#include <cstring>
#include <limits>

#include "base/accounted.h"
#include "base/log.h"
#include "tarn_conference/conf_xml_encode.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/portability.h"

namespace {

constexpr const char* kLogName = "xml_utility";
constexpr uint32_t kFailed = 1;
constexpr uint32_t kCodesBytes = 1024;
constexpr uint32_t kLastByteCode = 127;
constexpr uint32_t kMaxDigits = std::numeric_limits<uint8_t>::max();

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The text that a path leads to, or null; `function` logs.
const char* readText(const char* function, const char* url, void* rootNode, const void* store) {
    if (url == nullptr || rootNode == nullptr || store == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "param is null!");
        return nullptr;
    }
    const char* const text = ConfXmlAdptGetNodeValueByUrl(rootNode, url);
    if (text == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_DEBUG, "Xml Parase %s fail", url);
    }
    return text;
}

// Reads the digits from `*pos` on.
uint32_t readNumber(const char* str, uint32_t len, uint32_t* pos, uint32_t* code) {
    uint32_t value = 0;
    for (uint32_t digits = 0; digits <= kMaxDigits; ++digits) {
        const uint32_t at = *pos + digits;
        const char c = str[at];
        // The first character is a digit before the end: its caller has seen to that.
        const bool ends = c == ',' || c == '\0' || at >= len;
        if (ends) {
            *pos = c == '\0' ? at : at + 1;
            *code = value;
            return 0;
        }
        if (!isDigit(c)) {
            return kFailed;
        }
        value = value * 10 + static_cast<uint32_t>(c - '0');
    }
    return kFailed;
}

enum class Step { kGoOn, kNoRoom, kFail };

// Appends one character beyond ASCII; `function` logs.
Step appendUtf8(const char* function, uint32_t code, char* out, uint32_t outSize, uint32_t& written) {
    const uint32_t codePoints[] = {code, 0};
    const auto utf8 = TARN_ADOPT(char, ZOR_UnicodeToUtf8(codePoints));
    if (utf8 == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "pcUTF8Temp is null!");
        return Step::kFail;
    }
    const uint32_t bytes = MOSS_StrLen(utf8.get());
    const uint32_t room = outSize - written;
    if (bytes > room) {
        return Step::kNoRoom;
    }
    const errno_t copied = memcpy_s(out + written, room, utf8.get(), bytes);
    if (copied != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, tarn::detail::kSecureFunctionText, copied);
    }
    written += bytes;
    return Step::kGoOn;
}

uint32_t parseCodes(void* rootNode, const ConfXmlParamNote& note) {
    char codes[kCodesBytes] = {};
    const uint32_t result = ConfXmlParaseStringParams(note.url, rootNode, codes, sizeof codes, note.printLog != 0);
    if (result == 0 && codes[0] != '\0' && note.strSize != 0) {
        ConfXmlGetStringFromAscii(codes, static_cast<char*>(note.pValue), note.strSize - 1);
    }
    return result;
}

} // namespace

uint32_t ConfXmlParseSingleNote(void* rootNode, ConfXmlParamNote* note) {
    if (note == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", tarn::detail::kNullPointerText);
        return kFailed;
    }
    const bool printLog = note->printLog != 0;
    if (note->isString == 0) {
        return ConfXmlParaseIntParams(note->url, rootNode, static_cast<uint32_t*>(note->pValue), printLog);
    }
    if (note->isAsciiCode != 0) {
        return parseCodes(rootNode, *note);
    }
    return ConfXmlParaseStringParams(note->url, rootNode, static_cast<char*>(note->pValue), note->strSize, printLog);
}

uint32_t ConfXmlParaseStringParams(const char* url, void* rootNode, char* value, uint32_t strSize, bool printLog) {
    const char* const text = readText(__func__, url, rootNode, value);
    if (text == nullptr) {
        return kFailed;
    }
    const size_t length = std::strlen(text);
    if (length >= strSize) {
        TARN_LOG(CONF_LOG_ERROR, "strcpy_s failed!  strSize %u valueSize %zu url %s", strSize, length, url);
        return kFailed;
    }
    const errno_t copied = strcpy_s(value, strSize, text);
    if (copied != 0) {
        TARN_LOG(CONF_LOG_ERROR, "%s failed, %s = %d.", "strcpy_s", "err", copied);
    }
    if (printLog) {
        TARN_LOG(CONF_LOG_DEBUG, "%s:%s", url, value);
    }
    return 0;
}

uint32_t ConfXmlParaseIntParams(const char* url, void* rootNode, uint32_t* value, bool printLog) {
    const char* const text = readText(__func__, url, rootNode, value);
    if (text == nullptr) {
        return kFailed;
    }
    MOSS_StrToInt32(text, reinterpret_cast<int32_t*>(value)); // a text that is no number is not told
    if (printLog) {
        TARN_LOG(CONF_LOG_DEBUG, "%s:%u", url, *value);
    }
    return 0;
}

uint32_t ConfXmlStrGetNextASCII(const char* str, uint32_t len, uint32_t* pos, uint32_t* code) {
    if (str == nullptr || pos == nullptr || code == nullptr) {
        return kFailed;
    }
    const char c = str[*pos];
    if (c == ',') {
        ++*pos;
        *code = 0;
        return 0;
    }
    if (*pos >= len || c == '\0') {
        *pos += c == '\0' ? 0 : 1;
        *code = 0;
        return 0;
    }
    return isDigit(c) ? readNumber(str, len, pos, code) : kFailed;
}

uint32_t ConfXmlGetStringFromAscii(const char* codes, char* out, uint32_t outSize) {
    if (out == nullptr) {
        return kFailed;
    }
    const uint32_t length = MOSS_StrLen(codes);
    uint32_t position = 0;
    uint32_t written = 0;
    while (position < length && written < outSize) {
        uint32_t code = 0;
        if (ConfXmlStrGetNextASCII(codes, length, &position, &code) != 0) {
            TARN_LOG(CONF_LOG_ERROR, "ConfXmlStrGetNextASCII failed!");
            return kFailed;
        }
        if (code <= kLastByteCode) {
            out[written++] = static_cast<char>(code);
            continue;
        }
        const Step step = appendUtf8(__func__, code, out, outSize, written);
        if (step != Step::kGoOn) {
            return step == Step::kFail ? kFailed : 0;
        }
    }
    return 0;
}
