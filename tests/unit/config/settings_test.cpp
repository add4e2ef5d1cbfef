#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "config_fixture.h"
#include "file/scratch_directory.h"
#include "meant_leaks.h"
#include "scripted_file.h"
#include "scripted_path.h"
#include "tarn_conference/conf_settings.h"

namespace tarn::test {
namespace {

using namespace testing;

// The settings are read once in the life of a process, so that each reading gets a process of its own.
class Settings : public ConfigTest {
 protected:
    void SetUp() override {
        ConfigTest::SetUp();
        scriptedPaths().configuration = scratch.path();
        std::filesystem::create_directory(scratch / "conference");
    }
    void TearDown() override {
        scriptedPaths() = {};
        ConfigTest::TearDown();
    }

    // Runs `work` in a child, whose failures become this process's.
    static void inChild(const std::function<void()>& work) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            work();
            std::exit(HasFailure() ? 1 : 0);
        }
        int status = 0;
        EXPECT_TRUE(waitpid(child, &status, 0) == child && status == 0) << "failed in the child, see above";
    }

    // Runs `work` in a process that has tried to read settings from this text.
    void withFile(const std::string& text, uint32_t expected, const std::function<void()>& work) {
        SCOPED_TRACE(text.substr(0, 200));
        writeFile(scratch / "conference/conf_config.xml", text);
        inChild([&] {
            EXPECT_EQ(ConfConfigXmlInit(), expected);
            EXPECT_EQ(ConfConfigXmlInit(), 0U);
            EXPECT_EQ(platform.count("OsFopen"), 1U);
            work();
        });
    }

    const ScratchDirectory scratch;
};

TEST_F(Settings, NamesAreFoundInFileOrderWithoutCase) {
    const std::string file =
        "<?xml version=\"1.0\"?><!-- c --><root><![CDATA[x]]><!-- c --><a name='IGNORELAYOUTSTRATEGY'>0x10</a>"
        "<b name='ignoreLayoutStrategy'>9</b><c name='isStopCastWhenConfEnd'>yes</c>"
        "<d name='isForbiddenKitCapbility'>256</d><f name='isCloseWirelessCastWhenStopShare'>017</f></root>";
    withFile(file, 0, [&] {
        EXPECT_EQ(g_configManager.itemNum, 5U);
        EXPECT_THAT(Codes({IgnoreLayoutStrategy(), IsStopCastWhenConfEnd(), IsCloseWirelessCast(),
                           IsForbiddenSdkStopWirelessCast(), OnlyReportPresentationDevicePlug(),
                           CallServiceIsForbiddenKitCap()}),
                    ElementsAre(16, 0, 15, 0, 0, 0));
        EXPECT_THAT(platform.logTexts(), Not(Contains(HasSubstr("[CallServiceIsForbiddenKitCap]"))));
        char small[3];
        takeLogs();
        EXPECT_THAT(Codes({ConfConfigGetValueByName("ignoreLayoutStrategy", small, 3),
                           ConfConfigGetValueByName(nullptr, small, 3), ConfConfigGetValueByName("a", nullptr, 3)}),
                    Each(1));
        EXPECT_THAT(takeLogs("ConfConfigGetValueByName"), ElementsAre("strcpy_s fail", "name is null", "name is null"));
    });
}

TEST_F(Settings, OneBadSettingLeavesNone) {
    const std::string good = "<s name='ignoreLayoutStrategy'>1</s>";
    const std::string tooLong(128, 'v');
    for (const std::string& bad :
         {std::string("no XML"), std::string("<root>text</root>"), "<root>" + good + "<s>1</s></root>",
          "<root>" + good + "<s name='n'></s></root>", "<root>" + good + "<s name='" + tooLong + "'>1</s></root>",
          "<root>" + good + "<s name='n'>" + tooLong + "</s></root>"}) {
        withFile(bad, 1, [&] {
            EXPECT_EQ(g_configManager.items, nullptr);
            EXPECT_EQ(IgnoreLayoutStrategy(), 0U);
            takeLogs();
            EXPECT_EQ(CallServiceIsForbiddenKitCap(), 0U);
            EXPECT_THAT(takeLogs("CallServiceIsForbiddenKitCap"),
                        ElementsAre("forbiddenKitCap ConfConfigGetValueByName error, iRes:1"));
        });
    }
    const MeantLeaks leaks; // of the file that is not found
    platform.failNth("sprintf_s", 1);
    withFile("<root>" + good + "</root>", 1,
             [] { EXPECT_THAT(takeLogs("ConfConfigXmlInit"), Contains("sprintf_s fail, ret:-1")); });
}

TEST_F(Settings, SwitchesAreReadWhileTheFileIs) {
    std::string file = "<root>";
    for (int i = 0; i < 500; ++i) {
        file += "<s name='n" + std::to_string(i) + "'>1</s>";
    }
    writeFile(scratch / "conference/conf_config.xml", file + "<s name='ignoreLayoutStrategy'>1</s></root>");
    inChild([&] {
        std::thread reader([] {
            while (IgnoreLayoutStrategy() == 0) {
                std::this_thread::yield();
            }
        });
        EXPECT_EQ(ConfConfigXmlInit(), 0U);
        reader.join();
    });
}

TEST_F(Settings, AddressesComeFromTheServiceOrTheDeviceManager) {
    char v4[CONF_LOCAL_ADDRESS_LEN] = {};
    char v6[CONF_LOCAL_ADDRESS_LEN] = {};
    EXPECT_THAT(Codes({ConfConfigSetLocalIp(CONF_LOCAL_IPV4, "192.0.2.200"),
                       ConfConfigSetLocalIp(CONF_LOCAL_IPV6, "2001:db8::200"), ConfConfigSetLocalIp(2, "lost"),
                       ConfConfigGetLocalIpv4(7, v4), ConfConfigGetLocalIpv6(7, v6)}),
                Each(0));
    EXPECT_THAT(takeWritten(), ElementsAre(Pair("DEVM.NET.LAN1.IPV4ADDR", "192.0.2.200"),
                                           Pair("DEVM.NET.LAN1.IPV6ADDR", "2001:db8::200"), Pair("", "lost")));
    EXPECT_STREQ(v4, "192.0.2.200");
    EXPECT_STREQ(v6, "2001:db8::200");

    service.held["DEVM.NET.LAN1.IPV4ADDR"] = std::string(42, 'x');
    EXPECT_EQ(ConfConfigGetLocalIpv4(7, v4), 0U);
    service.held["DEVM.NET.LAN1.IPV4ADDR"] = std::string(43, 'x');
    takeLogs();
    EXPECT_NE(ConfConfigGetLocalIpv4(7, v4), 0U);
    EXPECT_THAT(Codes({ConfConfigSetLocalIp(CONF_LOCAL_IPV4, nullptr), ConfConfigGetLocalIpv4(7, nullptr),
                       ConfConfigGetLocalIpv6(7, nullptr)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfConfigGetLocalIpv4"),
                ElementsAre(_, StartsWith("conf secure func failed, err = "), "1 [ConfConfigSetLocalIp]param is NULL!",
                            "ipInfo is NULL!", "1 [ConfConfigGetLocalIpv6]ipInfo is NULL!"));

    withFile("<r><s name='isForbiddenKitCapbility'>1</s></r>", 0, [&] {
        EXPECT_EQ(ConfConfigGetLocalIpv4(7, v4) + ConfConfigGetLocalIpv6(8, v6), 0U);
        EXPECT_STREQ(v4, "192.0.2.7");
        EXPECT_STREQ(v6, "2001:db8::8");
    });
}

} // namespace
} // namespace tarn::test
