// Bulk reads and writes of the meeting server, one call of the service each. They go past the registry: the bound
// variables learn of a write by the service's notification. The records stand on the stack, as many as are needed.
#include <alloca.h>

#include <algorithm>
#include <cstring>

#include "base/accounted.h"
#include "base/log.h"
#include "config/om_record.h"
#include "config/protected_key.h"
#include "tarn_conference/conf_config.h"
#include "tarn_platform/bounds_checked.h"
#include "tarn_platform/om_key.h"

namespace {

using tarn::detail::Accounted;
using tarn::detail::isEncryptedKey;
using tarn::detail::isProtectedKey;
using tarn::detail::isTerminated;
using tarn::detail::kKeyNotStoredText;
using tarn::detail::kNullPointerText;
using tarn::detail::kServiceOwner;
using tarn::detail::kValueNotStoredText;
using tarn::detail::storeKey;
using tarn::detail::storeValue;

constexpr const char* kLogName = "conf_config";
constexpr uint32_t kConditionFailed = 1;
constexpr const char* kConditionText = "condition false.";
constexpr uint32_t kHeaderBytes = offsetof(ConfMeetingServerMsgBlock, data);

// Records on the caller's stack, one at least.
#define STACK_RECORDS(count) \
    (static_cast<ConfConfigOmRecord*>(alloca(std::max<size_t>((count), 1) * sizeof(ConfConfigOmRecord))))

ConfConfigKeyValue* itemsOf(ConfMeetingServerMsgBlock& block) {
    return reinterpret_cast<ConfConfigKeyValue*>(reinterpret_cast<uint8_t*>(&block) + kHeaderBytes);
}

uint32_t itemCount(const ConfMeetingServerMsgBlock& block) {
    return std::min(block.listLen, static_cast<uint32_t>(block.dataLength / sizeof(ConfConfigKeyValue)));
}

// Whether the whole block lies in a buffer of this size. The size of a block wraps around for lengths that no buffer
// can hold, so the length itself is compared too.
bool fitsBuffer(const ConfMeetingServerMsgBlock& block, uint32_t bufferSize) {
    return bufferSize >= sizeof block && block.dataLength != 0 && GetMeetingServerMsgBlockSize(&block) <= bufferSize &&
           block.dataLength <= bufferSize - kHeaderBytes;
}

bool listLengthIsValid(const char* function, uint32_t listLen) {
    if (listLen > CONF_CONFIG_MAX_LIST) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "Input listLen = %d is out of range!", static_cast<int>(listLen));
        return false;
    }
    return true;
}

// Puts the items' keys into the records; ends the items' texts.
bool askForKeys(const char* function, ConfConfigKeyValue* items, ConfConfigOmRecord* records, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        ConfConfigKeyValue& item = items[i];
        item.key[sizeof item.key - 1] = '\0';
        item.value[sizeof item.value - 1] = '\0';
        TARN_LOG_AS(function, CONF_LOG_DEBUG, "key= %s.", item.key);
        if (!storeKey(function, records[i], item.key)) {
            return false;
        }
    }
    return true;
}

// Copies a text field and ends it.
template <size_t kBytes>
bool copyText(char (&target)[kBytes], const char (&text)[kBytes]) {
    const size_t length = strnlen(text, kBytes - 1);
    const errno_t copied = memcpy_s(target, kBytes, text, length);
    target[copied == 0 ? length : 0] = '\0';
    return copied == 0;
}

bool copyAnswers(const ConfConfigOmRecord* records, ConfConfigKeyValue* answers, uint32_t count) {
    bool allCopied = true;
    for (uint32_t i = 0; i < count; ++i) {
        const bool keyCopied = copyText(answers[i].key, records[i].key.text);
        const bool valueCopied = copyText(answers[i].value, records[i].value.text);
        allCopied = allCopied && keyCopied && valueCopied;
    }
    return allCopied;
}

// Hands the answers over to the block.
uint32_t attachAnswers(const char* function, ConfMeetingServerMsgBlock& block, const ConfConfigOmRecord* records,
                       uint32_t count) {
    const auto bytes = static_cast<uint32_t>(count * sizeof(ConfConfigKeyValue));
    Accounted<ConfConfigKeyValue> answers = TARN_ALLOCATE(ConfConfigKeyValue, std::max(bytes, 1U));
    if (answers == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_CONFIG_FAILED;
    }
    if (bytes != 0 && memset_s(answers.get(), bytes, 0, bytes) != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfConfigGetConfConfig memset_s fail\n");
    }
    const bool allCopied = copyAnswers(records, answers.get(), count);
    block.result = answers.release();
    block.resultLength = bytes;
    if (!allCopied) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "memcpy_s fail\n");
        return CONF_CONFIG_FAILED;
    }
    return 0;
}

