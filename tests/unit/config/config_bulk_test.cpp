#include <cstring>

#include "config_fixture.h"
#include "tarn_conference/conf_notify.h"
#include "tarn_platform/os_memory.h"

namespace tarn::test {
namespace {

using namespace testing;

// A meeting-server block with items, released with its result.
class Block {
 public:
    explicit Block(const std::vector<ConfConfigKeyValue>& items, uint32_t bytesMore = 0) {
        std::string data(reinterpret_cast<const char*>(items.data()), items.size() * sizeof(ConfConfigKeyValue));
        data.append(bytesMore, 'm');
        block_ = GenerateMeetingServerMsgBlock(data.data(), static_cast<uint32_t>(data.size()));
        block_->listLen = static_cast<uint32_t>(items.size());
    }
    ~Block() {
        OSMemTypeFreeMon(block_->result, 0, 0, __LINE__, "test");
        OSMemTypeFreeMon(block_, 0, 0, __LINE__, "test");
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    ConfMeetingServerMsgBlock* operator->() { return block_; }
    ConfMeetingServerMsgBlock* get() { return block_; }
    ConfConfigKeyValue* items() {
        return reinterpret_cast<ConfConfigKeyValue*>(reinterpret_cast<char*>(block_) +
                                                     offsetof(ConfMeetingServerMsgBlock, data));
    }
    KeyValueTexts results() {
        KeyValueTexts texts;
        const auto* const answers = static_cast<const ConfConfigKeyValue*>(block_->result);
        for (size_t i = 0; i < block_->resultLength / sizeof *answers; ++i) {
            texts.emplace_back(answers[i].key, answers[i].value);
        }
        return texts;
    }
    uint32_t read() { return ConfConfigGetConfConfig(0, block_, GetMeetingServerMsgBlockSize(block_)); }
    uint32_t write() { return ConfConfigSetConfConfig(0, block_); }

 private:
    ConfMeetingServerMsgBlock* block_ = nullptr;
};

using ConfigBulk = ConfigTest;

TEST_F(ConfigBulk, AReadIsOneCallOfTheServiceAndAnswersEveryItem) {
    std::vector<ConfConfigKeyValue> items;
    KeyValueTexts expected;
    for (size_t i = 0; i < CONF_CONFIG_MAX_LIST; ++i) {
        const std::string key = "Conf.k" + std::to_string(i);
        items.push_back(keyValue(key, ""));
        expected.emplace_back(key, std::string(i * 2, 'v'));
        service.held[key] = expected.back().second;
    }
    Block block(items, 7);
    EXPECT_EQ(block.read(), 0U);
    EXPECT_EQ(block.results(), expected);
    EXPECT_EQ(platform.count("TarnOmConfigStringMget"), 1U);
    EXPECT_EQ(takeLogs().back(), "4 [ConfConfigGetConfConfig]key= " + expected.back().first + ".");
}

TEST_F(ConfigBulk, BlocksThatDoNotFitAreRefusedUnread) {
    Block block({keyValue("Conf.a", "1")});
    const uint32_t size = GetMeetingServerMsgBlockSize(block.get());
    EXPECT_THAT(Codes({ConfConfigGetConfConfig(0, nullptr, size), ConfConfigSetConfConfig(0, nullptr),
                       ConfConfigGetConfConfig(0, block.get(), size - 1)}),
                Each(CONF_CONFIG_FAILED));
    EXPECT_EQ(logsWith("Null ptr."), 2U);
    for (const uint32_t length : {0U, size, 0xFFFFFFA1U}) { // the last wraps around
        block->dataLength = length;
        EXPECT_EQ(ConfConfigGetConfConfig(0, block.get(), size), CONF_CONFIG_FAILED) << length;
    }
    EXPECT_EQ(logsWith("[ConfConfigGetConfConfig]condition false."), 4U);
    block->dataLength = sizeof(ConfConfigKeyValue);
    block->listLen = 501;
    EXPECT_THAT(Codes({block.read(), block.write()}), Each(CONF_CONFIG_FAILED));
    EXPECT_EQ(logsWith("Input listLen = 501 is out of range!"), 2U);
    EXPECT_EQ(platform.count("TarnOmConfigStringMget") + platform.count("TarnOmConfigStringMset"), 0U);
}

TEST_F(ConfigBulk, AWriteEncryptsThePasswordsAndWipesThem) {
    Block block({keyValue("Conf.SIPCallParam.sipPwd", "SeCrEt"), keyValue("Conf.plain", "open"),
                 keyValue("Conf.H323CallParam.gkPwd", ""), keyValue("conf.sipcallparam.sippwd", "seen"),
                 keyValue("Conf.ServerParam.pwd", "HiDdEn"), keyValue("Conf.FireWallParam.NatAddr", "HiDdEn")});
    EXPECT_EQ(block.write(), 0U);
    EXPECT_THAT(service.writes,
                ElementsAre(ElementsAre(
                    Pair("Conf.SIPCallParam.sipPwd", scriptedCipherText("SeCrEt")), Pair("Conf.plain", "open"),
                    Pair("Conf.H323CallParam.gkPwd", scriptedCipherText("")), Pair("conf.sipcallparam.sippwd", "seen"),
                    Pair("Conf.ServerParam.pwd", "HiDdEn"), Pair("Conf.FireWallParam.NatAddr", "HiDdEn"))));
    EXPECT_EQ(service.keyOwner, "TarnUIConf");
    EXPECT_EQ(std::string(block.items()[0].value, 1024), std::string(1024, '\0'));
    EXPECT_STREQ(block.items()[1].value, "open");
    std::vector<std::string> keysAndValues;
    for (const std::string& log : platform.logTexts()) {
        keysAndValues.push_back(log.substr(log.find('=') + 2));
    }
    EXPECT_THAT(keysAndValues, ElementsAre("6.\n", "Conf.SIPCallParam.sipPwd.\n", "Conf.plain.\n", "open.\n",
                                           "Conf.H323CallParam.gkPwd.\n", "conf.sipcallparam.sippwd.\n", "seen.\n",
                                           "Conf.ServerParam.pwd.\n", "Conf.FireWallParam.NatAddr.\n"));
}

TEST_F(ConfigBulk, AWriteIsWholeOrNotAtAll) {
    for (const ConfConfigKeyValue& item :
         {keyValue(std::string(128, 'k'), "1"), keyValue("Conf.a", std::string(1024, 'v'))}) {
        Block block({keyValue("Conf.good", "1"), item});
        EXPECT_EQ(block.write(), CONF_CONFIG_FAILED);
        EXPECT_EQ(takeLogs("ConfConfigSetConfConfig").back(),
                  item.key[127] != '\0' ? "TarnOmConfigcopyStr2Key fail" : "TarnOmConfigcopyStr2Val fail");
    }
    Block tooLongToEncrypt({keyValue("Conf.good", "1"), keyValue("Conf.H323CallParam.gkPwd", std::string(200, 'p'))});
    takeLogs();
    EXPECT_EQ(tooLongToEncrypt.write(), 1U);
    // Each step is told before it is tried.
    EXPECT_THAT(takeLogs("ConfConfigSetConfConfig"),
                ElementsAre("3 [ConfConfigSetConfConfig]ConfConfigGetConfConfigset listLen = 2.\n",
                            "ConfConfigSetConfConfig key= Conf.good.\n", "ConfConfigSetConfConfig val= 1.\n",
                            "ConfConfigSetConfConfig key= Conf.H323CallParam.gkPwd.\n", "condition false."));
    EXPECT_EQ(std::strlen(tooLongToEncrypt.items()[1].value), 200U);
    EXPECT_THAT(service.writes, IsEmpty());
}

TEST_F(ConfigBulk, SingleNumbersGoStraightToTheService) {
    uint64_t number = 7;
    EXPECT_EQ(ConfConfigSetIntValue("Conf.int", INT32_MIN), 0U);
    EXPECT_EQ(ConfConfigSetUint64Value("Conf.uint", UINT64_MAX), 0U);
    EXPECT_EQ(ConfConfigGetUint64Value("Conf.uint", &number), 0U);
    EXPECT_EQ(number, UINT64_MAX);
    service.held.insert({{"Conf.hex", "0x1F"}, {"Conf.bad", "12abc"}});
    EXPECT_THAT(std::vector({ConfConfigGetIntValue("Conf.int"), ConfConfigGetIntValue("Conf.hex"),
                             ConfConfigGetIntValue("Conf.bad")}),
                ElementsAre(INT32_MIN, 31, 1));
    EXPECT_EQ(ConfConfigGetUint64Value("Conf.bad", &number), 0U);
    platform.clearLogs();
    EXPECT_THAT(Codes({ConfConfigSetIntValue(nullptr, 1), ConfConfigSetUint64Value(nullptr, 1),
                       ConfConfigGetUint64Value("Conf.bad", nullptr)}),
                Each(1));
    EXPECT_EQ(ConfConfigGetIntValue(nullptr), 1);
    EXPECT_EQ(number, 12U);
    EXPECT_THAT(takeLogs("ConfConfigGetUint64Value"),
                ElementsAre("1 [ConfConfigSetIntValue]key is null.", "1 [ConfConfigSetUint64Value]key is null.",
                            "Null ptr.", "1 [ConfConfigGetIntValue]Null ptr."));
}

} // namespace
} // namespace tarn::test
