// A started registry, and callbacks whose calls a test can see.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "scripted_config.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "told.h"

namespace tarn::test {

// A call of one of the test's callbacks.
struct CallbackCall {
    size_t callback;
    KeyValueTexts items;
    bool operator==(const CallbackCall&) const = default;
};

ConfConfigKeyValue keyValue(std::string_view key, std::string_view value);

class ConfigTest : public ScriptedPlatformTest {
 protected:
    static constexpr size_t kCallbacks = 201;

    void SetUp() override;
    void TearDown() override;

    // The n-th of `kCallbacks` callbacks, which differ.
    static ConfConfigChangeCallBack callback(size_t n);
    static std::vector<CallbackCall>& calls();

    // Delivers these changes as the service does.
    static void notify(const KeyValueTexts& changes);

    // Writes of the service since the last call of this, one after the other.
    KeyValueTexts takeWritten();

    // Records of the log at this level that hold a text.
    static constexpr int kAnyLevel = -1;
    size_t logsWith(const std::string& text, int level = CONF_LOG_ERROR) const;

    ScriptedConfig& service = ScriptedConfig::get();
};

} // namespace tarn::test
