// Killed writers, locked and damaged files, forks at bad moments.
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <thread>

#include "config/config_support.h"
#include "tarn_host/host_process.h"

namespace {

using namespace config_test;
using testing::HasSubstr;

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return (std::ostringstream() << file.rdbuf()).str();
}

class ConfigTrouble : public EmptyConfiguration {};

TEST_F(ConfigTrouble, KilledWritersLoseNothingForOthers) {
    constexpr int kKills = 50;
    const Connection connection("Conf", remember);
    std::mt19937 random(5);
    int calls = 0;
    for (int kill = 0; kill < kKills; ++kill) {
        const pid_t child = startChild([&] {
            const Connection own;
            for (int i = 0;; ++i) {
                const std::string value = std::to_string(kill) + "." + std::to_string(i);
                putAll({{"Conf.killed.x", value}, {"Conf.killed.y", value + std::string(900, ' ')}});
            }
            return 0;
        });
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
        ::kill(child, SIGKILL);
        EXPECT_EQ(waitForChild(child), -SIGKILL);
        ASSERT_EQ(put("Conf.killed.mine", std::to_string(kill)), 0U);
        ++calls;
    }
    EXPECT_EQ(integrity(), "ok");
    // Each change that is held was notified, the last one that a killed writer made too.
    std::map<std::string, std::string> told;
    for (int tries = 0; tries < 200 && told["Conf.killed.mine"] != std::to_string(kKills - 1); ++tries) {
        for (const Pairs& call : remembered(static_cast<size_t>(calls))) {
            for (const auto& [key, value] : call) {
                told[key] = value;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(told["Conf.killed.mine"], std::to_string(kKills - 1));
    const std::optional<std::string> last = held("Conf.killed.x");
    EXPECT_EQ(told["Conf.killed.x"], last);
    EXPECT_EQ(held("Conf.killed.y")->substr(0, last->size()), *last);
}

// Commits a change as a client does, but dies before it tells anybody.
int commitAndDie() {
    sqlite3* database = nullptr;
    sqlite3_open(databasePath().c_str(), &database);
    sqlite3_busy_timeout(database, 2000); // The parent may be writing or reading at this moment.
    std::string row = std::string("\x0D\x01", 2) + std::string(1, '\0') + "Conf.silent.x" + "1";
    sqlite3_stmt* append = nullptr;
    sqlite3_prepare_v2(database, "INSERT INTO change SELECT max(position)+?1, ?2 FROM change", -1, &append, nullptr);
    sqlite3_bind_int64(append, 1, static_cast<sqlite3_int64>(row.size()));
    sqlite3_bind_blob(append, 2, row.data(), static_cast<int>(row.size()), SQLITE_STATIC);
    const bool isDone = sqlite3_step(append) == SQLITE_DONE;
    raise(isDone ? SIGKILL : SIGABRT);
    return 0;
}

TEST_F(ConfigTrouble, AWriterKilledBeforeItTellsIsNoticed) {
    const Connection connection("Conf", remember);
    ASSERT_EQ(put("Conf.silent.before", "1"), 0U);
    remembered(1);
    EXPECT_EQ(waitForChild(startChild(commitAndDie)), -SIGKILL);
    const std::vector<Pairs> calls = remembered(2);
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_EQ(calls[1], (Pairs{{"Conf.silent.x", "1"}}));
}

// The standard error of the process, caught in a file.
class CaughtErrors {
 public:
    CaughtErrors() : path_(std::string(TarnHostDir()) + "/errors.txt"), saved_(dup(STDERR_FILENO)) {
        const int file = open(path_.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_APPEND | O_CLOEXEC, 0600);
        dup2(file, STDERR_FILENO);
        close(file);
    }
    ~CaughtErrors() {
        dup2(saved_, STDERR_FILENO);
        close(saved_);
    }
    CaughtErrors(const CaughtErrors&) = delete;
    CaughtErrors(CaughtErrors&&) = delete;
    CaughtErrors& operator=(const CaughtErrors&) = delete;
    CaughtErrors& operator=(CaughtErrors&&) = delete;

    std::string text() const { return readFile(path_); }

 private:
    std::string path_;
    int saved_;
};

TEST_F(ConfigTrouble, ALockedFileIsACode) {
    const Connection connection;
    ASSERT_EQ(put("Conf.locked.x", "1"), 0U);
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = startChild([&] {
        sqlite3* database = nullptr;
        sqlite3_open(databasePath().c_str(), &database);
        const bool isLocked = sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
        const ssize_t told = write(ready[1], isLocked ? "y" : "n", 1);
        pause();
        return static_cast<int>(told);
    });
    char answer = 'n';
    ASSERT_EQ(read(ready[0], &answer, 1), 1);
    ASSERT_EQ(answer, 'y');
    {
        const CaughtErrors errors;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(put("Conf.locked.x", "2"), static_cast<uint32_t>(EBUSY));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
        EXPECT_EQ(held("Conf.locked.x"), "1");
        EXPECT_THAT(errors.text(), HasSubstr(databasePath() + ": Device or resource busy; another process keeps it"));
    }
    kill(child, SIGKILL);
    waitForChild(child);
    EXPECT_EQ(put("Conf.locked.x", "2"), 0U);
    close(ready[0]);
    close(ready[1]);
}

TEST_F(ConfigTrouble, AFileThatIsNoConfigurationIsLeftAlone) {
    const Connection connection;
    ASSERT_EQ(put("Conf.spoiled.x", "1"), 0U);
    const std::string path = databasePath();
    const std::string away = path + ".away";
    // Without a client the write-ahead log is in the file.
    ASSERT_EQ(TarnOmConfigUnInit("Conf"), 0U);
    std::filesystem::rename(path, away);

    std::string foreign = std::string(TarnHostDir()) + "/foreign.db";
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(foreign.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, "CREATE TABLE IF NOT EXISTS other(x)", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    const std::string contents[] = {std::string(8192, 'x'), readFile(away).substr(0, 300), readFile(foreign)};
    {
        const CaughtErrors errors;
        for (const std::string& content : contents) {
            std::ofstream(path, std::ios::binary) << content;
            EXPECT_EQ(TarnOmConfigInit(0, "test", "Conf"), static_cast<uint32_t>(EBADMSG));
            EXPECT_TRUE(readFile(path) == content);
            std::filesystem::remove(path);
            std::filesystem::remove(path + "-wal");
            std::filesystem::remove(path + "-shm");
        }
        const std::string text = errors.text();
        EXPECT_THAT(text, HasSubstr(path + ": unusable content; it is damaged"));
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
    }
    std::filesystem::rename(away, path);
    ASSERT_EQ(TarnOmConfigInit(0, "test", "Conf"), 0U);
    EXPECT_EQ(held("Conf.spoiled.x"), "1");
}

TEST_F(ConfigTrouble, ForksStartDisconnectedWhileOthersWrite) {
    const Connection connection("Conf", remember);
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
        for (int i = 0; !isOver; ++i) {
            EXPECT_EQ(put("Conf.forks.parent", std::to_string(i)), 0U);
        }
    });
    for (int i = 0; i < 20; ++i) {
        const pid_t child = startChild([&] {
            if (put("Conf.forks.child", "no") != ENOTCONN) {
                return 1;
            }
            const Connection own("Conf", remember);
            if (put("Conf.forks.child", std::to_string(i)) != 0) {
                return 2;
            }
            return remembered(1).empty() ? 3 : 0;
        });
        EXPECT_EQ(waitForChild(child), 0);
        EXPECT_EQ(held("Conf.forks.child"), std::to_string(i));
    }
    isOver = true;
    writer.join();
    EXPECT_EQ(integrity(), "ok");
}

} // namespace
