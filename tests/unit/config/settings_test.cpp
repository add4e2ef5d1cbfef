#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "config_fixture.h"
#include "file/scratch_directory.h"
#include "scripted_file.h"
#include "scripted_path.h"
#include "tarn_conference/conf_settings.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// The settings are read once in the life of a process, so that each reading gets a process of its own.
class Settings : public tarn::test::ConfigTest {
 protected:
    void SetUp() override {
        ConfigTest::SetUp();
        tarn::test::scriptedPaths().configuration = scratch.path();
        std::filesystem::create_directory(scratch / "conference");
    }
    void TearDown() override {
        tarn::test::scriptedPaths() = {};
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
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "failed in the child, see above";
    }

    // Runs `work` in a process that has tried to read settings from this text.
    void withFile(const std::string& text, uint32_t expected, const std::function<void()>& work) {
        SCOPED_TRACE(text.substr(0, 200));
        tarn::test::writeFile(scratch / "conference/conf_config.xml", text);
        inChild([&] {
            EXPECT_EQ(ConfConfigXmlInit(), expected);
            EXPECT_EQ(ConfConfigXmlInit(), 0U);
            EXPECT_EQ(platform.count("OsFopen"), 1U);
            work();
        });
    }

    static std::string valueOf(const char* name) {
        char buffer[CONF_SETTING_LEN] = {};
        return ConfConfigGetValueByName(name, buffer, sizeof buffer) == 0 ? buffer : "(none)";
    }

    const tarn::test::ScratchDirectory scratch;
};

TEST_F(Settings, NamesAreFoundInFileOrderWithoutCase) {
    EXPECT_EQ(valueOf("ignoreLayoutStrategy"), "(none)");
    const std::string longest(127, 'v');
    const std::string file =
        "<?xml version=\"1.0\"?><!-- c --><root><![CDATA[x]]><!-- c --><a name='IGNORELAYOUTSTRATEGY'>0x10</a>"
        "<b name='ignoreLayoutStrategy'>9</b><c name='isStopCastWhenConfEnd'>yes</c>"
        "<d name='isForbiddenKitCapbility'>256</d><e name='" +
        longest + "'>" + longest + "</e><f name='isCloseWirelessCastWhenStopShare'>017</f></root>";
    withFile(file, 0, [&] {
        EXPECT_EQ(g_configManager.itemNum, 6U);
        EXPECT_EQ(IgnoreLayoutStrategy(), 16U);
        EXPECT_EQ(IsStopCastWhenConfEnd(), 0U);
        EXPECT_EQ(IsCloseWirelessCast(), 15U);
        EXPECT_EQ(IsForbiddenSdkStopWirelessCast(), 0U);
        EXPECT_EQ(OnlyReportPresentationDevicePlug(), 0U);
        EXPECT_EQ(CallServiceIsForbiddenKitCap(), 0U);
        EXPECT_EQ(logsWith("[CallServiceIsForbiddenKitCap]"), 0U);
        EXPECT_EQ(valueOf(longest.c_str()), longest);

        char small[3] = {'x', 'x', 'x'};
        EXPECT_EQ(ConfConfigGetValueByName("ignoreLayoutStrategy", small, 3), 1U);
        EXPECT_EQ(logsWith("[ConfConfigGetValueByName]strcpy_s fail"), 1U);
        EXPECT_EQ(ConfConfigGetValueByName(nullptr, small, 3), 1U);
        EXPECT_EQ(ConfConfigGetValueByName("a", nullptr, 3), 1U);
        EXPECT_EQ(logsWith("[ConfConfigGetValueByName]name is null"), 2U);
        EXPECT_EQ(platform.heldMutexes(), 0);
    });
}

TEST_F(Settings, OneBadSettingLeavesNone) {
    const std::string good = "<s name='ignoreLayoutStrategy'>1</s>";
    const std::string tooLong(128, 'v');
    for (const std::string& bad :
         {std::string(), std::string("no XML"), std::string("<root/>"), std::string("<root>text</root>"),
          "<root>" + good, "<root>" + good + "<s>1</s></root>", "<root>" + good + "<s name='n'></s></root>",
          "<root>" + good + "<s name='" + tooLong + "'>1</s></root>",
          "<root>" + good + "<s name='n'>" + tooLong + "</s></root>"}) {
        withFile(bad, 1, [&] {
            EXPECT_EQ(g_configManager.items, nullptr);
            EXPECT_EQ(IgnoreLayoutStrategy(), 0U);
            platform.clearLogs();
            EXPECT_EQ(CallServiceIsForbiddenKitCap(), 0U);
            EXPECT_THAT(platform.logTexts(), ElementsAre("[CallServiceIsForbiddenKitCap]forbiddenKitCap "
                                                         "ConfConfigGetValueByName error, iRes:1"));
            EXPECT_EQ(platform.logs()[0].level, CONF_LOG_ERROR);
        });
    }
}

