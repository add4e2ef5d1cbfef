#include "processes/media_config.h"

#include <array>
#include <cstring>
#include <mutex>

#include "processes/inbox.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_config_value.h"

namespace tarn::demo {
namespace {

constexpr const char* kPrefix = "Conf.MediaParam.";

struct MediaConfig {
    int32_t frameRate = 0;
    uint64_t maxBandwidth = 0;
    double gain = 0;
    uint8_t muted = 0;
    std::array<char, 32> codec = {};
    std::array<uint8_t, 16> calibration =
        {}; // stays in the process: data are never read from or written to the service
    std::array<char, 64> serverAddress = {};
};

MediaConfig config;
std::mutex configMutex; // changes come on a thread of the service

Reply valuesNow() {
    return {{"frameRate", std::to_string(config.frameRate)},
            {"maxBandwidth", std::to_string(config.maxBandwidth)},
            {"gain", std::to_string(config.gain)},
            {"muted", config.muted != 0 ? "TRUE" : "FALSE"},
            {"codec", config.codec.data()}};
}

std::string valueOf(const std::string& key) {
    const Reply values = valuesNow();
    const auto found = values.find(key);
    return found == values.end() ? "" : found->second;
}

// Applies the items and notes the call: how many items, and each key with its old and new value.
void noteChange(const char* kind, ConfConfigKeyValue* items, uint8_t count) {
    const size_t prefix = std::strlen(kPrefix);
    std::string seen = std::to_string(count) + " items";
    for (uint8_t i = 0; i < count; ++i) {
        const std::string key = items[i].key;
        const bool media = key.rfind(kPrefix, 0) == 0;
        const std::string old = media ? valueOf(key.substr(prefix)) : "";
        ConfConfigSetList(&items[i], 1, 0);
        if (media) {
            const std::string fresh = valueOf(key.substr(prefix));
            seen.append("; ").append(key).append(": ").append(old).append(" -> ").append(fresh);
        }
    }
    inbox().note(kind, seen);
}

void onMediaChange(ConfConfigKeyValue* items, uint8_t count) {
    const std::lock_guard lock(configMutex);
    noteChange("media-change", items, count);
}

void onServerChange(ConfConfigKeyValue* items, uint8_t count) {
    const std::lock_guard lock(configMutex);
    noteChange("server-change", items, count);
}

void bindItems() {
    ConfConfigBind("Conf.MediaParam.frameRate", CONF_CONFIG_TYPE_INT, &config.frameRate, sizeof config.frameRate,
                   onMediaChange);
    ConfConfigBind("Conf.MediaParam.maxBandwidth", CONF_CONFIG_TYPE_UINT, &config.maxBandwidth,
                   sizeof config.maxBandwidth, onMediaChange);
    ConfConfigBind("Conf.MediaParam.gain", CONF_CONFIG_TYPE_FLOAT, &config.gain, sizeof config.gain, onMediaChange);
    ConfConfigBind("Conf.MediaParam.muted", CONF_CONFIG_TYPE_BOOL, &config.muted, sizeof config.muted, onMediaChange);
    ConfConfigBind("Conf.MediaParam.codec", CONF_CONFIG_TYPE_STR, config.codec.data(), config.codec.size(),
                   onMediaChange);
    ConfConfigBind("Conf.MediaParam.calibration", CONF_CONFIG_TYPE_DATA, config.calibration.data(),
                   config.calibration.size(), onMediaChange);
    ConfConfigBind("Conf.ServerParam.addr", CONF_CONFIG_TYPE_STR, config.serverAddress.data(),
                   config.serverAddress.size(), onServerChange);
}

} // namespace

Reply startConfig(const Arguments&) {
    const uint32_t result = ConfConfigInit(bindItems, "TarnUIConf", "Conf");
    const std::lock_guard lock(configMutex);
    ConfConfigInitOmCfg();
    Reply reply = valuesNow();
    reply["result"] = std::to_string(result);
    return reply;
}

Reply configValues(const Arguments&) {
    const std::lock_guard lock(configMutex);
    return valuesNow();
}

Reply pushConfig(const Arguments&) {
    const std::lock_guard lock(configMutex);
    config.gain = 2.5;
    config.muted = 1;
    return {{"result", std::to_string(ConfConfigSyncByKeyToOM(kPrefix))}};
}

Reply endConfig(const Arguments&) {
    ConfConfigUnInit();
    ConfConfigDeInit();
    return {{"result", "0"}};
}

} // namespace tarn::demo
