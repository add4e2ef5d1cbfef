// tarnctl as its users meet it: words in; output, exit code and complaints out.
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_host/host_key.h"
#include "tarn_host/host_message.h"
#include "tarn_platform/om_path.h"
#include "tarn_platform/os_memory.h"
#include "tools/tarnctl_support.h"

namespace {

using namespace tarn::test;
using namespace std::string_literals;
using testing::AllOf;
using testing::EndsWith;

TEST(Tarnctl, SetsGetsAndLists) {
    expectRun(0, "config set Conf.t.a 1 Conf.t.b -5 Conf.t.c 'two\nlines'", "");
    expectRun(0, "config get Conf.t.c", "two\nlines\n");
    expectRun(0, "config get Conf.t.b Conf.t.c", "Conf.t.b=-5\nConf.t.c=two\\nlines\n");
    expectRun(0, "config list Conf.t.", "Conf.t.a=1\nConf.t.b=-5\nConf.t.c=two\\nlines\n");
    expectRun(0, "config list --json Conf.t.a", "{\n\t\"Conf.t.a\":\t\"1\"\n}\n");
    expectRun(0, "config unset Conf.t.a", "");

    expectRun(3, "config get Conf.t.a Conf.t.b 2>/dev/null", "Conf.t.b=-5\n");
    expectRun(3, "config get Conf.t.a", HasSubstr("tarnctl: there is no key Conf.t.a; "));
    expectRun(3, "config unset Conf.t.a");
    expectRun(1, "config set Conf.t.d 1 Conf.t.e " + std::string(1024, 'v'));
    expectRun(3, "config get Conf.t.d");
    for (const char* words : {"", "config set Conf.t.a", "nonsense"}) {
        expectRun(2, words);
    }
    expectRun(2, "config get --nope", testing::StartsWith("tarnctl: --nope is no option here"));
}

TEST(Tarnctl, KeepsSecrets) {
    const std::string password = "Conf.SIPCallParam.sipPwd";
    expectRun(0, "config set --stdin " + password, "", "s3cret\n");
    expectRun(0, "config set Conf.ServerParam.addr 10.1.2.3");
    for (const char* words : {"list", "list --json", "export", "get Conf.ServerParam.addr"}) {
        expectRun(0, "config "s + words, Not(testing::AnyOf(HasSubstr("10.1.2.3"), HasSubstr("TK1:"))));
    }
    expectRun(0, "config get --reveal Conf.ServerParam.addr", "10.1.2.3\n");

    const std::string stored = outputOf("config get --reveal " + password);
    char plain[64] = {};
    uint32_t length = 0;
    ASSERT_EQ(TarnHostKeyDecrypt("TarnUIConf", splitLines(stored)[0].c_str(), plain, sizeof plain, &length), 0U);
    EXPECT_STREQ(plain, "s3cret");

    // An export with secrets gives the same password back; one without leaves it alone.
    const std::string all = outputOf("config export --reveal");
    expectRun(0, "config set " + password + " other");
    expectRun(0, "config import -", "", all);
    expectRun(0, "config get --reveal " + password, stored);
}

TEST(Tarnctl, ImportsWhatItExports) {
    const std::string odd = " 'Conf.i.#= \\x\xFF\x01' ";
    expectRun(0, "config set" + odd + "'a=b\\n\n\xC3\xA4\xFF' '# first' ' blanks '");
    // Apart from what it tells of secrets that it leaves out.
    const std::string exporting = "config export 2>/dev/null";
    const std::string exported = outputOf(exporting);
    expectRun(0, "config unset" + odd + "'# first'");
    expectRun(0, "config import -", "", exported);
    expectRun(0, exporting, exported);
    expectRun(0, "config get" + odd, "a=b\\n\n\xC3\xA4\xFF\n");
    expectRun(1, "config export --json", HasSubstr("UTF-8"));
    expectRun(0, "config unset" + odd);
    expectRun(0, "config import -", "", outputOf(exporting + " --json"));

    expectRun(1, "config import -", HasSubstr("-:3: expected KEY=VALUE"), "Conf.i.never=1\n# comment\nno item\n");
    expectRun(1, "config import -", HasSubstr("Conf.i.x has more than 1023 bytes"),
              "Conf.i.never=1\nConf.i.x=" + std::string(5000, 'v'));
    expectRun(1, "config import -", HasSubstr("not JSON at byte"), R"({"Conf.i.never":"1")");
    expectRun(1, "config import -", HasSubstr("NUL byte"), R"({"Conf.i.never":"cut\\u0000\u0000"})");
    expectRun(1, "config set --stdin Conf.i.never", HasSubstr("NUL byte"), "cut\0off\n"s);
    expectRun(3, "config get Conf.i.never");
    expectRun(3, "config import /nowhere/file");
}

TEST(Tarnctl, WatchesUntilInterrupted) {
    const pid_t watcher = startShell(TARNCTL " config watch Conf.w.", "watched");
    const std::string watched = fileOf("watched");
    // It tells nothing when it is ready, so the first value is written until it is seen.
    ASSERT_TRUE(comesTrue([&, i = 0]() mutable {
        expectRun(0, "config set Conf.w.ready " + std::to_string(i++));
        return !readFile(watched).empty();
    }));
    expectRun(0, "config set Conf.w.a 1 Conf.v 2 Conf.w.b 3");
    expectRun(0, "config unset Conf.w.a");
    const std::string expected = "Conf.w.a=1\nConf.w.b=3\nConf.w.a removed\n";
    EXPECT_TRUE(comesTrue([&] { return readFile(watched).ends_with(expected); })) << readFile(watched);
    kill(watcher, SIGINT);
    EXPECT_EQ(endOf(watcher), 0);
}

TEST(Tarnctl, ListsReceivers) {
    expectRun(0, "ps --json", "[]\n");
    ASSERT_EQ(OsMsgReceiverStart("listed", [](OsMsgRecord*) {}), 0U);
    expectRun(0, "ps", HasSubstr("listed          "));
    expectRun(0, "ps --json", HasSubstr("\"pid\":\t" + std::to_string(getpid())));
    EXPECT_EQ(OsMsgReceiverStop("listed"), 0U);
}

TEST(Tarnctl, ShowsAndFollowsALogUntilItsDirectoryIsGone) {
    expectRun(3, "log nobody");
    const std::filesystem::path log = fileOf("log/writer/a.log");
    std::filesystem::create_directories(log.parent_path());
    writeFile(log, "one\ntwo\nthree\n");
    writeFile(log.string() + ".1", "old\n");
    expectRun(0, "log", "writer\n");
    expectRun(0, "log writer -n 2", "two\nthree\n");

    const pid_t follower = startShell(TARNCTL " log writer --follow -n 0");
    const auto append = [&](const char* line) { std::ofstream(log, std::ios::app) << line; };
    EXPECT_TRUE(comesTrue([&] {
        append("more\n");
        return readFile(fileOf("out")).ends_with("more\n");
    }));
    // What is written before, between and after two rotations, while it does not look, comes in order all the same.
    kill(follower, SIGSTOP);
    append("first end\n");
    std::filesystem::rename(log, log.string() + ".2");
    writeFile(log.string() + ".1", "second\n");
    writeFile(log, "third\n");
    kill(follower, SIGCONT);
    EXPECT_TRUE(comesTrue([] { return readFile(fileOf("out")).ends_with("third\n"); }));
    std::filesystem::remove_all(log.parent_path());
    EXPECT_EQ(endOf(follower), 1);
    EXPECT_THAT(readFile(fileOf("out")),
                EndsWith("more\nfirst end\nsecond\nthird\n"
                         "tarnctl: the log can be followed no further: No such file or directory\n"));
}

std::atomic<bool> held = false;

// Keeps the message thread busy.
void hold(OsMsgRecord*) {
    held = true;
    held.wait(true);
}

TEST(Tarnctl, ShowsTheMemoryOfOtherProcesses) {
    expectRun(0, "memory --json", "[]\n");
    ASSERT_EQ(OsMsgReceiverStart("keeper", hold), 0U);
    ASSERT_EQ(OsMsgReceiverStart("keeper.too", hold), 0U);
    void* const block = OsMemMallocSetCharMon(1234, 0, 0, 0, 77, "kept \x01 here");
    EXPECT_THAT(outputOf("memory"), testing::ContainsRegex("^[^\n]*\nkeeper +" + std::to_string(getpid()) +
                                                           " +[0-9]+ +[0-9]+ +[0-9]+ +[0-9]+ *\n$"))
        << "a process is one line, whatever its names";
    expectRun(0, "memory keeper.too", HasSubstr("  kept \\x01 here:77\n"));
    expectRun(0, "memory keeper --json",
              HasSubstr("\"site\":\t\"kept \\u0001 here:77\",\n\t\t\t\"liveBytes\":\t1234,"));
    OSMemTypeFreeMon(block, 0, 0, 78, "kept \x01 here");
    expectRun(0, "memory keeper", Not(HasSubstr("here:77")));
    expectRun(0, "memory keeper --all", HasSubstr("here:77"));
    expectRun(3, "memory nobody");

    OsMsgRecord record = {};
    record.kind = 1;
    std::strcpy(record.receiverName, "keeper");
    ASSERT_EQ(OsMsgAsynSend(&record), 0U);
    EXPECT_TRUE(comesTrue([] { return held.load(); }));
    expectRun(1, "memory keeper --wait 50", HasSubstr("it is busy and does not answer"));
    expectRun(1, "memory --wait 50");
    held = false;
    held.notify_all();
    EXPECT_EQ(OsMsgReceiverStop("keeper.too"), 0U);
    EXPECT_EQ(OsMsgReceiverStop("keeper"), 0U);
}

TEST(Tarnctl, TellsLogRecordsAsJson) {
    ASSERT_EQ(ConfLogInit(), 0U);
    ConfLogPrintf(CONF_LOG_WARNING, "function", "source", 12, "two\nlines \"quoted\"");
    ConfLogPrintf(CONF_LOG_INFO, "function", "source", 13, "last");
    ConfLogUnInit();
    const std::string name = TarnHostProcessName();
    std::ofstream(fileOf("log/" + name + "/Conference.log"), std::ios::app) << "no record\n";
    expectRun(0, "log " + name + " --json -n 2",
              testing::MatchesRegex("\\{\"time\":\"[^\"]*\",\"level\":\"INFO\",.*\"text\":\"\\[function\\]last\"\\}\n"
                                    "\\{\"text\":\"no record\"\\}\n"));
    const std::string pid = std::to_string(getpid());
    expectRun(0, "log " + name + " --json -n 3",
              HasSubstr("\"pid\":" + pid + ",\"thread\":" + pid +
                        ",\"file\":\"source\",\"line\":12,\"text\":\"[function]two\\nlines \\\"quoted\\\"\"}"));
    expectRun(0, "log --json", HasSubstr("\"" + name + "\""));
}

TEST(Tarnctl, WritesChecksAndShowsSettings) {
    const std::string file = std::string(TarnOmCustUtilGetCfgPath(0)) + "/conference/conf_config.xml";
    expectRun(0, "settings", HasSubstr("ignoreLayoutStrategy"));
    std::filesystem::create_directory(std::filesystem::path(file).parent_path());
    expectRun(0, "settings --sample " + file, "");
    expectRun(1, "settings --sample " + file); // it is there now
    // The library agrees that the sample is a settings file.
    EXPECT_EQ(ConfConfigXmlInit(), 0U);
    char value[128] = {};
    EXPECT_EQ(ConfConfigGetValueByName("ignoreLayoutStrategy", value, sizeof value), 0U);
    EXPECT_STREQ(value, "0");

    writeFile(file,
              "<s><i name='isStopCastWhenConfEnd'>0x10</i>\n<i name='ISSTOPCASTWHENCONFEND'>1</i>\n"
              "<i name='other'>1</i></s>");
    expectRun(0, "settings", HasSubstr("isStopCastWhenConfEnd              16 "));
    expectRun(0, "settings --check " + file,
              AllOf(HasSubstr(":2: ISSTOPCASTWHENCONFEND stands there before"),
                    HasSubstr(":3: other is no switch; a setting of the product's own?")));
    expectRun(0, "settings --check " + file + " --json",
              HasSubstr("a setting of the product's own?\",\n\t\t\t\"refusesFile\":\tfalse"));
    writeFile(file, "<s><i name='isStopCastWhenConfEnd'>1</i><i>1</i></s>");
    expectRun(1, "settings --check " + file);
    expectRun(1, "settings", HasSubstr("isStopCastWhenConfEnd              0 (refused)"));
}

} // namespace