TEST_F(Settings, SwitchesAreReadWhileTheFileIs) {
    std::string file = "<root>";
    for (int i = 0; i < 500; ++i) {
        file += "<s name='n" + std::to_string(i) + "'>1</s>";
    }
    tarn::test::writeFile(scratch / "conference/conf_config.xml", file + "<s name='ignoreLayoutStrategy'>1</s></root>");
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
    char buffer[CONF_LOCAL_ADDRESS_LEN] = {};
    EXPECT_EQ(ConfConfigSetLocalIp(CONF_LOCAL_IPV4, "192.0.2.200"), 0U);
    EXPECT_EQ(ConfConfigSetLocalIp(CONF_LOCAL_IPV6, "2001:db8::200"), 0U);
    EXPECT_EQ(ConfConfigSetLocalIp(2, "lost"), 0U);
    EXPECT_THAT(takeWritten(), ElementsAre(Pair("DEVM.NET.LAN1.IPV4ADDR", "192.0.2.200"),
                                           Pair("DEVM.NET.LAN1.IPV6ADDR", "2001:db8::200"), Pair("", "lost")));
    EXPECT_EQ(ConfConfigGetLocalIpv4(7, buffer), 0U);
    EXPECT_STREQ(buffer, "192.0.2.200");
    EXPECT_EQ(ConfConfigGetLocalIpv6(7, buffer), 0U);
    EXPECT_STREQ(buffer, "2001:db8::200");

    // What the service refuses to read leaves the buffer alone, and succeeds.
    platform.failNth("TarnOmConfigStringGet", 1);
    EXPECT_EQ(ConfConfigGetLocalIpv4(7, buffer), 0U);
    EXPECT_STREQ(buffer, "2001:db8::200");
    platform.failNth("TarnOmConfigStringSet", 1);
    EXPECT_NE(ConfConfigSetLocalIp(CONF_LOCAL_IPV4, "192.0.2.1"), 0U);

    service.held["DEVM.NET.LAN1.IPV4ADDR"] = std::string(42, 'x');
    EXPECT_EQ(ConfConfigGetLocalIpv4(7, buffer), 0U);
    service.held["DEVM.NET.LAN1.IPV4ADDR"] = std::string(43, 'x');
    EXPECT_NE(ConfConfigGetLocalIpv4(7, buffer), 0U);
    EXPECT_EQ(logsWith("[ConfConfigGetLocalIpv4]conf secure func failed, err = "), 1U);

    EXPECT_EQ(ConfConfigSetLocalIp(CONF_LOCAL_IPV4, nullptr), 1U);
    EXPECT_EQ(ConfConfigGetLocalIpv4(7, nullptr), 1U);
    EXPECT_EQ(ConfConfigGetLocalIpv6(7, nullptr), 1U);
    EXPECT_EQ(logsWith("[ConfConfigSetLocalIp]param is NULL!"), 1U);
    EXPECT_EQ(logsWith("[ConfConfigGetLocalIpv6]ipInfo is NULL!"), 1U);

    withFile("<r><s name='isForbiddenKitCapbility'>1</s></r>", 0, [&] {
        EXPECT_EQ(CallServiceIsForbiddenKitCap(), 1U);
        EXPECT_EQ(ConfConfigGetLocalIpv4(7, buffer), 0U);
        EXPECT_STREQ(buffer, "192.0.2.7");
        EXPECT_EQ(ConfConfigGetLocalIpv6(8, buffer), 0U);
        EXPECT_STREQ(buffer, "2001:db8::8");
        platform.failNth("TarnOmDevmNetGetIpv6Block", 1);
        EXPECT_EQ(ConfConfigGetLocalIpv6(8, buffer), 601U);
    });
}

TEST_F(Settings, SecurityFlagsAreKeptInTheService) {
    EXPECT_EQ(GetEnableEofb(), 1);
    EXPECT_EQ(SetEnableEofb(0x1FE), 0U);
    EXPECT_EQ(SetSipPreventAttack(0x100), 0U);
    EXPECT_THAT(takeWritten(), ElementsAre(Pair("Conf.SecurityParam.enableEofb", "254"),
                                           Pair("Conf.SIPCallParam.PreventAttack", "0")));
    EXPECT_EQ(GetEnableEofb(), 254);
    EXPECT_EQ(GetSipPreventAttack(), 0);
    platform.failNth("TarnOmConfigStringMset", 1);
    EXPECT_EQ(SetEnableEofb(1), 1U);
}

} // namespace
