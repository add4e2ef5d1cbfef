// Killed writers, locked and damaged files, forks at bad moments.
#include "config/config_support.h"

namespace {

using namespace config_test;

class ConfigTrouble : public EmptyConfiguration {};

// An endpoint's processes start together, also on an empty directory.
TEST_F(ConfigTrouble, ManyMakeTheFileAtOnce) {
    for (int round = 0; round < 40; ++round) {
        SetUp();
        std::vector<pid_t> children;
        for (int i = 0; i < 6; ++i) {
            children.push_back(startForked([] {
                const Connection own;
                return static_cast<int>(put("Conf.start." + std::to_string(getpid()), "up"));
            }));
        }
        for (const pid_t child : children) {
            EXPECT_EQ(endOf(child), 0);
        }
    }
}

TEST_F(ConfigTrouble, KilledWritersLoseNothingForOthers) {
    const Connection connection;
    for (int kill = 0; kill < 50; ++kill) {
        const pid_t child = startForked([&] {
            const Connection own;
            for (int i = 0;; ++i) {
                const std::string value = std::to_string(kill) + "." + std::to_string(i);
                putAll({{"Conf.killed.x", value}, {"Conf.killed.y", value + std::string(900, ' ')}});
            }
            return 0;
        });
        std::this_thread::sleep_for(std::chrono::microseconds(kill * 400));
        ::kill(child, SIGKILL);
        EXPECT_EQ(endOf(child), -SIGKILL);
        ASSERT_EQ(put("Conf.killed.mine", std::to_string(kill)), 0U);
    }
    EXPECT_EQ(integrity(), "ok");
    EXPECT_EQ(held("Conf.killed.y"), held("Conf.killed.x").value_or("none") + std::string(900, ' '));
}

TEST_F(ConfigTrouble, AWriterKilledBeforeItTellsIsNoticed) {
    const Connection connection("Conf", remember);
    ASSERT_EQ(put("Conf.silent.before", "1"), 0U);
    ASSERT_EQ(remembered(1).size(), 1U);
    // Commits a change as a client does, but dies before it touches the file. A row holds the lengths of key (13) and
    // value (1), and both texts.
    const auto commitAndDie = [] {
        openDatabase(databasePath(),
                     "PRAGMA busy_timeout=2000; INSERT INTO change SELECT max(position)+17,"
                     " x'0D0100' || 'Conf.silent.x' || '1' FROM change");
        raise(HasFailure() ? SIGABRT : SIGKILL);
        return 0;
    };
    EXPECT_EQ(runForked(commitAndDie), -SIGKILL);
    EXPECT_THAT(remembered(2), ElementsAre(testing::_, Pairs{{"Conf.silent.x", "1"}}));
}

TEST_F(ConfigTrouble, ALockedFileIsACode) {
    const Connection connection;
    ASSERT_EQ(put("Conf.locked.x", "1"), 0U);
    Child locker([] {
        openDatabase(databasePath(), "BEGIN IMMEDIATE");
        return !HasFailure();
    });
    const CaughtErrors errors;
    EXPECT_EQ(put("Conf.locked.x", "2"), uint32_t{EBUSY}) << "and does not wait for ever";
    EXPECT_EQ(held("Conf.locked.x"), "1");
    EXPECT_EQ(errors.mentions(databasePath() + ": Device or resource busy; another process keeps it"), 1);
    locker.end();
    EXPECT_EQ(put("Conf.locked.x", "2"), 0U);
}

TEST_F(ConfigTrouble, AFileThatIsNoConfigurationIsLeftAlone) {
    const std::string path = databasePath();
    const std::string away = path + ".away";
    {
        const Connection connection;
        ASSERT_EQ(put("Conf.spoiled.x", "1"), 0U);
    }
    // Without a client the write-ahead log is in the file.
    std::filesystem::rename(path, away);
    const std::string foreign = std::string(TarnHostDir()) + "/foreign.db";
    sqlite3_close(openDatabase(foreign, "CREATE TABLE IF NOT EXISTS other(x)"));

    const CaughtErrors errors;
    for (const std::string& content : {std::string(8192, 'x'), readFile(foreign)}) {
        writeFile(path, content);
        EXPECT_EQ(TarnOmConfigInit(0, "test", "Conf"), uint32_t{EBADMSG});
        EXPECT_TRUE(readFile(path) == content);
        SetUp();
    }
    EXPECT_EQ(errors.mentions(path + ": unusable content; it is damaged"), 1);
    EXPECT_EQ(errors.mentions(""), 1);
    std::filesystem::rename(away, path);
    const Connection again;
    EXPECT_EQ(held("Conf.spoiled.x"), "1");
}

TEST_F(ConfigTrouble, ForksStartDisconnectedWhileOthersWrite) {
    {
        const Connection connection("Conf", remember);
        const std::jthread writer =
            meanwhileForking([i = 0]() mutable { EXPECT_EQ(put("Conf.forks.parent", std::to_string(i++)), 0U); });
        for (size_t i = 0; i < 20; ++i) {
            EXPECT_EQ(runForked([&] {
                          EXPECT_EQ(openDescriptors("anon_inode:inotify"), 0U);
                          EXPECT_EQ(put("Conf.forks.child", "no"), uint32_t{ENOTCONN});
                          const Connection own("Conf", remember);
                          EXPECT_EQ(put("Conf.forks.child", std::to_string(i)), 0U);
                          EXPECT_FALSE(remembered(1).empty());
                          return 0;
                      }),
                      0);
            EXPECT_EQ(held("Conf.forks.child"), std::to_string(i));
            EXPECT_GT(remembered(i + 1).size(), i);
        }
    }
    EXPECT_EQ(integrity(), "ok");
}

} // namespace
