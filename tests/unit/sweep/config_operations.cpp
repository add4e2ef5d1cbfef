// Configuration values, the registry, bulk access, the settings file.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <set>

#include "failing_heap.h"
#include "scripted_config.h"
#include "scripted_file.h"
#include "scripted_path.h"
#include "scripted_platform.h"
#include "sweep.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_platform/os_memory.h"

namespace tarn::test {

namespace {

constexpr uint64_t kRefused = CONF_CONFIG_FAILED;
constexpr uint64_t kCopyCode = 400;

int32_t number;
char text[16];
std::vector<std::string> called;
ConfConfigOmRecord batchRecords[2];
ConfConfigOmBatch batch;
ConfMeetingServerMsgBlock* block = nullptr;

ConfConfigValue stringValue(const char* content) {
    ConfConfigValue value = {};
    ConfConfigStr2V(&value, content);
    return value;
}

void bindAll() {
    ConfConfigBind("Conf.a.number", CONF_CONFIG_TYPE_INT, &number, sizeof number,
                   [](ConfConfigKeyValue*, uint8_t n) { called.push_back(std::to_string(n)); });
    ConfConfigBind("Conf.a.text", CONF_CONFIG_TYPE_STR, text, sizeof text, nullptr);
}

// All keys as a push of everything writes them.
std::string shownRegistry() {
    ScriptedConfig& service = ScriptedConfig::get();
    const std::vector<KeyValueTexts> writes = service.writes;
    const auto held = service.held;
    std::string shown = std::to_string(number) + text + std::to_string(batch.count);
    for (const std::string& call : called) {
        shown += "," + call;
    }
    for (const auto& [key, value] : held) {
        shown += key + "=" + value + ";";
    }
    service.writes.clear();
    ConfConfigSyncByKeyToOM("");
    for (const KeyValueTexts& write : service.writes) {
        for (const auto& [key, value] : write) {
            shown += key + ":" + value + ";";
        }
    }
    service.writes = writes;
    service.held = held;
    return shown + std::to_string(writes.size());
}

// The variables and the service hold what they were given, or were emptied by a number that could not be read.
bool registryIsSound() {
    std::vector<std::string> values = {std::to_string(number), text};
    for (const KeyValueTexts& write : ScriptedConfig::get().writes) {
        for (const auto& [key, value] : write) {
            values.push_back(value);
        }
    }
    const std::set<std::string> allowed = {"", "0", "1", "3", "5", "6", "8", "one", "two", "192.0.2.1"};
    return std::ranges::all_of(values, [&](const std::string& value) { return allowed.contains(value); });
}

ConfConfigKeyValue item(const char* key, const char* value) {
    ConfConfigKeyValue made = {};
    std::strcpy(made.key, key);
    std::strcpy(made.value, value);
    return made;
}

void makeBlock() {
    const ConfConfigKeyValue items[] = {item("Conf.SIPCallParam.sipPwd", "SeCrEt"), item("Conf.b", "2")};
    block = GenerateMeetingServerMsgBlock(items, sizeof items);
    block->listLen = 2;
}

void notify() {
    ConfConfigOmValue value = {"7", 1};
    ConfConfigOmNotifyEntry entry = {};
    std::strcpy(entry.key, "Conf.a.number");
    entry.keyLength = 13;
    entry.value = &value;
    ConfConfigOmNotify notification = {1, &entry};
    ConfConfigClientCallBack(OM_CONFIG_MSG_CHANGED, 0, 0, &notification);
}

Subject values() {
    Subject subject;
    const auto reads = [](const char* name, auto call) {
        return op(name,
                  [=] {
                      const ConfConfigValue value = stringValue("1");
                      return static_cast<uint64_t>(call(&value));
                  },
                  {1, 0}, nullptr, {"sscanf_s fail 2"});
    };
    // Into the buffer, which is a bound variable here.
    const auto writes = [](std::string name, ConfConfigValue value, auto call,
                           std::map<std::string, uint64_t> results = {}) {
        return op(
            std::move(name), [=] { return static_cast<uint64_t>(call(&value, outputs().text(), 4U)); },
            {0, kRefused, std::move(results)},
            "the variable takes what was read, and the buffer what a failed copy left");
    };
    ConfConfigValue data = {};
    ConfConfigData2V(&data, "raw", 4);
    ConfConfigValue integer = {};
    ConfConfigInt2V(&integer, 5);
    const auto renders = [&](const char* name, const ConfConfigValue& value, uint64_t code) {
        return op(name, [=] { return ConfConfigV2Str(&value, outputs().text(), 60); }, {0, code});
    };
    const ConfConfigValue five = stringValue("5");
    const std::map<std::string, uint64_t> unread = {{"sscanf_s", 0}};
    subject.operations = {
        reads("ConfConfigV2Int", ConfConfigV2Int),
        reads("ConfConfigV2UInt", ConfConfigV2UInt),
        reads("ConfConfigV2Float", ConfConfigV2Float),
        reads("ConfConfigV2Bool", ConfConfigV2Bool),
        renders("ConfConfigV2Str/int", integer, kRefused),
        renders("ConfConfigV2Str/str", five, kCopyCode),
        op("ConfConfigV2Data", [=] { return ConfConfigV2Data(&data, outputs().text(), 4); }, {0, kCopyCode}),
        writes("ConfConfigCheckStr", stringValue("abc"), ConfConfigCheckStr, {{"strcpy_s", kEither}}),
        writes("ConfConfigInt2D", five, ConfConfigInt2D, unread),
        writes("ConfConfigUInt2D", five, ConfConfigUInt2D, unread),
        writes("ConfConfigFloat2D", five, ConfConfigFloat2D, unread),
        writes("ConfConfigBool2D", five, ConfConfigBool2D, unread),
        writes("ConfConfigV2DByType", stringValue("abc"),
               [](const ConfConfigValue* value, void* variable, uint32_t size) {
                   return ConfConfigV2DByType(value, variable, size, CONF_CONFIG_TYPE_STR);
               },
               {{"strcpy_s", kEither}}),
    };
    return subject;
}

std::vector<Operation> registryOperations() {
    static const ConfConfigKeyValue items[] = {item("Conf.a.number", "6"), item("Conf.a.text", "two")};
    constexpr const char* kItems = "each item is carried by itself";
    return {
        op("ConfConfigInit", [] { return ConfConfigInit(bindAll, "owner", "Conf"); },
           {0, kRefused, {{kEveryCall, 0}, {"OsMemMallocSetCharMon", kRefused}}},
           "it starts the registry anew, with the keys that can be bound",
           {"TarnOmConfigInit failed", "ConfConfigInit Malloc fail"}),
        op("ConfConfigReInit", [] { return ConfConfigReInit(); }, {0, 1, {{kEveryCall, 0}}}, nullptr,
           {"ConfInitOmConfig failed"}),
        op("ConfConfigBind", done([] { ConfConfigBind("Conf.0", CONF_CONFIG_TYPE_INT, &number, 4, nullptr); }),
           {0, 1, {{kEveryCall, 0}}}, "a key that cannot be stored is not bound",
           {"[ConfConfigInsertIndex]conf secure func failed, err = 400!\n",
            "[ConfConfigAddIndex]conf secure func failed, err = 400!\n"}),
        op("ConfConfigInitOmCfg", done(ConfConfigInitOmCfg), {0, 1, {{kEveryCall, 0}}}, kItems,
           {"TarnOmConfigStringGet Conf.a.number failed!!!\n at level 4"}),
        op("ConfConfigClientCallBack", done(notify), {0, 1, {{kEveryCall, 0}}}, "the callbacks are called, or none is",
           {"malloc fail\n", "[ConfConfigDealCallBackList] ConfConfigDealCallBackList malloc fail\n",
            "[ConfConfigAdditemlist] ConfConfigAdditemlist memcpy_s fail\n"}),
        op("ConfConfigAddOmCfg",
           [] {
               const ConfConfigValue value = stringValue("1");
               return ConfConfigAddOmCfg("Conf.x", &value, &batch);
           },
           {0, kRefused}, nullptr,
           {"TarnOmConfigcopyStr2Key fail", "TarnOmConfigcopyStr2Val fail", "conf secure func failed, err = 400!\n"}),
        op("ConfConfigAddOmCfg/full",
           [] {
               const ConfConfigValue value = stringValue("1");
               batch.count = 2;
               return ConfConfigAddOmCfg("Conf.x", &value, &batch);
           },
           {0, kRefused, {{"TarnOmConfigStringMset", 0}}}, "what the service does not take is not kept",
           {"ConfConfigAddOmCfg ConfConfigSyncOmCfg fail"}),
        op(
            "ConfConfigSyncOmCfg", [] { return ConfConfigSyncOmCfg(&batch); }, {0, kRefused},
            "what the service does not take is not kept"),
        op("ConfConfigSetList", [] { return static_cast<uint64_t>(ConfConfigSetList(items, 2, 1)); },
           {2, 1, {{kEveryCall, kEither}, {"TarnOmConfigStringMset", static_cast<uint64_t>(-2)}}}, kItems,
           {":ConfConfigSyncOmCfg fail.\n", "conf secure func failed, err = 400!\n"}),
        op("ConfConfigSyncToOM",
           [] {
               const char* keys[] = {"Conf.a.number", "Conf.a.text"};
               return ConfConfigSyncToOM(keys, 2);
           },
           {0, kRefused, {{kEveryCall, 0}, {"OsMemMallocSetCharMon", kRefused}, {"TarnOmConfigStringMset", kRefused}}},
           kItems, {"Null ptr.", "ConfConfigSyncOmCfg fail\n"}),
    };
}

// What goes past the registry, straight to the service.
std::vector<Operation> serviceOperations() {
    const auto address = [](const char* name, auto call) {
        return op(
            name, [=] { return call(7, outputs().text()); }, {0, 1, {{kEveryCall, 0}, {"memcpy_s", kCopyCode}}},
            "what the service refuses leaves the buffer as it is");
    };
    return {
        op("ConfConfigSetIntValue", [] { return ConfConfigSetIntValue("Conf.x", 3); }, {}, nullptr,
           {"TarnOmConfigcopyStr2Key fail", "TarnOmConfigsetUintValue fail", "TarnOmConfigStringMset fail"}),
        op("ConfConfigSetUint64Value", [] { return ConfConfigSetUint64Value("Conf.x", 3); }),
        op("ConfConfigGetIntValue", [] { return static_cast<uint64_t>(ConfConfigGetIntValue("Conf.a.number")); }, {8}),
        op("ConfConfigGetUint64Value", [] { return ConfConfigGetUint64Value("Conf.a.number", &outputs().number); }, {},
           nullptr,
           {"Call TarnOmConfigcopyStr2Key failed! key:Conf.a.number.\n at level 3",
            "Call TarnOmConfigStringMget failed! key:Conf.a.number.\n at level 3"}),
        op(
            "ConfConfigSetLocalIp", [] { return ConfConfigSetLocalIp(CONF_LOCAL_IPV4, "192.0.2.1"); },
            {0, 1, {{"TarnOmConfigcopyStr2Key", 0}, {"TarnOmConfigcopyStr2Val", 0}, {"TarnOmConfigStringSet", 501}}},
            "a record is written with what could be put into it"),
        address("ConfConfigGetLocalIpv4", ConfConfigGetLocalIpv4),
        address("ConfConfigGetLocalIpv6", ConfConfigGetLocalIpv6),
    };
}

Subject registry() {
    Subject subject;
    subject.prepare = [] {
        ScriptedConfig::get().reset();
        ScriptedConfig::get().held = {{"Conf.a.number", "8"}};
        SetLogLevel(CONF_LOG_DEBUG);
        number = 5;
        std::strcpy(text, "one");
        called.clear();
        batch = {1, 2, batchRecords};
        std::memset(batchRecords, 0, sizeof batchRecords);
        ConfConfigInit(bindAll, "owner", "Conf");
    };
    subject.state = shownRegistry;
    subject.finish = [] {
        ConfConfigDeInit();
        SetLogLevel(CONF_LOG_INFO);
    };
    subject.isSound = registryIsSound;
    subject.operations = registryOperations();
    const std::vector<Operation> straight = serviceOperations();
    subject.operations.insert(subject.operations.end(), straight.begin(), straight.end());
    return subject;
}

Subject meetingServer() {
    Subject subject;
    subject.prepare = [] {
        ScriptedConfig::get().reset();
        ScriptedConfig::get().held = {{"Conf.b", "1"}};
        makeBlock();
    };
    subject.state = [] {
        return std::to_string(ScriptedConfig::get().writes.size()) + (block->result != nullptr ? "answered" : "");
    };
    subject.finish = [] {
        OSMemTypeFreeMon(block->result, 0, 0, 0, "sweep");
        OSMemTypeFreeMon(block, 0, 0, 0, "sweep");
    };
    subject.operations = {
        op("ConfConfigGetConfConfig",
           [] {
               OSMemTypeFreeMon(block->result, 0, 0, 0, "sweep");
               block->result = nullptr;
               return ConfConfigGetConfConfig(0, block, GetMeetingServerMsgBlockSize(block));
           },
           {0, kRefused, {{"TarnOmConfigStringMget", 501}, {"memset_s", 0}}},
           "what could not be copied is answered empty",
           {"memcpy_s fail\n", "Null ptr.", "ConfConfigGetConfConfig memset_s fail\n", "TarnOmConfigcopyStr2Key fail",
            "[CONFIG_DEVM]Get iconCfg: failed ret = 501.\n"}),
        op("ConfConfigSetConfConfig", [] { return ConfConfigSetConfConfig(0, block); },
           {0, kRefused, {{"TarnOmConfigStringMset", CONF_CONFIG_WRITE_REFUSED}, {"TarnOmKeymEncrypt", 1}}}, nullptr,
           {"TarnOmConfigcopyStr2Val fail", "[CONFIG_DEVM]Set Cfg: failed ret = 501.\n",
            "ConfConfigSetConfConfig memset_s fail\n", "condition false."}),
    };
    return subject;
}

constexpr const char* kSettings =
    "<r><s name='isCloseWirelessCastWhenStopShare'>1</s><s name='isStopCastWhenConfEnd'>1</s>"
    "<s name='forbiddenSdkStopWirelessCast'>1</s><s name='onlyReportPresentationDevicePlug'>1</s>"
    "<s name='ignoreLayoutStrategy'>1</s><s name='isForbiddenKitCapbility'>1</s></r>";

Subject settings() {
    Subject subject;
    subject.prepare = [] {
        std::filesystem::create_directory(scratch() / "conference");
        writeFile(scratch() / "conference/conf_config.xml", kSettings);
        scriptedPaths().configuration = scratch().path();
    };
    subject.state = [] { return outputs().shown() + std::to_string(g_configManager.itemNum); };
    subject.finish = [] {
        // The settings stay for the life of the process.
        OSMemTypeFreeMon(g_configManager.items, 0, 0, 0, "sweep");
        g_configManager = {};
        scriptedFiles().closeStreams();
        scriptedPaths() = {};
    };
    subject.heap = kOperatorNew;
    subject.losesHeapBy = {"OsFopen", "sprintf_s"};
    subject // a file that cannot be opened
        .ownProcess = true;
    const auto loads = [](const char* name, std::function<uint64_t()> read, uint64_t success, uint64_t failure) {
        return op(
            name,
            [=] {
                const uint32_t loaded = ConfConfigXmlInit();
                EXPECT_EQ(loaded != 0, g_configManager.items == nullptr);
                return read ? read() : loaded;
            },
            {success, failure, {{"OsMutexLock", success}}}, "the file is read once, well or not");
    };
    subject.operations = {
        loads("ConfConfigXmlInit", {}, 0, 1),
        loads(
            "ConfConfigGetValueByName",
            [] { return ConfConfigGetValueByName("ignoreLayoutStrategy", outputs().text(), 2); }, 0, 1),
        loads("IsCloseWirelessCast", IsCloseWirelessCast, 1, 0),
        loads("IsStopCastWhenConfEnd", IsStopCastWhenConfEnd, 1, 0),
        loads("IsForbiddenSdkStopWirelessCast", IsForbiddenSdkStopWirelessCast, 1, 0),
        loads("OnlyReportPresentationDevicePlug", OnlyReportPresentationDevicePlug, 1, 0),
        loads("IgnoreLayoutStrategy", IgnoreLayoutStrategy, 1, 0),
        loads("CallServiceIsForbiddenKitCap", CallServiceIsForbiddenKitCap, 1, 0),
    };
    return subject;
}

} // namespace

std::vector<Subject> configSubjects() {
    return {values(), registry(), meetingServer(), settings()};
}

} // namespace tarn::test
