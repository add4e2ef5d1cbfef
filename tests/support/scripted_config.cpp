#include "scripted_config.h"

#include <algorithm>
#include <cstring>

#include "scripted_platform.h"
#include "tarn_platform/om_key.h"

using tarn::test::KeyValueTexts;
using tarn::test::ScriptedConfig;
using tarn::test::ScriptedPlatform;

namespace {

constexpr uint32_t kConfigFailure = 501;
constexpr uint32_t kNotHeld = 502;
constexpr uint32_t kTooLong = 503;

template <typename Work>
uint32_t configCall(const char* call, Work work) {
    return ScriptedPlatform::get().enter(call) ? kConfigFailure : work();
}

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

uint32_t write(const ConfConfigOmRecord* records, uint32_t count) {
    ScriptedConfig& service = ScriptedConfig::get();
    KeyValueTexts written;
    for (uint32_t i = 0; i < count; ++i) {
        written.emplace_back(records[i].key.text, records[i].value.text);
        service.held[records[i].key.text] = records[i].value.text;
    }
    service.writes.push_back(std::move(written));
    return 0;
}

} // namespace

namespace tarn::test {

ScriptedConfig& ScriptedConfig::get() {
    static ScriptedConfig service;
    return service;
}

std::string scriptedCipherText(const std::string& plain) {
    std::string text = "#";
    for (const char character : plain) {
        text += {static_cast<char>('a' + (character >> 4 & 15)), static_cast<char>('q' + (character & 7))};
    }
    return text;
}

} // namespace tarn::test

uint32_t TarnOmConfigInit(uint32_t flag, const char* owner, const char* domain) {
    return configCall("TarnOmConfigInit", [&] {
        ScriptedConfig::get().connections.push_back(std::to_string(flag) + " " + owner + "/" + domain);
        return 0U;
    });
}

uint32_t TarnOmConfigUnInit(const char* domain) {
    ScriptedPlatform::get().enterInfallible("TarnOmConfigUnInit");
    ScriptedConfig::get().connections.push_back(std::string("-") + domain);
    return 0;
}

uint32_t TarnOmConfigNotifyCallback(OmConfigNotifyFunc callback, const char* domain) {
    return configCall("TarnOmConfigNotifyCallback", [&] {
        ScriptedConfig::get().callback = callback;
        ScriptedConfig::get().connections.push_back(std::string("=") + domain);
        return 0U;
    });
}

uint32_t TarnOmConfigStringGet(ConfConfigOmRecord* record) {
    return configCall("TarnOmConfigStringGet", [&] {
        const auto& held = ScriptedConfig::get().held;
        const auto found = held.find(record->key.text);
        return found == held.end() ? kNotHeld : fillField(record->value, found->second);
    });
}

uint32_t TarnOmConfigStringSet(ConfConfigOmRecord record) {
    return configCall("TarnOmConfigStringSet", [&] { return write(&record, 1); });
}

uint32_t TarnOmConfigStringMget(ConfConfigOmRecord* records, uint32_t count) {
    return configCall("TarnOmConfigStringMget", [&] {
        ScriptedConfig& service = ScriptedConfig::get();
        for (uint32_t i = 0; i < count; ++i) {
            const auto found = service.held.find(records[i].key.text);
            fillField(records[i].value, found == service.held.end() ? "" : found->second);
        }
        if (service.afterRead) {
            service.afterRead(records, count);
        }
        return 0U;
    });
}

uint32_t TarnOmConfigStringMset(ConfConfigOmRecord* records, uint32_t count) {
    return configCall("TarnOmConfigStringMset", [&] { return write(records, count); });
}

uint32_t TarnOmConfigcopyStr2Key(void* recordKey, const char* text) {
    return configCall("TarnOmConfigcopyStr2Key",
                      [&] { return fillField(*static_cast<ConfConfigOmKey*>(recordKey), text); });
}

uint32_t TarnOmConfigcopyStr2Val(void* recordValue, const char* text) {
    return configCall("TarnOmConfigcopyStr2Val",
                      [&] { return fillField(*static_cast<ConfConfigOmValue*>(recordValue), text); });
}

uint32_t TarnOmConfigsetIntValue(void* recordValue, int32_t number) {
    return configCall("TarnOmConfigsetIntValue",
                      [&] { return fillField(*static_cast<ConfConfigOmValue*>(recordValue), std::to_string(number)); });
}

uint32_t TarnOmConfigsetUintValue(void* recordValue, uint64_t number) {
    return configCall("TarnOmConfigsetUintValue",
                      [&] { return fillField(*static_cast<ConfConfigOmValue*>(recordValue), std::to_string(number)); });
}

uint32_t TarnOmKeymEncrypt(const char* owner, const char* plain, uint32_t plainLength, char* output,
                           uint32_t* outputLength) {
    return configCall("TarnOmKeymEncrypt", [&] {
        const std::string text = tarn::test::scriptedCipherText(std::string(plain, plainLength));
        if (text.size() >= OM_KEY_MAX_OUTPUT) {
            return kTooLong;
        }
        ScriptedConfig::get().keyOwner = owner;
        std::memcpy(output, text.c_str(), text.size() + 1);
        *outputLength = static_cast<uint32_t>(text.size());
        return 0U;
    });
}
