// Variables that follow the configuration, and values read and written at once.
#include <atomic>
#include <cstring>
#include <mutex>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_config.h"
// [/includes]

namespace {

// [variables]
std::mutex mediaMutex;
struct {
    int32_t frameRate = 30; // the default, when the configuration holds no value
    uint8_t muted = 0;
    char codec[32] = "H264";
} media;
// [/variables]

std::atomic<uint32_t> changes = 0;

bool holds(int32_t frameRate, const char* codec) {
    const std::lock_guard lock(mediaMutex);
    return media.frameRate == frameRate && std::strcmp(media.codec, codec) == 0;
}

// [changed]
// On the service's thread, once a write, with the items of this callback that it changed.
void onMediaChange(ConfConfigKeyValue* items, uint8_t count) {
    const std::lock_guard lock(mediaMutex);
    ConfConfigSetList(items, count, 0); // puts the new values into the variables
    ++changes;
}
// [/changed]

// [bind]
void bindKeys() {
    ConfConfigBind("Conf.Media.frameRate", CONF_CONFIG_TYPE_INT, &media.frameRate, sizeof media.frameRate,
                   onMediaChange);
    ConfConfigBind("Conf.Media.muted", CONF_CONFIG_TYPE_BOOL, &media.muted, sizeof media.muted, onMediaChange);
    ConfConfigBind("Conf.Media.codec", CONF_CONFIG_TYPE_STR, media.codec, sizeof media.codec, onMediaChange);
}
// [/bind]

// [write]
void mute() {
    const std::lock_guard lock(mediaMutex);
    media.muted = 1;
    ConfConfigSyncByKeyToOM("Conf.Media.muted");
}
// [/write]

void oneValue() {
    // [one]
    ConfConfigSetIntValue("Conf.Media.port", 5060);
    const int32_t port = ConfConfigGetIntValue("Conf.Media.port"); // 1 when there is none
    // [/one]
    guide::promise(port == 5060, "a value written and read at once");
}

} // namespace

int main() {
    // [start]
    if (ConfConfigInit(bindKeys, "Media", "Conf") != 0) {
        return 1;
    }
    {
        const std::lock_guard lock(mediaMutex); // a change may come meanwhile
        ConfConfigInitOmCfg();                  // loads the variables
    }
    // [/start]
    guide::promise(holds(25, "H264"), "the value held, and the default");
    std::puts("ready");
    std::fflush(stdout);

    guide::promise(guide::comesTrue([] { return changes == 1; }), "one call for one write");
    guide::promise(holds(60, "H265"), "what tarnctl has set");

    mute();
    oneValue();

    // [end]
    ConfConfigUnInit();
    ConfConfigDeInit();
    // [/end]
    return guide::result();
}
