#include "config/config_support.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <mutex>

#include "tarn_host/host_process.h"

// The thread sanitizer ends a forked child that starts a thread, unless it is asked not to.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}

namespace config_test {
namespace {

std::mutex rememberedMutex;
std::condition_variable rememberedMore;
std::vector<Pairs> rememberedCalls;

} // namespace

void EmptyConfiguration::SetUp() {
    for (const char* part : {"", "-wal", "-shm"}) {
        std::filesystem::remove(databasePath() + part);
    }
}

ConfConfigOmRecord recordOf(const std::string& key, const std::string& value) {
    ConfConfigOmRecord record = {};
    EXPECT_EQ(TarnOmConfigcopyStr2Key(&record.key, key.c_str()), 0U);
    EXPECT_EQ(TarnOmConfigcopyStr2Val(&record.value, value.c_str()), 0U);
    return record;
}

uint32_t put(const std::string& key, const std::string& value) {
    return TarnOmConfigStringSet(recordOf(key, value));
}

uint32_t putAll(const Pairs& items) {
    std::vector<ConfConfigOmRecord> records;
    for (const auto& [key, value] : items) {
        records.push_back(recordOf(key, value));
    }
    return TarnOmConfigStringMset(records.data(), static_cast<uint32_t>(records.size()));
}

std::optional<std::string> held(const std::string& key) {
    ConfConfigOmRecord record = recordOf(key);
    if (TarnOmConfigStringGet(&record) != 0) {
        return std::nullopt;
    }
    EXPECT_EQ(std::strlen(record.value.text), record.value.length);
    return record.value.text;
}

void remember(uint32_t msgId, uint32_t /*second*/, uint32_t /*third*/, ConfConfigOmNotify* notify) {
    EXPECT_EQ(msgId, OM_CONFIG_MSG_CHANGED);
    Pairs items;
    for (uint32_t i = 0; i < notify->count; ++i) {
        const ConfConfigOmNotifyEntry& entry = notify->entries[i];
        items.emplace_back(std::string(entry.key, entry.keyLength),
                           std::string(entry.value->text, entry.value->length));
    }
    const std::lock_guard lock(rememberedMutex);
    rememberedCalls.push_back(std::move(items));
    rememberedMore.notify_all();
}

void forget() {
    const std::lock_guard lock(rememberedMutex);
    rememberedCalls.clear();
}

std::vector<Pairs> remembered(size_t calls) {
    std::unique_lock lock(rememberedMutex);
    // Not a steady clock: the thread sanitizer knows only the other wait.
    rememberedMore.wait_until(lock, std::chrono::system_clock::now() + std::chrono::seconds(20),
                              [&] { return rememberedCalls.size() >= calls; });
    return rememberedCalls;
}

Connection::Connection(const std::string& domain, OmConfigNotifyFunc callback) : domain_(domain) {
    forget();
    EXPECT_EQ(TarnOmConfigInit(0, "test", domain.c_str()), 0U);
    if (callback != nullptr) {
        EXPECT_EQ(TarnOmConfigNotifyCallback(callback, domain.c_str()), 0U);
    }
}

Connection::~Connection() {
    TarnOmConfigUnInit(domain_.c_str());
}

pid_t startChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    return child;
}

int waitForChild(pid_t child) {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string databasePath() {
    return std::string(TarnHostDir()) + "/config.db";
}

std::string integrity() {
    sqlite3* database = nullptr;
    sqlite3_stmt* check = nullptr;
    std::string answer = "cannot be opened";
    if (sqlite3_open(databasePath().c_str(), &database) == SQLITE_OK &&
        sqlite3_prepare_v2(database, "PRAGMA integrity_check", -1, &check, nullptr) == SQLITE_OK &&
        sqlite3_step(check) == SQLITE_ROW) {
        answer = reinterpret_cast<const char*>(sqlite3_column_text(check, 0));
    }
    sqlite3_finalize(check);
    sqlite3_close(database);
    return answer;
}

} // namespace config_test
