// What the configuration tests share: short calls, and a callback that remembers.
#pragma once

#include <sqlite3.h>

#include <mutex>

#include "support/host_test.h"
#include "tarn_host/host_config.h"
#include "tarn_platform/om_config.h"

namespace config_test {

using namespace tarn::test;
using Pair = std::pair<std::string, std::string>;
using Pairs = std::vector<Pair>;
using testing::ElementsAre;

inline std::string databasePath() {
    return std::string(TarnHostDir()) + "/config.db";
}

// Begins a test without what an earlier one has written: a value that is held already is no change.
class EmptyConfiguration : public testing::Test {
 protected:
    void SetUp() override {
        for (const char* part : {"", "-wal", "-shm"}) {
            std::filesystem::remove(databasePath() + part);
        }
    }
};

inline ConfConfigOmRecord recordOf(const std::string& key, const std::string& value = "") {
    ConfConfigOmRecord record = {};
    EXPECT_EQ(TarnOmConfigcopyStr2Key(&record.key, key.c_str()), 0U);
    EXPECT_EQ(TarnOmConfigcopyStr2Val(&record.value, value.c_str()), 0U);
    return record;
}

inline uint32_t put(const std::string& key, const std::string& value) {
    return TarnOmConfigStringSet(recordOf(key, value));
}

inline uint32_t putAll(const Pairs& items) {
    std::vector<ConfConfigOmRecord> records;
    for (const auto& [key, value] : items) {
        records.push_back(recordOf(key, value));
    }
    return TarnOmConfigStringMset(records.data(), static_cast<uint32_t>(records.size()));
}

// Nothing for a key that is not held.
inline std::optional<std::string> held(const std::string& key) {
    ConfConfigOmRecord record = recordOf(key);
    if (TarnOmConfigStringGet(&record) != 0) {
        return std::nullopt;
    }
    EXPECT_EQ(std::strlen(record.value.text), record.value.length);
    return record.value.text;
}

inline std::mutex rememberedMutex;
inline std::vector<Pairs> rememberedCalls; // what `remember` was called with, one entry a call

inline void remember(uint32_t msgId, uint32_t /*second*/, uint32_t /*third*/, ConfConfigOmNotify* notify) {
    EXPECT_EQ(msgId, OM_CONFIG_MSG_CHANGED);
    Pairs items;
    for (uint32_t i = 0; i < notify->count; ++i) {
        const ConfConfigOmNotifyEntry& entry = notify->entries[i];
        items.emplace_back(std::string(entry.key, entry.keyLength),
                           std::string(entry.value->text, entry.value->length));
    }
    const std::lock_guard lock(rememberedMutex);
    rememberedCalls.push_back(std::move(items));
}

inline void forget() {
    const std::lock_guard lock(rememberedMutex);
    rememberedCalls.clear();
}

// Waits some seconds until so many calls were made; all that were made by then.
inline std::vector<Pairs> remembered(size_t calls) {
    std::vector<Pairs> all;
    comesTrue([&] {
        const std::lock_guard lock(rememberedMutex);
        all = rememberedCalls;
        return all.size() >= calls;
    });
    return all;
}

// Connects a domain for the life of the object, with `remember`, another callback or none.
class Connection {
 public:
    explicit Connection(const char* domain = "Conf", OmConfigNotifyFunc callback = nullptr) : domain_(domain) {
        forget();
        EXPECT_EQ(TarnOmConfigInit(0, "test", domain), 0U);
        EXPECT_EQ(callback == nullptr ? 0 : TarnOmConfigNotifyCallback(callback, domain), 0U);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { TarnOmConfigUnInit(domain_); }

 private:
    const char* domain_;
};

// A connection of its own, past the service.
inline sqlite3* openDatabase(const std::string& path, const char* sql) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    return database;
}

inline std::string integrity() {
    std::string answer = "cannot be checked";
    const auto take = [](void* text, int /*columns*/, char** values, char** /*names*/) {
        *static_cast<std::string*>(text) = values[0];
        return 0;
    };
    sqlite3* const database = openDatabase(databasePath(), "");
    sqlite3_exec(database, "PRAGMA integrity_check", take, &answer, nullptr);
    sqlite3_close(database);
    return answer;
}

} // namespace config_test
