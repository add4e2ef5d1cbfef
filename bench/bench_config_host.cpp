// Lists of 500 items on the host's configuration, beside bare SQLite doing the same transactions on a file of its own
// with the same settings. TARN_HOST_DIR names the disk; without it a directory below /tmp is made and removed.
#include <sqlite3.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ratio.h"
#include "tarn_conference/conf_config.h"
#include "tarn_conference/conf_log.h"
#include "tarn_host/host_process.h"
#include "tarn_platform/os_memory.h"

namespace {

constexpr size_t kItems = 500;
constexpr size_t kBatch = 50;

struct Data {
    std::array<int32_t, kItems> variables = {};
    std::vector<ConfConfigKeyValue> items = std::vector<ConfConfigKeyValue>(kItems);
    int round = 0;
};

Data& data() {
    static Data all;
    return all;
}

void renderKey(char (&key)[OM_CONFIG_KEY_LEN], size_t index) {
    std::snprintf(key, sizeof key, "Conf.BenchParam.item%03zu", index);
}

void bindItems() {
    char key[OM_CONFIG_KEY_LEN];
    for (size_t i = 0; i < kItems; ++i) {
        renderKey(key, i);
        ConfConfigBind(key, CONF_CONFIG_TYPE_INT, &data().variables[i], sizeof data().variables[i], nullptr);
    }
}

// Every item gets a value that it does not have.
void nextValues() {
    const int round = ++data().round;
    for (size_t i = 0; i < kItems; ++i) {
        renderKey(data().items[i].key, i);
        std::snprintf(data().items[i].value, sizeof data().items[i].value, "%d", round * 1000 + static_cast<int>(i));
    }
}

void require(bool isTrue, const char* what) {
    if (!isTrue) {
        std::fprintf(stderr, "bench_config_host: %s\n", what);
        std::exit(1);
    }
}

void applyChanged() {
    nextValues();
    require(ConfConfigSetList(data().items.data(), kItems, 1) == static_cast<int32_t>(kItems), "the list failed");
}

// The client's part of it.
void writeRecords() {
    static std::vector<ConfConfigOmRecord> records(kItems);
    nextValues();
    for (size_t i = 0; i < kItems; ++i) {
        TarnOmConfigcopyStr2Key(&records[i].key, data().items[i].key);
        TarnOmConfigcopyStr2Val(&records[i].value, data().items[i].value);
    }
    for (size_t start = 0; start < kItems; start += kBatch) {
        require(TarnOmConfigStringMset(&records[start], kBatch) == 0, "a write failed");
    }
}

void applyUnchanged() {
    benchmark::DoNotOptimize(ConfConfigSetList(data().items.data(), kItems, 1));
}

// The same, without anything around it.
class Bare {
 public:
    Bare() {
        require(sqlite3_open((std::string(TarnHostDir()) + "/bare.db").c_str(), &database_) == SQLITE_OK, "open");
        run("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
            "CREATE TABLE item(key TEXT PRIMARY KEY NOT NULL, value TEXT) WITHOUT ROWID;");
        prepare("INSERT INTO item(key,value) VALUES(?1,?2) ON CONFLICT(key) DO UPDATE SET value=excluded.value", &put_);
        prepare("SELECT value FROM item WHERE key=?1", &get_);
        prepare("BEGIN IMMEDIATE", &beginWrite_);
        prepare("BEGIN", &begin_);
        prepare("COMMIT", &commit_);
    }

    void write(const std::vector<ConfConfigKeyValue>& items) {
        for (size_t start = 0; start < items.size(); start += kBatch) {
            step(beginWrite_);
            for (size_t i = start; i < start + kBatch; ++i) {
                sqlite3_bind_text(put_, 1, items[i].key, -1, SQLITE_STATIC);
                sqlite3_bind_text(put_, 2, items[i].value, -1, SQLITE_STATIC);
                step(put_);
            }
            step(commit_);
        }
    }

    void read(std::vector<ConfConfigKeyValue>& items) {
        step(begin_);
        for (ConfConfigKeyValue& item : items) {
            sqlite3_bind_text(get_, 1, item.key, -1, SQLITE_STATIC);
            require(sqlite3_step(get_) == SQLITE_ROW, "a key is missing");
            const auto* const text = sqlite3_column_text(get_, 0);
            std::memcpy(item.value, text, static_cast<size_t>(sqlite3_column_bytes(get_, 0)) + 1);
            sqlite3_reset(get_);
        }
        step(commit_);
    }

 private:
    void run(const char* sql) { require(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql); }
    void prepare(const char* sql, sqlite3_stmt** statement) {
        require(sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, statement, nullptr) == SQLITE_OK,
                sql);
    }
    static void step(sqlite3_stmt* statement) {
        require(sqlite3_step(statement) == SQLITE_DONE, sqlite3_sql(statement));
        sqlite3_reset(statement);
    }

    sqlite3* database_ = nullptr;
    sqlite3_stmt* put_ = nullptr;
    sqlite3_stmt* get_ = nullptr;
    sqlite3_stmt* beginWrite_ = nullptr;
    sqlite3_stmt* begin_ = nullptr;
    sqlite3_stmt* commit_ = nullptr;
};

