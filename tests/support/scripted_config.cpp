#include "scripted_config.h"

#include <algorithm>
#include <cstring>

#include "tarn_platform/om_key.h"

using namespace tarn::test;

namespace {

constexpr uint32_t kConfigFailure = 501;
constexpr uint32_t kNotHeld = 502;
constexpr uint32_t kTooLong = 503;

// Fills a text field of the client and its length.
template <typename Field>
uint32_t fillField(Field& field, const std::string& text) {
    if (text.size() >= sizeof field.text) {
        return kTooLong;
    }
    std::memset(field.text, 0, sizeof field.text);
    std::copy(text.begin(), text.end(), field.text);
    field.length = static_cast<uint32_t>(text.size());
    return 0;
}

template <typename Field>
uint32_t fill(const char* call, void* field, const std::string& text) {
    return scriptedCall(call, kConfigFailure, [&] { return fillField(*static_cast<Field*>(field), text); });
}

uint32_t write(const char* call, const ConfConfigOmRecord* records, uint32_t count) {
    return scriptedCall(call, kConfigFailure, [=] {
        ScriptedConfig& service = ScriptedConfig::get();
        KeyValueTexts& written = service.writes.emplace_back();
        for (uint32_t i = 0; i < count; ++i) {
            written.emplace_back(records[i].key.text, records[i].value.text);
            service.held[records[i].key.text] = records[i].value.text;
        }
    });
}

} // namespace

std::string tarn::test::scriptedCipherText(const std::string& plain) {
    std::string text = "#";
    for (const char character : plain) {
        text += {static_cast<char>('a' + (character >> 4 & 15)), static_cast<char>('q' + (character & 7))};
    }
    return text;
}

uint32_t TarnOmConfigInit(uint32_t flag, const char* owner, const char* domain) {
    return scriptedCall(__func__, kConfigFailure, [=] {
        ScriptedConfig::get().connections.push_back(std::to_string(flag) + " " + owner + "/" + domain);
    });
}

uint32_t TarnOmConfigUnInit(const char* domain) {
    ScriptedPlatform::get().enterInfallible(__func__);
    ScriptedConfig::get().connections.push_back(std::string("-") + domain);
    return 0;
}

uint32_t TarnOmConfigNotifyCallback(OmConfigNotifyFunc callback, const char* domain) {
    return scriptedCall(__func__, kConfigFailure, [=] {
        ScriptedConfig::get().callback = callback;
        ScriptedConfig::get().connections.push_back(std::string("=") + domain);
    });
}

uint32_t TarnOmConfigStringGet(ConfConfigOmRecord* record) {
    return scriptedCall(__func__, kConfigFailure, [=] {
        const auto& held = ScriptedConfig::get().held;
        const auto found = held.find(record->key.text);
        return found == held.end() ? kNotHeld : fillField(record->value, found->second);
    });
}

uint32_t TarnOmConfigStringSet(ConfConfigOmRecord record) {
    return write(__func__, &record, 1);
}

uint32_t TarnOmConfigStringMget(ConfConfigOmRecord* records, uint32_t count) {
    return scriptedCall(__func__, kConfigFailure, [=] {
        ScriptedConfig& service = ScriptedConfig::get();
        for (uint32_t i = 0; i < count; ++i) {
            const auto found = service.held.find(records[i].key.text);
            fillField(records[i].value, found == service.held.end() ? "" : found->second);
        }
        if (service.afterRead) {
            service.afterRead(records, count);
        }
    });
}

uint32_t TarnOmConfigStringMset(ConfConfigOmRecord* records, uint32_t count) {
    return write(__func__, records, count);
}

uint32_t TarnOmConfigcopyStr2Key(void* recordKey, const char* text) {
    return fill<ConfConfigOmKey>(__func__, recordKey, text);
}

uint32_t TarnOmConfigcopyStr2Val(void* recordValue, const char* text) {
    return fill<ConfConfigOmValue>(__func__, recordValue, text);
}

uint32_t TarnOmConfigsetIntValue(void* recordValue, int32_t number) {
    return fill<ConfConfigOmValue>(__func__, recordValue, std::to_string(number));
}

uint32_t TarnOmConfigsetUintValue(void* recordValue, uint64_t number) {
    return fill<ConfConfigOmValue>(__func__, recordValue, std::to_string(number));
}

uint32_t TarnOmKeymEncrypt(const char* owner, const char* plain, uint32_t plainLength, char* output,
                           uint32_t* outputLength) {
    return scriptedCall(__func__, kConfigFailure, [=] {
        const std::string text = scriptedCipherText(std::string(plain, plainLength));
        if (text.size() >= OM_KEY_MAX_OUTPUT) {
            return kTooLong;
        }
        ScriptedConfig::get().keyOwner = owner;
        std::memcpy(output, text.c_str(), text.size() + 1);
        *outputLength = static_cast<uint32_t>(text.size());
        return 0U;
    });
}
