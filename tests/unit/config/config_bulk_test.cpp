#include <cstring>
#include <memory>

#include "config_fixture.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_platform/os_memory.h"

namespace tarn::test {
namespace {

using namespace testing;

using Block = std::shared_ptr<ConfMeetingServerMsgBlock>;

Block makeBlock(const std::vector<ConfConfigKeyValue>& items) {
    const size_t bytes = items.size() * sizeof(ConfConfigKeyValue);
    const Block block(GenerateMeetingServerMsgBlock(items.data(), static_cast<uint32_t>(bytes)), [](auto* made) {
        OSMemTypeFreeMon(made->result, 0, 0, __LINE__, "test");
        OSMemTypeFreeMon(made, 0, 0, __LINE__, "test");
    });
    block->listLen = static_cast<uint32_t>(items.size());
    return block;
}

const ConfConfigKeyValue* itemsOf(const Block& block) {
    return reinterpret_cast<const ConfConfigKeyValue*>(reinterpret_cast<const char*>(block.get()) +
                                                       offsetof(ConfMeetingServerMsgBlock, data));
}

using ConfigBulk = ConfigTest;

TEST_F(ConfigBulk, AReadIsOneCallOfTheServiceOrRefused) {
    const Block block = makeBlock({keyValue("Conf.a", "1"), keyValue("Conf.b", "2")});
    const uint32_t size = GetMeetingServerMsgBlockSize(block.get());
    constexpr uint32_t kItems = 2 * sizeof(ConfConfigKeyValue);
    const auto read = [&](uint32_t dataLength, uint32_t bufferSize) {
        block->dataLength = dataLength;
        return ConfConfigGetConfConfig(0, block.get(), bufferSize);
    };
    EXPECT_THAT(
        Codes({ConfConfigGetConfConfig(0, nullptr, size), ConfConfigSetConfConfig(0, nullptr), read(kItems, size - 1),
               read(0, size), read(size, size), read(0xFFFFFFA1U, size)}), // the last wraps around
        Each(CONF_CONFIG_FAILED));
    const std::string condition = "condition false.";
    EXPECT_THAT(takeLogs("ConfConfigGetConfConfig"), ElementsAre("Null ptr.", "1 [ConfConfigSetConfConfig]Null ptr.",
                                                                 condition, condition, condition, condition));
    block->listLen = 501;
    EXPECT_THAT(Codes({read(kItems, size), ConfConfigSetConfConfig(0, block.get())}), Each(CONF_CONFIG_FAILED));
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfConfigGetConfConfig]Input listLen = 501 is out of range!",
                                        "1 [ConfConfigSetConfConfig]Input listLen = 501 is out of range!"));
    block->listLen = 500;
    EXPECT_EQ(read(kItems, size), 0U);
    EXPECT_EQ(block->resultLength, kItems);
    EXPECT_EQ(platform.count("TarnOmConfigStringMget"), 1U);
    EXPECT_THAT(takeLogs(),
                ElementsAre("4 [ConfConfigGetConfConfig]key= Conf.a.", "4 [ConfConfigGetConfConfig]key= Conf.b."));
}

