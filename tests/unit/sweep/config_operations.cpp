// Configuration values, the registry, bulk access, the settings file.
#include <algorithm>
#include <cstring>
#include <filesystem>

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
    const auto isOneOf = [](const std::string& value, std::initializer_list<const char*> allowed) {
        return std::ranges::count(allowed, value) != 0;
    };
    bool isSound = isOneOf(std::to_string(number), {"0", "5", "6", "8"}) && isOneOf(text, {"", "one", "two"});
    for (const KeyValueTexts& write : ScriptedConfig::get().writes) {
        for (const auto& [key, value] : write) {
            isSound = isSound && (key == "Conf.a.number" ? isOneOf(value, {"0", "5", "6", "8"})
                                  : key == "Conf.a.text" ? isOneOf(value, {"one", "two"})
                                                         : isOneOf(value, {"1", "3", "", "192.0.2.1"}));
        }
    }
    return isSound;
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
    Subject subject = {.prepare = [] {}, .state = [] { return outputs().shown(); }, .finish = [] {}};
    const auto reads = [](const char* name, auto call) {
        return Operation{.name = name,
                         .run =
                             [=] {
                                 const ConfConfigValue value = stringValue("1");
                                 return static_cast<uint64_t>(call(&value));
                             },
                         .success = 1,
                         .failure = 0,
                         .tells = {"sscanf_s fail 2"}};
    };
    // Into the buffer, which is a bound variable here.
    const auto writes = [](std::string name, ConfConfigValue value, auto call,
                           std::map<std::string, uint64_t> results = {}) {
        return Operation{.name = std::move(name),
                         .run = [=] { return static_cast<uint64_t>(call(&value, outputs().text(), 4U)); },
                         .failure = kRefused,
                         .results = std::move(results),
                         .partial = "the variable takes what was read, and the buffer what a failed copy left"};
    };
    ConfConfigValue data = {};
    ConfConfigData2V(&data, "raw", 4);
    ConfConfigValue real = {};
    ConfConfigFloat2V(&real, 0.5);
    ConfConfigValue integer = {};
    ConfConfigInt2V(&integer, 5);
    ConfConfigValue positive = {};
    ConfConfigUInt2V(&positive, 5);
    ConfConfigValue flag = {};
    ConfConfigBool2V(&flag, 1);
    const auto renders = [&](const char* name, const ConfConfigValue& value, uint64_t code) {
        return Operation{
            .name = name, .run = [=] { return ConfConfigV2Str(&value, outputs().text(), 60); }, .failure = code};
    };
    const ConfConfigValue five = stringValue("5");
    const std::map<std::string, uint64_t> unread = {{"sscanf_s", 0}};
    subject.operations = {
        reads("ConfConfigV2Int", ConfConfigV2Int),
        reads("ConfConfigV2UInt", ConfConfigV2UInt),
        reads("ConfConfigV2Float", ConfConfigV2Float),
        reads("ConfConfigV2Bool", ConfConfigV2Bool),
        renders("ConfConfigV2Str/int", integer, kRefused),
        renders("ConfConfigV2Str/uint", positive, kRefused),
        renders("ConfConfigV2Str/float", real, kRefused),
        renders("ConfConfigV2Str/bool", flag, kCopyCode),
        renders("ConfConfigV2Str/str", five, kCopyCode),
        {.name = "ConfConfigV2Data",
         .run = [=] { return ConfConfigV2Data(&data, outputs().text(), 4); },
         .failure = kCopyCode},
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

Subject registry() {
    Subject subject = {.prepare =
                           [] {
                               ScriptedConfig::get().reset();
                               ScriptedConfig::get().held = {{"Conf.a.number", "8"}};
                               SetLogLevel(CONF_LOG_DEBUG);
                               number = 5;
                               std::strcpy(text, "one");
                               called.clear();
                               batch = {1, 2, batchRecords};
                               std::memset(batchRecords, 0, sizeof batchRecords);
                               ConfConfigInit(bindAll, "owner", "Conf");
                           },
                       .state = shownRegistry,
                       .finish =
                           [] {
                               ConfConfigDeInit();
                               SetLogLevel(CONF_LOG_INFO);
                           },
                       .isSound = registryIsSound};
    static const ConfConfigKeyValue items[] = {item("Conf.a.number", "6"), item("Conf.a.text", "two")};
    constexpr const char* kItems = "each item is carried by itself";
    const auto done = [](const char* name, auto call, std::map<std::string, uint64_t> results, const char* partial,
                         std::vector<std::string> tells = {}) {
        return Operation{.name = name,
                         .run =
                             [=] {
                                 call();
                                 return uint64_t{0};
                             },
                         .results = std::move(results),
                         .partial = partial,
                         .tells = std::move(tells)};
    };
    subject.operations = {
        {.name = "ConfConfigInit",
         .run = [] { return ConfConfigInit(bindAll, "owner", "Conf"); },
         .failure = kRefused,
         .results = {{kEveryCall, 0}, {"OsMemMallocSetCharMon", kRefused}},
         .partial = "it starts the registry anew, with the keys that can be bound",
         .tells = {"[ConfConfigInit]TarnOmConfigInit failed", "[ConfConfigInit]ConfConfigInit Malloc fail"}},
        {.name = "ConfConfigReInit",
         .run = [] { return ConfConfigReInit(); },
         .results = {{kEveryCall, 0}},
         .tells = {"[ConfConfigReInit]ConfInitOmConfig failed"}},
        done("ConfConfigBind", [] { ConfConfigBind("Conf.0", CONF_CONFIG_TYPE_INT, &number, 4, nullptr); },
             {{kEveryCall, 0}}, "a key that cannot be stored is not bound",
             {"[ConfConfigInsertIndex]conf secure func failed, err = 400!\n",
              "[ConfConfigAddIndex]conf secure func failed, err = 400!\n"}),
        done("ConfConfigInitOmCfg", ConfConfigInitOmCfg, {{kEveryCall, 0}}, kItems,
             {"[ConfConfigInitOmCfg]TarnOmConfigStringGet Conf.a.number failed!!!\n"}),
        done("ConfConfigClientCallBack", notify, {{kEveryCall, 0}}, "the callbacks are called, or none is",
             {"malloc fail\n", " ConfConfigDealCallBackList malloc fail\n", " ConfConfigAdditemlist memcpy_s fail\n"}),
        {.name = "ConfConfigAddOmCfg",
         .run =
             [] {
                 const ConfConfigValue value = stringValue("1");
                 return ConfConfigAddOmCfg("Conf.x", &value, &batch);
             },
         .failure = kRefused,
         .tells = {"[ConfConfigAddOmCfg]TarnOmConfigcopyStr2Key fail",
                   "[ConfConfigAddOmCfg]TarnOmConfigcopyStr2Val fail",
                   "[ConfConfigAddOmCfg]conf secure func failed, err = 400!\n"}},
        {.name = "ConfConfigAddOmCfg/full",
         .run =
             [] {
                 const ConfConfigValue value = stringValue("1");
                 batch.count = 2;
                 return ConfConfigAddOmCfg("Conf.x", &value, &batch);
             },
         .failure = kRefused,
         .results = {{"TarnOmConfigStringMset", 0}},
         .partial = "what the service does not take is not kept",
         .tells = {"[ConfConfigAddOmCfg]ConfConfigAddOmCfg ConfConfigSyncOmCfg fail"}},
        {.name = "ConfConfigSyncOmCfg",
         .run = [] { return ConfConfigSyncOmCfg(&batch); },
         .failure = kRefused,
         .partial = "what the service does not take is not kept"},
        {.name = "ConfConfigSetList",
         .run = [] { return static_cast<uint64_t>(ConfConfigSetList(items, 2, 1)); },
         .success = 2,
         .results = {{kEveryCall, kEither}, {"TarnOmConfigStringMset", static_cast<uint64_t>(-2)}},
         .partial = kItems,
         .tells = {"[ConfConfigSetList]:ConfConfigSyncOmCfg fail.\n"}},
        {.name = "ConfConfigSyncToOM",
         .run =
             [] {
                 const char* keys[] = {"Conf.a.number", "Conf.a.text"};
                 return ConfConfigSyncToOM(keys, 2);
             },
         .failure = kRefused,
         .results = {{kEveryCall, 0}, {"OsMemMallocSetCharMon", kRefused}, {"TarnOmConfigStringMset", kRefused}},
         .partial = kItems,
         .tells = {"[ConfConfigSyncToOM]Null ptr.", "[ConfConfigSyncToOM]ConfConfigSyncOmCfg fail\n"}},
        {.name = "ConfConfigSyncByKeyToOM",
         .run = [] { return ConfConfigSyncByKeyToOM("Conf."); },
         .failure = kRefused,
         .results = {{kEveryCall, 0}, {"OsMemMallocSetCharMon", kRefused}, {"TarnOmConfigStringMset", kRefused}},
         .partial = kItems},
        {.name = "ConfConfigSetIntValue",
         .run = [] { return ConfConfigSetIntValue("Conf.x", 3); },
         .tells = {"[ConfConfigSetIntValue]TarnOmConfigcopyStr2Key fail",
                   "[ConfConfigSetIntValue]TarnOmConfigsetUintValue fail",
                   "[ConfConfigSetIntValue]TarnOmConfigStringMset fail"}},
        {.name = "ConfConfigSetUint64Value", .run = [] { return ConfConfigSetUint64Value("Conf.x", 3); }},
        {.name = "ConfConfigGetIntValue",
         .run = [] { return static_cast<uint64_t>(ConfConfigGetIntValue("Conf.a.number")); },
         .success = 8},
        {.name = "ConfConfigGetUint64Value",
         .run = [] { return ConfConfigGetUint64Value("Conf.a.number", &outputs().number); },
         .tells = {"[ConfConfigGetUint64Value]Call TarnOmConfigcopyStr2Key failed! key:Conf.a.number.\n",
                   "[ConfConfigGetUint64Value]Call TarnOmConfigStringMget failed! key:Conf.a.number.\n"}},
        {.name = "SetEnableEofb", .run = [] { return SetEnableEofb(1); }},
        {.name = "GetEnableEofb", .run = [] { return static_cast<uint64_t>(GetEnableEofb()); }, .success = 1},
        {.name = "SetSipPreventAttack", .run = [] { return SetSipPreventAttack(1); }},
        {.name = "GetSipPreventAttack",
         .run = [] { return static_cast<uint64_t>(GetSipPreventAttack()); },
         .success = 1},
        {.name = "ConfConfigSetLocalIp",
         .run = [] { return ConfConfigSetLocalIp(CONF_LOCAL_IPV4, "192.0.2.1"); },
         .results = {{"TarnOmConfigcopyStr2Key", 0}, {"TarnOmConfigcopyStr2Val", 0}, {"TarnOmConfigStringSet", 501}},
         .partial = "a record is written with what could be put into it"},
    };
    const auto address = [](const char* name, auto call) {
        return Operation{.name = name,
                         .run = [=] { return call(7, outputs().text()); },
                         .results = {{kEveryCall, 0}, {"memcpy_s", kCopyCode}},
                         .partial = "what the service refuses leaves the buffer as it is"};
    };
    subject.operations.push_back(address("ConfConfigGetLocalIpv4", ConfConfigGetLocalIpv4));
    subject.operations.push_back(address("ConfConfigGetLocalIpv6", ConfConfigGetLocalIpv6));
    return subject;
}

Subject meetingServer() {
    Subject subject = {.prepare =
                           [] {
                               ScriptedConfig::get().reset();
                               ScriptedConfig::get().held = {{"Conf.b", "1"}};
                               makeBlock();
                           },
                       .state =
                           [] {
                               return std::to_string(ScriptedConfig::get().writes.size()) +
                                      (block->result != nullptr ? "answered" : "");
                           },
                       .finish =
                           [] {
                               OSMemTypeFreeMon(block->result, 0, 0, 0, "sweep");
                               OSMemTypeFreeMon(block, 0, 0, 0, "sweep");
                           }};
    subject.operations = {
        {.name = "ConfConfigGetConfConfig",
         .run =
             [] {
                 OSMemTypeFreeMon(block->result, 0, 0, 0, "sweep");
                 block->result = nullptr;
                 return ConfConfigGetConfConfig(0, block, GetMeetingServerMsgBlockSize(block));
             },
         .failure = kRefused,
         .results = {{"TarnOmConfigStringMget", 501}, {"memset_s", 0}},
         .partial = "what could not be copied is answered empty",
         .tells = {"[ConfConfigGetConfConfig]memcpy_s fail\n", "[ConfConfigGetConfConfig]Null ptr.",
                   "[ConfConfigGetConfConfig][CONFIG_DEVM]Get iconCfg: failed ret = 501.\n"}},
        {.name = "ConfConfigSetConfConfig",
         .run = [] { return ConfConfigSetConfConfig(0, block); },
         .failure = kRefused,
         .results = {{"TarnOmConfigStringMset", CONF_CONFIG_WRITE_REFUSED}, {"TarnOmKeymEncrypt", 1}},
         .tells = {"[ConfConfigSetConfConfig][CONFIG_DEVM]Set Cfg: failed ret = 501.\n",
                   "[ConfConfigSetConfConfig]ConfConfigSetConfConfig memset_s fail\n",
                   "[ConfConfigSetConfConfig]condition false."}},
    };
    return subject;
}

constexpr const char* kSettings =
    "<r><s name='isCloseWirelessCastWhenStopShare'>1</s><s name='isStopCastWhenConfEnd'>1</s>"
    "<s name='forbiddenSdkStopWirelessCast'>1</s><s name='onlyReportPresentationDevicePlug'>1</s>"
    "<s name='ignoreLayoutStrategy'>1</s><s name='isForbiddenKitCapbility'>1</s></r>";

Subject settings() {
    Subject subject = {.prepare =
                           [] {
                               std::filesystem::create_directory(scratch() / "conference");
                               writeFile(scratch() / "conference/conf_config.xml", kSettings);
                               scriptedPaths().configuration = scratch().path();
                           },
                       .state = [] { return outputs().shown() + std::to_string(g_configManager.itemNum); },
                       .finish =
                           [] {
                               // The settings stay for the life of the process.
                               OSMemTypeFreeMon(g_configManager.items, 0, 0, 0, "sweep");
                               g_configManager = {};
                               scriptedFiles().closeStreams();
                               scriptedPaths() = {};
                           },
                       .heap = kOperatorNew,
                       .losesMemory = true};
    const auto loads = [](const char* name, std::function<uint64_t()> read, uint64_t success, uint64_t failure) {
        return Operation{.name = name,
                         .run =
                             [=] {
                                 const uint32_t loaded = ConfConfigXmlInit();
                                 EXPECT_EQ(loaded != 0, g_configManager.items == nullptr);
                                 return read ? read() : loaded;
                             },
                         .success = success,
                         .failure = failure,
                         .results = {{"OsMutexLock", success}},
                         .partial = "the file is read once, well or not",
                         .losesHeapBy = {"OsFopen", "sprintf_s"}, // a file that cannot be opened
                         .ownProcess = true};
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
