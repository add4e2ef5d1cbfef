// The configuration client as tests use it: a service that is a map, with what it was asked kept for the test to see.
#pragma once

#include <functional>
#include <utility>

#include "scripted_platform.h"
#include "tarn_platform/om_config.h"

namespace tarn::test {

using KeyValueTexts = std::vector<std::pair<std::string, std::string>>;

struct ScriptedConfig {
    static ScriptedConfig& get() { return stateOf<ScriptedConfig>(); }
    void reset() { *this = {}; }

    std::map<std::string, std::string> held;
    std::vector<KeyValueTexts> writes; // one entry a call of the service
    OmConfigNotifyFunc callback = nullptr;
    // "flag owner/domain"; "=domain" for the callback's registration, and "-domain" for a disconnection.
    std::vector<std::string> connections;
    std::string keyOwner; // of the last value that was encrypted

    // When set, called behind the default reading of a bulk read; may change the records.
    std::function<void(ConfConfigOmRecord* records, uint32_t count)> afterRead;
};

// What the scripted key management makes of a value; the texts differ in every character.
std::string scriptedCipherText(const std::string& plain);

} // namespace tarn::test
