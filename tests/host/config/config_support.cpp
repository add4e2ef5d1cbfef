#include "config/config_support.h"

#include <mutex>

namespace config_test {
namespace {

std::mutex rememberedMutex;
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
}

void forget() {
    const std::lock_guard lock(rememberedMutex);
    rememberedCalls.clear();
}

std::vector<Pairs> remembered(size_t calls) {
    std::vector<Pairs> all;
    comesTrue([&] {
        const std::lock_guard lock(rememberedMutex);
        all = rememberedCalls;
        return all.size() >= calls;
    });
    return all;
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

std::string databasePath() {
    return std::string(TarnHostDir()) + "/config.db";
}

sqlite3* openDatabase(const std::string& path, const char* sql) {
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    return database;
}

std::string integrity() {
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
