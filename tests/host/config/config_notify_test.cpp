// Changes reach every process: once, in the order of the commits, grouped as they were written.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <thread>

#include "config/config_support.h"
#include "tarn_host/host_config.h"

namespace {

using namespace config_test;
using testing::ElementsAre;
using testing::SizeIs;

class ConfigNotify : public EmptyConfiguration {};

TEST_F(ConfigNotify, GroupsTheRealChangesOfAWrite) {
    {
        const Connection before;
        ASSERT_EQ(put("Conf.group.old", "old"), 0U);
    }
    const Connection connection("Conf", remember);
    ASSERT_EQ(putAll({{"Conf.group.b", "1"}, {"Other.x", "1"}, {"Conf.group.old", "old"}, {"Conf.group.a", ""}}), 0U);
    ASSERT_EQ(put("Conf.group.b", "1"), 0U);
    ASSERT_EQ(put("Confusing.x", "1"), 0U);
    ASSERT_EQ(putAll({{"Conf.group.b", "2"}, {"Conf.group.b", "3"}}), 0U);
    ASSERT_EQ(TarnHostConfigRemove("Conf.group.b"), 0U);
    EXPECT_THAT(remembered(3),
                ElementsAre(Pairs{{"Conf.group.b", "1"}, {"Conf.group.a", ""}},
                            Pairs{{"Conf.group.b", "2"}, {"Conf.group.b", "3"}}, Pairs{{"Conf.group.b", ""}}));
}

TEST_F(ConfigNotify, ReachesAllProcessesInCommitOrder) {
    constexpr int kWrites = 100;
    const Connection connection("Conf", remember);
    const auto writer = [](const std::string& name) {
        return startChild([=] {
            const Connection own("Conf", remember);
            for (int i = 0; i < kWrites; ++i) {
                const std::string value = name + std::to_string(i);
                if (putAll({{"Conf.race.x", value}, {"Conf.race.y", value}}) != 0) {
                    return 1;
                }
            }
            // Its own writes came back to it, in their order.
            int next = 0;
            while (next < kWrites) {
                const std::vector<Pairs> calls = remembered(static_cast<size_t>(next) + 1);
                next = 0;
                for (const Pairs& call : calls) {
                    next += call == Pairs{{"Conf.race.x", name + std::to_string(next)},
                                          {"Conf.race.y", name + std::to_string(next)}};
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            return 0;
        });
    };
    const pid_t first = writer("first");
    const pid_t second = writer("second");
    EXPECT_EQ(waitForChild(first), 0);
    EXPECT_EQ(waitForChild(second), 0);

    const std::vector<Pairs> calls = remembered(2 * kWrites);
    ASSERT_THAT(calls, SizeIs(2 * kWrites));
    std::map<std::string, int> seen;
    for (const Pairs& call : calls) {
        ASSERT_EQ(call.size(), 2U);
        EXPECT_EQ(call[0].second, call[1].second);
        const std::string name = call[0].second.starts_with("first") ? "first" : "second";
        EXPECT_EQ(call[0].second, name + std::to_string(seen[name]++));
    }
    EXPECT_EQ(held("Conf.race.x"), calls.back()[0].second);
}

std::atomic<int> callsAfterEnd;
std::atomic<bool> isEnded;

TEST_F(ConfigNotify, IsSilentAfterTheEnd) {
    const Connection writer("Writer");
    std::atomic<bool> isOver{false};
    std::thread changes([&] {
        for (int i = 0; !isOver; ++i) {
            put("Conf.end.x", std::to_string(i));
        }
    });
    for (int i = 0; i < 20; ++i) {
        isEnded = false;
        const Connection connection("Conf", remember);
        const auto note = [](uint32_t, uint32_t, uint32_t, ConfConfigOmNotify*) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            callsAfterEnd += isEnded ? 1 : 0;
        };
        ASSERT_EQ(TarnOmConfigNotifyCallback(note, "Conf"), 0U);
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        ASSERT_EQ(TarnOmConfigUnInit("Conf"), 0U);
        isEnded = true;
    }
    isOver = true;
    changes.join();
    EXPECT_EQ(callsAfterEnd, 0);
}

TEST_F(ConfigNotify, MayBeEndedFromWithin) {
    const Connection connection("Conf");
    const auto endIt = [](uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify) {
        EXPECT_EQ(put("Conf.within.y", "from within"), 0U);
        EXPECT_EQ(TarnOmConfigUnInit("Conf"), 0U);
        remember(msgId, second, third, notify);
    };
    ASSERT_EQ(TarnOmConfigNotifyCallback(endIt, "Conf"), 0U);
    ASSERT_EQ(put("Conf.within.x", "1"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.within.x", "1"}}));
    const Connection again("Conf", remember);
    ASSERT_EQ(put("Conf.within.x", "2"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.within.x", "2"}}));
}

TEST_F(ConfigNotify, WatchesTellRemovals) {
    std::atomic<int> removals{0};
    TarnHostConfigWatch* watch = nullptr;
    const auto count = [](const TarnHostConfigChange* changes, uint32_t changed, void* argument) {
        for (uint32_t i = 0; i < changed; ++i) {
            *static_cast<std::atomic<int>*>(argument) += changes[i].value == nullptr ? 1 : 0;
        }
    };
    EXPECT_NE(TarnHostConfigWatchStart("", nullptr, nullptr, &watch), 0U);
    ASSERT_EQ(TarnHostConfigWatchStart(nullptr, count, &removals, &watch), 0U);
    const Connection connection("Conf", remember);
    ASSERT_EQ(put("Conf.watch", "1"), 0U);
    ASSERT_EQ(TarnHostConfigRemove("Conf.watch"), 0U);
    EXPECT_THAT(remembered(2), SizeIs(2));
    TarnHostConfigWatchStop(watch);
    TarnHostConfigWatchStop(nullptr);
    EXPECT_EQ(removals, 1);
}

std::atomic<bool> isHeldUp;

// Who falls behind the log of changes, or gets another file, learns the present values.
TEST_F(ConfigNotify, CatchesUpWithPresentValues) {
    const auto holdUp = [](uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify) {
        while (isHeldUp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        remember(msgId, second, third, notify);
    };
    const Connection connection("Conf", holdUp);
    isHeldUp = true;
    ASSERT_EQ(put("Conf.behind.first", "1"), 0U);
    Pairs large;
    for (int i = 0; i < 500; ++i) {
        large.emplace_back("Other.behind." + std::to_string(i), "");
    }
    ASSERT_EQ(put("Conf.behind.lost", "1"), 0U);
    for (int round = 0; round < 20; ++round) {
        for (Pair& item : large) {
            item.second = std::string(1000, static_cast<char>('a' + round));
        }
        ASSERT_EQ(putAll(large), 0U);
    }
    ASSERT_EQ(put("Conf.behind.lost", "2"), 0U);
    isHeldUp = false;
    std::vector<Pairs> calls = remembered(2);
    ASSERT_FALSE(calls.empty());
    // The first may have been missed with the others when the thread had not read it yet.
    EXPECT_EQ(calls.back().back(), (Pair{"Conf.behind.lost", "2"}));

    // The newest change stays in the log although the log was cut, so counting goes on.
    forget();
    ASSERT_EQ(put("Conf.behind.last", "1"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.behind.last", "1"}}));

    forget();
    const std::string path = databasePath();
    for (const char* part : {"", "-wal", "-shm"}) {
        std::filesystem::rename(path + part, path + part + ".away");
    }
    ASSERT_EQ(put("Conf.behind.fresh", "1"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.behind.fresh", "1"}}));
    EXPECT_EQ(held("Conf.behind.last"), std::nullopt);
}

} // namespace