Bare& bare() {
    static Bare one;
    return one;
}

void bareWrite() {
    nextValues();
    bare().write(data().items);
}

void bareRead() {
    static std::vector<ConfConfigKeyValue> items = data().items;
    bare().read(items);
    benchmark::DoNotOptimize(items.data());
}

void bulkGet() {
    static const uint32_t bytes = static_cast<uint32_t>(kItems * sizeof(ConfConfigKeyValue));
    static ConfMeetingServerMsgBlock* const block = GenerateMeetingServerMsgBlock(data().items.data(), bytes);
    block->listLen = kItems;
    require(ConfConfigGetConfConfig(0, block, GetMeetingServerMsgBlockSize(block)) == 0, "the bulk get failed");
    OSMemTypeFreeMon(block->result, 0, 0, __LINE__, __FILE__);
    block->result = nullptr;
}

template <void (*call)()>
void timed(benchmark::State& state) {
    for (auto _ : state) {
        call();
    }
}
BENCHMARK(timed<applyChanged>)->Name("list of 500 changed items, written back")->UseRealTime();
BENCHMARK(timed<writeRecords>)->Name("its writes alone: ten calls of 50 records")->UseRealTime();
BENCHMARK(timed<bareWrite>)->Name("bare: ten transactions of 50 items")->UseRealTime();
BENCHMARK(timed<applyUnchanged>)->Name("list of 500 unchanged items");
BENCHMARK(timed<bulkGet>)->Name("bulk get of 500 items");
BENCHMARK(timed<bareRead>)->Name("bare: 500 queries in one transaction");

// How long it takes until a change arrives.
std::atomic<double> arrival;

void noteArrival(uint32_t /*msgId*/, uint32_t /*second*/, uint32_t /*third*/, ConfConfigOmNotify* /*notify*/) {
    arrival = tarn::bench::now(CLOCK_MONOTONIC);
}

bool changesArrive() {
    require(TarnOmConfigInit(0, "bench", "Arrival") == 0, "init");
    require(TarnOmConfigNotifyCallback(noteArrival, "Arrival") == 0, "callback");
    std::vector<double> times;
    for (int i = 0; i < 101; ++i) {
        ConfConfigOmRecord record = {};
        TarnOmConfigcopyStr2Key(&record.key, "Arrival.x");
        TarnOmConfigsetIntValue(&record.value, i);
        arrival = 0;
        require(TarnOmConfigStringSet(record) == 0, "set");
        const double committed = tarn::bench::now(CLOCK_MONOTONIC);
        while (arrival == 0) {
            usleep(50);
        }
        times.push_back(std::max(arrival - committed, 0.0));
    }
    TarnOmConfigUnInit("Arrival");
    std::ranges::sort(times);
    std::printf("change behind its commit: median %.3f ms, longest %.3f ms of %zu\n", times[times.size() / 2] * 1000,
                times.back() * 1000, times.size());
    return tarn::bench::holds("change behind its commit, to 50 ms", times[times.size() / 2] / 0.05, 1);
}

bool unchangedWritesNothing() {
    const std::string path = std::string(TarnHostDir()) + "/config.db-wal";
    applyChanged();
    const auto before = std::filesystem::last_write_time(path);
    for (int i = 0; i < 100; ++i) {
        applyUnchanged();
    }
    const bool isUntouched = std::filesystem::last_write_time(path) == before;
    std::printf("500 unchanged items write nothing: %s\n", isUntouched ? "yes" : "NO");
    return isUntouched;
}

template <void (*call)()>
struct Calling {
    void operator()() const { call(); }
};

bool ratios() {
    using tarn::bench::holds;
    using tarn::bench::medianRatio;
    bool allHold = holds("list of 500 changed items, to ten bare transactions",
                         medianRatio(Calling<applyChanged>(), Calling<bareWrite>(), CLOCK_MONOTONIC), 1.3);
    allHold &=
        holds("bulk get of 500 items, to 500 bare queries", medianRatio(Calling<bulkGet>(), Calling<bareRead>()), 1.3);
    allHold &= unchangedWritesNothing();
    return changesArrive() && allHold;
}

} // namespace

int main(int argc, char** argv) {
    std::string made = "/tmp/tarn-bench-XXXXXX";
    const bool isGiven = getenv("TARN_HOST_DIR") != nullptr;
    if (!isGiven) {
        require(mkdtemp(made.data()) != nullptr && setenv("TARN_HOST_DIR", made.c_str(), 1) == 0, "no directory");
    }
    ConfLogInit();
    // The records about each item cost as much as the writes; bench_log measures them.
    SetLogLevel(CONF_LOG_WARNING);
    require(ConfConfigInit(bindItems, "TarnUIConf", "Conf") == 0, "the registry does not start");
    applyChanged();
    bareWrite();
    const int result = tarn::bench::runAll(argc, argv, ratios);
    ConfConfigUnInit();
    if (!isGiven) {
        std::error_code ignored;
        std::filesystem::remove_all(made, ignored);
    }
    return result;
}
