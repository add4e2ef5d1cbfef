// What the configuration tests share: short calls, and a callback that remembers.
#pragma once

#include <sqlite3.h>

#include "support/host_test.h"
#include "tarn_host/host_config.h"
#include "tarn_platform/om_config.h"

namespace config_test {

using namespace tarn::test;
using Pair = std::pair<std::string, std::string>;
using Pairs = std::vector<Pair>;
using testing::ElementsAre;

// Begins a test without what an earlier one has written: a value that is held already is no change.
class EmptyConfiguration : public testing::Test {
 protected:
    void SetUp() override;
};

ConfConfigOmRecord recordOf(const std::string& key, const std::string& value = "");
uint32_t put(const std::string& key, const std::string& value);
uint32_t putAll(const Pairs& items);
// Nothing for a key that is not held.
std::optional<std::string> held(const std::string& key);

// What `remember` was called with, one entry a call; only one at a time.
void remember(uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify);
void forget();
// Waits some seconds until so many calls were made; all that were made by then.
std::vector<Pairs> remembered(size_t calls);

// Connects a domain for the life of the object, with `remember` or without a callback.
class Connection {
 public:
    explicit Connection(const std::string& domain = "Conf", OmConfigNotifyFunc callback = nullptr);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

 private:
    std::string domain_;
};

std::string databasePath();
// A connection of its own, past the service.
sqlite3* openDatabase(const std::string& path, const char* sql);
// What "PRAGMA integrity_check" answers.
std::string integrity();

} // namespace config_test