TEST_F(ConfigBulk, AWriteEncryptsThePasswordsAndWipesThemAndTellsEachStep) {
    const Block block = makeBlock({keyValue("Conf.SIPCallParam.sipPwd", "SeCrEt"), keyValue("Conf.plain", "open"),
                                   keyValue("Conf.H323CallParam.gkPwd", ""), keyValue("Conf.ServerParam.pwd", "HiDdEn"),
                                   keyValue("conf.sipcallparam.sippwd", "seen")});
    block->listLen = 6; // more than there are
    EXPECT_EQ(ConfConfigSetConfConfig(0, block.get()), 0U);
    EXPECT_THAT(service.writes, ElementsAre(KeyValueTexts{{"Conf.SIPCallParam.sipPwd", scriptedCipherText("SeCrEt")},
                                                          {"Conf.plain", "open"},
                                                          {"Conf.H323CallParam.gkPwd", scriptedCipherText("")},
                                                          {"Conf.ServerParam.pwd", "HiDdEn"},
                                                          {"conf.sipcallparam.sippwd", "seen"}}));
    EXPECT_EQ(service.keyOwner, "TarnUIConf");
    EXPECT_EQ(std::string(itemsOf(block)[0].value, 1024), std::string(1024, '\0'));
    EXPECT_STREQ(itemsOf(block)[1].value, "open");
    const std::string told = "ConfConfigSetConfConfig ";
    EXPECT_THAT(
        takeLogs("ConfConfigSetConfConfig"),
        ElementsAre("3 [ConfConfigSetConfConfig]ConfConfigGetConfConfigset listLen = 6.\n",
                    told + "key= Conf.SIPCallParam.sipPwd.\n", told + "key= Conf.plain.\n", told + "val= open.\n",
                    told + "key= Conf.H323CallParam.gkPwd.\n", told + "key= Conf.ServerParam.pwd.\n",
                    told + "key= conf.sipcallparam.sippwd.\n", told + "val= seen.\n"));

    const std::pair<ConfConfigKeyValue, const char*> endless[] = {
        {keyValue(std::string(128, 'k'), "1"), "TarnOmConfigcopyStr2Key fail"},
        {keyValue("Conf.a", std::string(1024, 'v')), "TarnOmConfigcopyStr2Val fail"}};
    for (const auto& [item, error] : endless) {
        const Block refused = makeBlock({keyValue("Conf.good", "1"), item});
        EXPECT_EQ(ConfConfigSetConfConfig(0, refused.get()), CONF_CONFIG_FAILED);
        EXPECT_EQ(takeLogs("ConfConfigSetConfConfig").back(), error);
    }
}

TEST_F(ConfigBulk, SingleNumbersGoStraightToTheService) {
    uint64_t number = 7;
    EXPECT_EQ(ConfConfigSetUint64Value("Conf.uint", UINT64_MAX), 0U);
    EXPECT_EQ(ConfConfigGetUint64Value("Conf.uint", &number), 0U);
    EXPECT_EQ(number, UINT64_MAX);
    EXPECT_THAT(Codes({ConfConfigSetIntValue("Conf.int", INT32_MIN), SetEnableEofb(0x1FE), SetSipPreventAttack(0x100)}),
                Each(0));
    EXPECT_THAT(service.held, IsSupersetOf(KeyValueTexts{{"Conf.SecurityParam.enableEofb", "254"},
                                                         {"Conf.SIPCallParam.PreventAttack", "0"}}));
    service.held.insert({{"Conf.hex", "0x1F"}, {"Conf.bad", "12abc"}});
    EXPECT_THAT(std::vector({ConfConfigGetIntValue("Conf.int"), ConfConfigGetIntValue("Conf.hex"),
                             ConfConfigGetIntValue("Conf.bad"), GetEnableEofb(), GetSipPreventAttack()}),
                ElementsAre(INT32_MIN, 31, 1, 254, 0));
    EXPECT_EQ(ConfConfigGetUint64Value("Conf.bad", &number), 0U);
    EXPECT_EQ(number, 12U);
    EXPECT_EQ(ConfConfigGetUint64Value("Conf.hex", &number), 0U);
    EXPECT_EQ(number, 31U);
    takeLogs();
    EXPECT_THAT(Codes({ConfConfigSetIntValue(nullptr, 1), ConfConfigSetUint64Value(nullptr, 1),
                       ConfConfigGetUint64Value("Conf.bad", nullptr)}),
                Each(1));
    EXPECT_EQ(ConfConfigGetIntValue(nullptr), 1);
    EXPECT_THAT(takeLogs("ConfConfigGetUint64Value"),
                ElementsAre("1 [ConfConfigSetIntValue]key is null.", "1 [ConfConfigSetUint64Value]key is null.",
                            "Null ptr.", "1 [ConfConfigGetIntValue]Null ptr."));
}

} // namespace
} // namespace tarn::test
