#include "config_fixture.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace tarn::test {

namespace {

std::vector<CallbackCall> seenCalls;

template <size_t kNumber>
void recordCall(ConfConfigKeyValue* items, uint8_t count) {
    CallbackCall call = {kNumber, {}};
    for (uint8_t i = 0; i < count; ++i) {
        call.items.emplace_back(items[i].key, items[i].value);
    }
    seenCalls.push_back(std::move(call));
}

template <size_t... kNumbers>
constexpr auto makeCallbacks(std::index_sequence<kNumbers...>) {
    return std::array<ConfConfigChangeCallBack, sizeof...(kNumbers)>{recordCall<kNumbers>...};
}

} // namespace

ConfConfigKeyValue keyValue(std::string_view key, std::string_view value) {
    ConfConfigKeyValue item = {};
    std::memcpy(item.key, key.data(), std::min(key.size(), sizeof item.key));
    std::memcpy(item.value, value.data(), std::min(value.size(), sizeof item.value));
    return item;
}

void ConfigTest::SetUp() {
    ScriptedPlatformTest::SetUp();
    service.reset();
    seenCalls.clear();
    ASSERT_EQ(SetLogLevel(CONF_LOG_DEBUG), 0U);
    ASSERT_EQ(ConfConfigInit([] {}, "owner", "domain"), 0U);
    platform.reset();
}

void ConfigTest::TearDown() {
    ConfConfigDeInit();
    SetLogLevel(CONF_LOG_INFO);
    ScriptedPlatformTest::TearDown();
}

ConfConfigChangeCallBack ConfigTest::callback(size_t n) {
    static constexpr auto kAll = makeCallbacks(std::make_index_sequence<kCallbacks>());
    return kAll.at(n);
}

std::vector<CallbackCall>& ConfigTest::calls() {
    return seenCalls;
}

void ConfigTest::notify(const KeyValueTexts& changes) {
    std::vector<ConfConfigOmValue> values(changes.size());
    std::vector<ConfConfigOmNotifyEntry> entries(changes.size());
    for (size_t i = 0; i < changes.size(); ++i) {
        const auto& [key, value] = changes[i];
        std::memset(&entries[i], 'X', sizeof entries[i]); // a NUL behind a text is not promised
        std::memset(&values[i], 'X', sizeof values[i]);
        std::memcpy(entries[i].key, key.data(), key.size());
        std::memcpy(values[i].text, value.data(), value.size());
        entries[i].keyLength = static_cast<uint8_t>(key.size());
        values[i].length = static_cast<uint32_t>(value.size());
        entries[i].value = &values[i];
    }
    ConfConfigOmNotify notification = {static_cast<uint32_t>(entries.size()), entries.data()};
    ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 1, 2, &notification);
}

KeyValueTexts ConfigTest::takeWritten() {
    KeyValueTexts all;
    for (const KeyValueTexts& write : std::exchange(service.writes, {})) {
        all.insert(all.end(), write.begin(), write.end());
    }
    return all;
}

size_t ConfigTest::logsWith(const std::string& text, int level) const {
    const std::vector<LogRecord> logs = platform.logs();
    return static_cast<size_t>(std::ranges::count_if(logs, [&](const LogRecord& record) {
        return (level == kAnyLevel || record.level == level) && record.text.find(text) != std::string::npos;
    }));
}

} // namespace tarn::test
