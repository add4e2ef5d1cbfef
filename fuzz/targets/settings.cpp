// Settings files. The file is read once in the life of a process, so the source itself is part of this program: only
// here its memory of having read can be wiped. Its functions stand in for the library's; its variable, which no two
// modules may define, has another name.
#define g_configManager fuzzedSettings
#include "config/conf_settings.cpp" // NOLINT(bugprone-suspicious-include)

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "input.h"
#include "scratch_directory.h"
#include "scripted_path.h"
#include "scripted_run.h"

namespace {

void forgetSettings() {
    TARN_FREE(g_configManager.items);
    g_configManager = {};
    g_configXmlLoaded = false;
}

// Each setting is found by its name, as the first of that name, into a buffer of exactly its size and no smaller one.
void lookUp(const ConfConfigNameValue& item) {
    FUZZ_CHECK(std::memchr(item.name, '\0', sizeof item.name) != nullptr);
    FUZZ_CHECK(std::memchr(item.value, '\0', sizeof item.value) != nullptr);
    const ConfConfigNameValue* const items = g_configManager.items;
    const ConfConfigNameValue* const first =
        std::find_if(items, &item, [&](const auto& other) { return strcasecmp(other.name, item.name) == 0; });
    const size_t size = std::strlen(first->value) + 1;
    const auto buffer = std::make_unique<char[]>(size);
    FUZZ_CHECK(ConfConfigGetValueByName(item.name, buffer.get(), static_cast<uint32_t>(size)) == 0);
    FUZZ_CHECK(std::strcmp(buffer.get(), first->value) == 0);
    const auto small = std::make_unique<char[]>(size - 1);
    FUZZ_CHECK(ConfConfigGetValueByName(item.name, small.get(), static_cast<uint32_t>(size - 1)) == 1);
}

void askSwitches() {
    for (uint32_t (*const question)() : {IsCloseWirelessCast, IsStopCastWhenConfEnd, IsForbiddenSdkStopWirelessCast,
                                         OnlyReportPresentationDevicePlug, IgnoreLayoutStrategy}) {
        FUZZ_CHECK(question() == question());
    }
    CallServiceIsForbiddenKitCap();
}

void fuzzSettings(std::span<const uint8_t> bytes) {
    static const tarn::fuzz::ScratchDirectory directory;
    const tarn::fuzz::ScriptedRun run;
    directory.write("conference/conf_config.xml", bytes);
    tarn::test::scriptedPaths().configuration = directory.path();
    const uint32_t result = ConfConfigXmlInit();
    FUZZ_CHECK(ConfConfigXmlInit() == 0); // a second call reads nothing
    FUZZ_CHECK(result <= 1 && (result == 0) == (g_configManager.itemNum != 0));
    FUZZ_CHECK((g_configManager.items != nullptr) == (result == 0));
    for (uint32_t i = 0; i < std::min(g_configManager.itemNum, 50U); ++i) {
        lookUp(g_configManager.items[i]);
    }
    askSwitches();
    forgetSettings();
}

const tarn::fuzz::Target target("settings", fuzzSettings);

} // namespace
