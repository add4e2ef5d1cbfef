#include "config/om_record.h"

#include <cerrno>
#include <charconv>
#include <cstring>

namespace tarn::host {
namespace {

// Bytes of the field's text; the whole field for one without an end.
template <typename Field>
size_t lengthOf(const Field& field) {
    return strnlen(field.text, sizeof field.text);
}

template <typename Field>
bool isWhole(const Field& field) {
    const size_t length = lengthOf(field);
    return length < sizeof field.text && (field.length == 0 || field.length == length);
}

template <typename Field>
uint32_t copyText(void* target, const char* text) {
    auto* const field = static_cast<Field*>(target);
    if (field == nullptr || text == nullptr) {
        return EINVAL;
    }
    const size_t length = strnlen(text, sizeof field->text);
    if (length == sizeof field->text) {
        return EMSGSIZE;
    }
    std::memmove(field->text, text, length);
    field->text[length] = '\0';
    field->length = static_cast<uint32_t>(length);
    return 0;
}

template <typename Number>
uint32_t renderNumber(void* target, Number number) {
    auto* const value = static_cast<ConfConfigOmValue*>(target);
    if (value == nullptr) {
        return EINVAL;
    }
    const auto [end, error] = std::to_chars(value->text, value->text + sizeof value->text - 1, number);
    *end = '\0';
    value->length = static_cast<uint32_t>(end - value->text);
    return 0;
}

} // namespace

bool isKeyField(const ConfConfigOmKey& key) {
    return isWhole(key);
}

int checkKey(const ConfConfigOmKey& key) {
    return isWhole(key) && key.text[0] != '\0' ? 0 : EINVAL;
}

int checkRecords(std::span<const ConfConfigOmRecord> records) {
    for (const ConfConfigOmRecord& record : records) {
        if (checkKey(record.key) != 0 || !isWhole(record.value)) {
            return EINVAL;
        }
    }
    return 0;
}

} // namespace tarn::host

uint32_t TarnOmConfigcopyStr2Key(void* recordKey, const char* text) {
    return tarn::host::copyText<ConfConfigOmKey>(recordKey, text);
}

uint32_t TarnOmConfigcopyStr2Val(void* recordValue, const char* text) {
    return tarn::host::copyText<ConfConfigOmValue>(recordValue, text);
}

uint32_t TarnOmConfigsetIntValue(void* recordValue, int32_t number) {
    return tarn::host::renderNumber(recordValue, number);
}

uint32_t TarnOmConfigsetUintValue(void* recordValue, uint64_t number) {
    return tarn::host::renderNumber(recordValue, number);
}