bool store(const char* function, ConfConfigOmRecord& record, const ConfConfigKeyValue& item, const char* text) {
    return storeKey(function, record, item.key) && storeValue(function, record, text);
}

// Stores the value encrypted and wipes the caller's copy.
uint32_t storeEncrypted(const char* function, ConfConfigKeyValue& item, ConfConfigOmRecord& record) {
    char encrypted[OM_KEY_MAX_OUTPUT + 1] = {};
    uint32_t length = OM_KEY_MAX_OUTPUT;
    if (TarnOmKeymEncrypt(kServiceOwner, item.value, static_cast<uint32_t>(std::strlen(item.value)), encrypted,
                          &length) != 0) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", kConditionText);
        return kConditionFailed;
    }
    std::memset(item.value, 0, sizeof item.value);
    return store(function, record, item, encrypted) ? 0 : CONF_CONFIG_FAILED;
}

uint32_t fillRecord(const char* function, ConfConfigKeyValue& item, ConfConfigOmRecord& record) {
    if (!isTerminated(item.key, sizeof item.key)) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", kKeyNotStoredText);
        return CONF_CONFIG_FAILED;
    }
    TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfConfigSetConfConfig key= %s.\n", item.key);
    if (!isTerminated(item.value, sizeof item.value)) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", kValueNotStoredText);
        return CONF_CONFIG_FAILED;
    }
    if (isEncryptedKey(item.key)) {
        return storeEncrypted(function, item, record);
    }
    if (!isProtectedKey(item.key)) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfConfigSetConfConfig val= %s.\n", item.value);
    }
    return store(function, record, item, item.value) ? 0 : CONF_CONFIG_FAILED;
}

} // namespace

uint32_t ConfConfigGetConfConfig(uint32_t /*ignored*/, ConfMeetingServerMsgBlock* block, uint32_t blockBufferSize) {
    if (block == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_CONFIG_FAILED;
    }
    if (!fitsBuffer(*block, blockBufferSize)) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kConditionText);
        return CONF_CONFIG_FAILED;
    }
    if (!listLengthIsValid(__func__, block->listLen)) {
        return CONF_CONFIG_FAILED;
    }
    const uint32_t count = itemCount(*block);
    ConfConfigOmRecord* const records = STACK_RECORDS(count);
    std::memset(records, 0, count * sizeof *records);
    if (!askForKeys(__func__, itemsOf(*block), records, count)) {
        return CONF_CONFIG_FAILED;
    }
    const uint32_t read = TarnOmConfigStringMget(records, count);
    if (read != 0) {
        TARN_LOG(CONF_LOG_ERROR, "[CONFIG_DEVM]Get iconCfg: failed ret = %d.\n", static_cast<int>(read));
        return read;
    }
    return attachAnswers(__func__, *block, records, count);
}

uint32_t ConfConfigSetConfConfig(uint32_t /*ignored*/, ConfMeetingServerMsgBlock* block) {
    if (block == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return CONF_CONFIG_FAILED;
    }
    const uint32_t listLen = block->listLen;
    if (!listLengthIsValid(__func__, listLen)) {
        return CONF_CONFIG_FAILED;
    }
    TARN_LOG(CONF_LOG_INFO, "ConfConfigGetConfConfigset listLen = %d.\n", static_cast<int>(listLen));
    ConfConfigOmRecord* const records = STACK_RECORDS(listLen);
    const size_t bytes = listLen * sizeof *records;
    if (bytes != 0 && memset_s(records, bytes, 0, bytes) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfConfigSetConfConfig memset_s fail\n");
        return CONF_CONFIG_FAILED;
    }
    const uint32_t count = itemCount(*block);
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t filled = fillRecord(__func__, itemsOf(*block)[i], records[i]);
        if (filled != 0) {
            return filled;
        }
    }
    const uint32_t written = TarnOmConfigStringMset(records, count);
    if (written != 0) {
        TARN_LOG(CONF_LOG_ERROR, "[CONFIG_DEVM]Set Cfg: failed ret = %d.\n", static_cast<int>(written));
        return CONF_CONFIG_WRITE_REFUSED;
    }
    return 0;
}
