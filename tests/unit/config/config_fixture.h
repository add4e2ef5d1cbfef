// A started registry, and callbacks whose calls a test can see.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "scripted_config.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "told.h"

namespace tarn::test {

// Texts that are too long fill their fields.
inline ConfConfigKeyValue keyValue(std::string_view key, std::string_view value) {
    ConfConfigKeyValue item = {};
    key.copy(item.key, sizeof item.key);
    value.copy(item.value, sizeof item.value);
    return item;
}

class ConfigTest : public ScriptedPlatformTest {
 protected:
    // A call of one of the test's callbacks.
    using Call = std::pair<size_t, KeyValueTexts>;
    static inline std::vector<Call> calls;

    void SetUp() override {
        ScriptedPlatformTest::SetUp();
        service.reset();
        calls.clear();
        ASSERT_EQ(SetLogLevel(CONF_LOG_DEBUG), 0U);
        ASSERT_EQ(ConfConfigInit([] {}, "owner", "domain"), 0U);
        platform.reset();
    }
    void TearDown() override {
        ConfConfigDeInit();
        SetLogLevel(CONF_LOG_INFO);
        ScriptedPlatformTest::TearDown();
    }

    // The n-th of 201 callbacks, which differ.
    static ConfConfigChangeCallBack callback(size_t n) {
        static constexpr auto kAll = []<size_t... kNumbers>(std::index_sequence<kNumbers...>) {
            return std::array<ConfConfigChangeCallBack, sizeof...(kNumbers)>{recordCall<kNumbers>...};
        }
        (std::make_index_sequence<201>());
        return kAll.at(n);
    }

    // Delivers these changes as the service does.
    static void notify(const KeyValueTexts& changes) {
        std::vector<ConfConfigOmValue> values(changes.size());
        std::vector<ConfConfigOmNotifyEntry> entries(changes.size());
        for (size_t i = 0; i < changes.size(); ++i) {
            const auto& [key, value] = changes[i];
            key.copy(entries[i].key, sizeof entries[i].key);
            value.copy(values[i].text, sizeof values[i].text);
            entries[i].keyLength = static_cast<uint8_t>(key.size());
            values[i].length = static_cast<uint32_t>(value.size());
            entries[i].value = &values[i];
        }
        ConfConfigOmNotify notification = {static_cast<uint32_t>(entries.size()), entries.data()};
        ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 1, 2, &notification);
    }

    // Writes of the service since the last call of this, one after the other.
    KeyValueTexts takeWritten() {
        KeyValueTexts all;
        for (const KeyValueTexts& write : std::exchange(service.writes, {})) {
            all.insert(all.end(), write.begin(), write.end());
        }
        return all;
    }

    ScriptedConfig& service = ScriptedConfig::get();

 private:
    template <size_t kNumber>
    static void recordCall(ConfConfigKeyValue* items, uint8_t count) {
        KeyValueTexts texts;
        for (uint8_t i = 0; i < count; ++i) {
            texts.emplace_back(items[i].key, items[i].value);
        }
        calls.emplace_back(kNumber, texts);
    }
};

} // namespace tarn::test
