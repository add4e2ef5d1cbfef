// What the configuration tests share: short calls, a callback that remembers, and child processes.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tarn_platform/om_config.h"

namespace config_test {

using Pair = std::pair<std::string, std::string>;
using Pairs = std::vector<Pair>;

ConfConfigOmRecord recordOf(const std::string& key, const std::string& value = "");
uint32_t put(const std::string& key, const std::string& value);
uint32_t putAll(const Pairs& items);
// Nothing for a key that is not held.
std::optional<std::string> held(const std::string& key);

// Begins a test without what an earlier one has written: a value that is held already is no change.
class EmptyConfiguration : public testing::Test {
 protected:
    void SetUp() override;
};

// What `remember` was called with, one entry a call; only one at a time.
void remember(uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify);
void forget();
// Waits some seconds until so many calls were made; all that were made by then.
std::vector<Pairs> remembered(size_t calls);

// Connects a domain for the life of the object, with `remember` or without a callback.
class Connection {
 public:
    explicit Connection(const std::string& domain = "Conf", OmConfigNotifyFunc callback = nullptr);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection(Connection&&) = delete;
    Connection& operator=(const Connection&) = delete;
    Connection& operator=(Connection&&) = delete;

 private:
    std::string domain_;
};

// Runs the body in a forked process, which ends with its result (0 to 255).
pid_t startChild(const std::function<int()>& body);
// Its exit code, or minus the signal that ended it.
int waitForChild(pid_t child);

std::string databasePath();
// What "PRAGMA integrity_check" answers.
std::string integrity();

} // namespace config_test
