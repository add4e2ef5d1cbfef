// tarnctl as its users meet it: words in; output, exit code and complaints out.
#include <fcntl.h>

#include "support/host_test.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_settings.h"
#include "tarn_host/host_key.h"
#include "tarn_host/host_message.h"
#include "tarn_platform/om_path.h"
#include "tarn_platform/os_memory.h"

namespace {

using namespace tarn::test;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

std::string fileOf(const std::string& name) {
    return std::string(TarnHostDir()) + "/" + name;
}

pid_t start(const Words& words, const std::string& input, const std::string& output = "out") {
    writeFile(fileOf("in"), input);
    writeFile(fileOf(output), "");
    writeFile(fileOf("err"), "");
    const pid_t child = fork();
    if (child == 0) {
        dup2(open(fileOf("in").c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        dup2(open(fileOf(output).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC), STDOUT_FILENO);
        dup2(open(fileOf("err").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC), STDERR_FILENO);
        std::string program = TARNCTL;
        std::vector<char*> arguments = {program.data()};
        for (const std::string& word : words) {
            arguments.push_back(const_cast<char*>(word.c_str()));
        }
        arguments.push_back(nullptr);
        execv(TARNCTL, arguments.data());
        _exit(127);
    }
    return child;
}

struct Result {
    int code;
    std::string output;
    std::string complaint;
};

Result run(const Words& words, const std::string& input = "") {
    const int code = endOf(start(words, input));
    return {code, readFile(fileOf("out")), readFile(fileOf("err"))};
}

std::string outputOf(const Words& words) {
    const Result result = run(words);
    EXPECT_EQ(result.code, 0) << result.complaint;
    return result.output;
}

TEST(Tarnctl, SetsGetsAndLists) {
    EXPECT_EQ(outputOf({"config", "set", "Conf.t.a", "1", "Conf.t.b", "-5", "Conf.t.c", "two\nlines"}), "");
    EXPECT_EQ(outputOf({"config", "get", "Conf.t.c"}), "two\nlines\n");
    EXPECT_EQ(outputOf({"config", "get", "Conf.t.b", "Conf.t.c"}), "Conf.t.b=-5\nConf.t.c=two\\nlines\n");
    EXPECT_EQ(outputOf({"config", "list", "Conf.t."}), "Conf.t.a=1\nConf.t.b=-5\nConf.t.c=two\\nlines\n");
    EXPECT_EQ(outputOf({"config", "list", "--json", "Conf.t.a"}), "{\n\t\"Conf.t.a\":\t\"1\"\n}\n");
    EXPECT_EQ(outputOf({"config", "unset", "Conf.t.a"}), "");

    const Result missing = run({"config", "get", "Conf.t.a", "Conf.t.b"});
    EXPECT_EQ(missing.code, 3);
    EXPECT_EQ(missing.output, "Conf.t.b=-5\n");
    EXPECT_THAT(missing.complaint, HasSubstr("tarnctl: there is no key Conf.t.a; "));
    EXPECT_EQ(run({"config", "unset", "Conf.t.a"}).code, 3);
    EXPECT_EQ(run({"config", "set", "Conf.t.d", "1", "Conf.t.e", std::string(1024, 'v')}).code, 1);
    EXPECT_EQ(run({"config", "get", "Conf.t.d"}).code, 3);
    for (const Words& words : {Words{}, Words{"config", "set", "Conf.t.a"}, Words{"nonsense"}}) {
        EXPECT_EQ(run(words).code, 2);
    }
    EXPECT_THAT(run({"config", "get", "--nope"}).complaint, testing::StartsWith("tarnctl: --nope is no option here"));
}

TEST(Tarnctl, KeepsSecrets) {
    const std::string password = "Conf.SIPCallParam.sipPwd";
    EXPECT_EQ(run({"config", "set", "--stdin", password}, "s3cret\n").code, 0);
    EXPECT_EQ(run({"config", "set", "Conf.ServerParam.addr", "10.1.2.3"}).code, 0);
    for (const Words& words : {Words{"config", "list"}, Words{"config", "list", "--json"}, Words{"config", "export"},
                               Words{"config", "get", "Conf.ServerParam.addr"}}) {
        const std::string output = outputOf(words);
        EXPECT_THAT(output, Not(HasSubstr("10.1.2.3")));
        EXPECT_THAT(output, Not(HasSubstr("TK1:")));
    }
    EXPECT_EQ(outputOf({"config", "get", "--reveal", "Conf.ServerParam.addr"}), "10.1.2.3\n");

    std::string stored = outputOf({"config", "get", "--reveal", password});
    stored.pop_back();
    char plain[64] = {};
    uint32_t length = 0;
    ASSERT_EQ(TarnHostKeyDecrypt("TarnUIConf", stored.c_str(), plain, sizeof plain, &length), 0U);
    EXPECT_STREQ(plain, "s3cret");

    // An export with secrets gives the same password back; one without leaves it alone.
    const std::string all = outputOf({"config", "export", "--reveal"});
    EXPECT_EQ(run({"config", "set", password, "other"}).code, 0);
    EXPECT_EQ(run({"config", "import", "-"}, all).code, 0);
    EXPECT_EQ(outputOf({"config", "get", "--reveal", password}), stored + "\n");
}

TEST(Tarnctl, ImportsWhatItExports) {
    const std::string odd = "Conf.i.#= \\x\xFF\x01";
    EXPECT_EQ(run({"config", "set", odd, "a=b\\n\n\xC3\xA4\xFF", "# first", " blanks "}).code, 0);
    const std::string exported = outputOf({"config", "export"});
    EXPECT_EQ(run({"config", "unset", odd, "# first"}).code, 0);
    EXPECT_EQ(run({"config", "import", "-"}, exported).code, 0);
    EXPECT_EQ(outputOf({"config", "export"}), exported);
    EXPECT_EQ(outputOf({"config", "get", odd}), "a=b\\n\n\xC3\xA4\xFF\n");
    EXPECT_EQ(run({"config", "export", "--json"}).code, 1) << "no UTF-8";
    EXPECT_EQ(run({"config", "unset", odd}).code, 0);
    const std::string json = outputOf({"config", "export", "--json"});
    EXPECT_EQ(run({"config", "import", "-"}, json).code, 0);

    const auto refused = [](const std::string& content, const std::string& complaint) {
        const Result result = run({"config", "import", "-"}, "Conf.i.never=1\n" + content);
        EXPECT_EQ(result.code, 1);
        EXPECT_THAT(result.complaint, HasSubstr(complaint));
        EXPECT_EQ(run({"config", "get", "Conf.i.never"}).code, 3);
    };
    refused("# comment\nno item\n", "-:3: expected KEY=VALUE");
    refused("Conf.i.x=" + std::string(5000, 'v'), "Conf.i.x has more than 1023 bytes");
    EXPECT_THAT(run({"config", "import", "-"}, R"({"Conf.i.x":"1")").complaint, HasSubstr("not JSON at byte"));
    EXPECT_EQ(run({"config", "import", "/nowhere/file"}).code, 3);

    using namespace std::string_literals;
    EXPECT_THAT(run({"config", "import", "-"}, R"({"Conf.i.never":"cut\\u0000\u0000"})").complaint,
                HasSubstr("NUL byte"));
    EXPECT_THAT(run({"config", "set", "--stdin", "Conf.i.never"}, "cut\0off\n"s).complaint, HasSubstr("NUL byte"));
    EXPECT_EQ(run({"config", "get", "Conf.i.never"}).code, 3);
}

TEST(Tarnctl, WatchesUntilInterrupted) {
    const pid_t watcher = start({"config", "watch", "Conf.w."}, "", "watched");
    const std::string watched = fileOf("watched");
    // It tells nothing when it is ready, so the first value is written until it is seen.
    ASSERT_TRUE(comesTrue([&, i = 0]() mutable {
        run({"config", "set", "Conf.w.ready", std::to_string(i++)});
        return !readFile(watched).empty();
    }));
    run({"config", "set", "Conf.w.a", "1", "Conf.v", "2", "Conf.w.b", "3"});
    run({"config", "unset", "Conf.w.a"});
    const std::string expected = "Conf.w.a=1\nConf.w.b=3\nConf.w.a removed\n";
    EXPECT_TRUE(comesTrue([&] { return readFile(watched).ends_with(expected); })) << readFile(watched);
    kill(watcher, SIGINT);
    EXPECT_EQ(endOf(watcher), 0);
}

TEST(Tarnctl, ListsReceiversAndLogs) {
    EXPECT_EQ(outputOf({"ps", "--json"}), "[]\n");
    ASSERT_EQ(OsMsgReceiverStart("listed", [](OsMsgRecord*) {}), 0U);
    EXPECT_THAT(outputOf({"ps"}), HasSubstr("listed          "));
    EXPECT_THAT(outputOf({"ps", "--json"}), HasSubstr("\"pid\":\t" + std::to_string(getpid())));
    EXPECT_EQ(OsMsgReceiverStop("listed"), 0U);

    EXPECT_EQ(run({"log", "nobody"}).code, 3);
    ASSERT_EQ(mkdir(fileOf("log").c_str(), 0700) | mkdir(fileOf("log/writer").c_str(), 0700), 0);
    writeFile(fileOf("log/writer/a.log"), "one\ntwo\nthree\n");
    writeFile(fileOf("log/writer/a.log.1"), "old\n");
    EXPECT_EQ(outputOf({"log"}), "writer\n");
    EXPECT_EQ(outputOf({"log", "writer", "-n", "2"}), "two\nthree\n");
    const pid_t follower = start({"log", "writer", "--follow", "-n", "0"}, "");
    EXPECT_TRUE(comesTrue([] {
        std::ofstream(fileOf("log/writer/a.log"), std::ios::app) << "more\n";
        return readFile(fileOf("out")).ends_with("more\n");
    }));
    // What is written before, between and after two rotations, while it does not look, comes in order all the same.
    kill(follower, SIGSTOP);
    const std::filesystem::path log = fileOf("log/writer/a.log");
    std::ofstream(log, std::ios::app) << "first end\n";
    std::filesystem::rename(log, log.string() + ".2");
    writeFile(log.string() + ".1", "second\n");
    writeFile(log, "third\n");
    kill(follower, SIGCONT);
    EXPECT_TRUE(comesTrue([] { return readFile(fileOf("out")).ends_with("third\n"); }));
    EXPECT_THAT(readFile(fileOf("out")), EndsWith("more\nfirst end\nsecond\nthird\n"));
    kill(follower, SIGTERM);
    EXPECT_EQ(endOf(follower), -SIGTERM);
}

std::atomic<bool> held = false;

// Keeps the message thread busy.
void hold(OsMsgRecord*) {
    held = true;
    while (held) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(Tarnctl, ShowsTheMemoryOfOtherProcesses) {
    EXPECT_EQ(outputOf({"memory", "--json"}), "[]\n");
    ASSERT_EQ(OsMsgReceiverStart("keeper", hold), 0U);
    ASSERT_EQ(OsMsgReceiverStart("keeper.too", hold), 0U);
    void* const block = OsMemMallocSetCharMon(1234, 0, 0, 0, 77, "kept \x01 here");
    EXPECT_THAT(outputOf({"memory"}), testing::ContainsRegex("^[^\n]*\nkeeper +" + std::to_string(getpid()) +
                                                             " +[0-9]+ +[0-9]+ +[0-9]+ +[0-9]+ *\n$"))
        << "a process is one line, whatever its names";
    EXPECT_THAT(outputOf({"memory", "keeper.too"}), HasSubstr("  kept \\x01 here:77\n"));
    EXPECT_THAT(outputOf({"memory", "keeper", "--json"}),
                HasSubstr("\"site\":\t\"kept \\u0001 here:77\",\n\t\t\t\"liveBytes\":\t1234,"));
    OSMemTypeFreeMon(block, 0, 0, 78, "kept \x01 here");
    EXPECT_THAT(outputOf({"memory", "keeper"}), Not(HasSubstr("here:77")));
    EXPECT_THAT(outputOf({"memory", "keeper", "--all"}), HasSubstr("here:77"));
    EXPECT_EQ(run({"memory", "nobody"}).code, 3);

    OsMsgRecord record = {};
    record.kind = 1;
    std::strcpy(record.receiverName, "keeper");
    ASSERT_EQ(OsMsgAsynSend(&record), 0U);
    EXPECT_TRUE(comesTrue([] { return held.load(); }));
    EXPECT_THAT(run({"memory", "keeper", "--wait", "50"}).complaint, HasSubstr("it is busy and does not answer"));
    EXPECT_EQ(run({"memory", "--wait", "50"}).code, 1);
    held = false;
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
    EXPECT_THAT(outputOf({"log", name, "--json", "-n", "2"}),
                testing::MatchesRegex("\\{\"time\":\"[^\"]*\",\"level\":\"INFO\",.*\"text\":\"\\[function\\]last\"\\}\n"
                                      "\\{\"text\":\"no record\"\\}\n"));
    EXPECT_THAT(outputOf({"log", name, "--json", "-n", "3"}),
                HasSubstr("\"pid\":" + std::to_string(getpid()) + ",\"thread\":" + std::to_string(getpid()) +
                          ",\"file\":\"source\",\"line\":12,\"text\":\"[function]two\\nlines \\\"quoted\\\"\"}"));
    EXPECT_THAT(outputOf({"log", "--json"}), HasSubstr("\"" + name + "\""));
}

TEST(Tarnctl, WritesChecksAndShowsSettings) {
    const std::string file = std::string(TarnOmCustUtilGetCfgPath(0)) + "/conference/conf_config.xml";
    EXPECT_THAT(outputOf({"settings"}), HasSubstr("ignoreLayoutStrategy"));
    ASSERT_EQ(mkdir((std::string(TarnOmCustUtilGetCfgPath(0)) + "/conference").c_str(), 0700), 0);
    EXPECT_EQ(outputOf({"settings", "--sample", file}), "");
    EXPECT_EQ(run({"settings", "--sample", file}).code, 1) << "an existing file was overwritten";
    // The library agrees that the sample is a settings file.
    EXPECT_EQ(ConfConfigXmlInit(), 0U);
    char value[128] = {};
    EXPECT_EQ(ConfConfigGetValueByName("ignoreLayoutStrategy", value, sizeof value), 0U);
    EXPECT_STREQ(value, "0");

    writeFile(file,
              "<s><i name='isStopCastWhenConfEnd'>0x10</i>\n<i name='ISSTOPCASTWHENCONFEND'>1</i>\n"
              "<i name='other'>1</i></s>");
    EXPECT_THAT(outputOf({"settings"}), HasSubstr("isStopCastWhenConfEnd              16 "));
    EXPECT_THAT(outputOf({"settings", "--check", file}),
                testing::AllOf(HasSubstr(":2: ISSTOPCASTWHENCONFEND stands there before"),
                               HasSubstr(":3: other is no switch; a setting of the product's own?")));
    EXPECT_THAT(outputOf({"settings", "--check", file, "--json"}),
                HasSubstr("a setting of the product's own?\",\n\t\t\t\"refusesFile\":\tfalse"));
    writeFile(file, "<s><i name='isStopCastWhenConfEnd'>1</i><i>1</i></s>");
    EXPECT_EQ(run({"settings", "--check", file}).code, 1);
    const Result refused = run({"settings"});
    EXPECT_EQ(refused.code, 1);
    EXPECT_THAT(refused.output, HasSubstr("isStopCastWhenConfEnd              0 (refused)"));
}

} // namespace
