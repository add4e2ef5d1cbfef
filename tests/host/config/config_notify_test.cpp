// Changes reach every process: once, in the order of the commits, grouped as they were written.
#include "config/config_support.h"

namespace {

using namespace config_test;

class ConfigNotify : public EmptyConfiguration {};

TEST_F(ConfigNotify, GroupsTheRealChangesOfAWrite) {
    std::atomic<uint32_t> changes = 0;
    TarnHostConfigWatch* watch = nullptr;
    const auto count = [](const TarnHostConfigChange*, uint32_t changed, void* argument) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20)); // So that changes still wait when Conf connects.
        *static_cast<std::atomic<uint32_t>*>(argument) += changed;
    };
    ASSERT_EQ(TarnHostConfigWatchStart(nullptr, count, &changes, &watch), 0U);
    {
        const Connection before;
        expectAll(0, {put("Conf.group.first", "1"), put("Conf.group.second", "2"), put("Conf.group.old", "old")});
    }
    const Connection connection("Conf", remember);
    ASSERT_EQ(putAll({{"Conf.group.b", "1"}, {"Other.x", "1"}, {"Conf.group.old", "old"}, {"Conf.group.a", ""}}), 0U);
    expectAll(0, {put("Conf.group.b", "1"), put("Confusing.x", "1"),
                  putAll({{"Conf.group.b", "2"}, {"Conf.group.b", "3"}}), TarnHostConfigRemove("Conf.group.b")});
    EXPECT_THAT(remembered(3),
                ElementsAre(Pairs{{"Conf.group.b", "1"}, {"Conf.group.a", ""}},
                            Pairs{{"Conf.group.b", "2"}, {"Conf.group.b", "3"}}, Pairs{{"Conf.group.b", ""}}));
    TarnHostConfigWatchStop(watch);
    EXPECT_EQ(changes, 10U) << "those of all keys, since it began";
}

TEST_F(ConfigNotify, ReachesOthersInCommitOrder) {
    constexpr int kWrites = 100;
    const Connection connection("Conf", remember);
    std::vector<pid_t> writers;
    for (const char name : {'a', 'b'}) {
        writers.push_back(startForked([name] {
            const Connection own;
            for (int i = 0; i < kWrites; ++i) {
                const std::string value = name + std::to_string(i);
                EXPECT_EQ(putAll({{"Conf.race.x", value}, {"Conf.race.y", value}}), 0U);
            }
            return 0;
        }));
    }
    EXPECT_EQ(endOf(writers[0]) + endOf(writers[1]), 0);
    const std::vector<Pairs> calls = remembered(2 * kWrites);
    ASSERT_EQ(calls.size(), 2U * kWrites);
    std::map<char, int> next;
    for (const Pairs& call : calls) {
        const char name = call[0].second[0];
        const std::string value = name + std::to_string(next[name]++);
        EXPECT_EQ(call, (Pairs{{"Conf.race.x", value}, {"Conf.race.y", value}}));
    }
    EXPECT_EQ(held("Conf.race.x"), calls.back()[0].second);
}

std::atomic<bool> isEnded;

TEST_F(ConfigNotify, IsSilentAfterTheEnd) {
    const Connection writer("Writer");
    const std::jthread changes = meanwhile([i = 0]() mutable { put("Conf.end.x", std::to_string(i++)); });
    for (int i = 0; i < 20; ++i) {
        isEnded = false;
        const Connection connection("Conf", [](uint32_t, uint32_t, uint32_t, ConfConfigOmNotify*) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            EXPECT_FALSE(isEnded);
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        ASSERT_EQ(TarnOmConfigUnInit("Conf"), 0U);
        isEnded = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5)); // A call that was not waited for would end now.
    }
}

TEST_F(ConfigNotify, MayBeEndedFromWithin) {
    const auto endIt = [](uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify) {
        EXPECT_EQ(put("Conf.within.y", "from within"), 0U);
        EXPECT_EQ(TarnOmConfigUnInit("Conf"), 0U);
        remember(msgId, second, third, notify);
    };
    const Connection connection("Conf", endIt);
    ASSERT_EQ(put("Conf.within.x", "1"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.within.x", "1"}}));
    const Connection again("Conf", remember);
    ASSERT_EQ(put("Conf.within.x", "2"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.within.x", "2"}}));
}

std::atomic<pid_t> forked = 0;

TEST_F(ConfigNotify, AChildForkedInTheCallbackEnds) {
    const Connection connection("Conf", [](uint32_t, uint32_t, uint32_t, ConfConfigOmNotify*) { forked = fork(); });
    ASSERT_EQ(put("Conf.fork", "1"), 0U);
    ASSERT_TRUE(comesTrue([] { return forked != 0; }));
    EXPECT_EQ(endOf(forked), EXIT_FAILURE);
}

std::atomic<bool> isHeldUp;

// Who falls behind the log of changes learns the present values.
TEST_F(ConfigNotify, CatchesUpWithPresentValues) {
    const auto holdUp = [](uint32_t msgId, uint32_t second, uint32_t third, ConfConfigOmNotify* notify) {
        while (isHeldUp) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        remember(msgId, second, third, notify);
    };
    isHeldUp = true;
    const Connection connection("Conf", holdUp);
    expectAll(0, {put("Conf.behind.first", "1"), put("Conf.behind.lost", "1"), put("Conf.behind.lost", "2")});
    for (char round = 'a'; round < 'a' + 20; ++round) {
        Pairs large;
        for (int i = 0; i < 500; ++i) {
            large.emplace_back("Other.behind." + std::to_string(i), std::string(1000, round));
        }
        ASSERT_EQ(putAll(large), 0U);
    }
    isHeldUp = false;
    // The first may have been missed with the others when the thread had not read it yet.
    EXPECT_TRUE(comesTrue([] {
        const std::vector<Pairs> calls = remembered(1);
        return !calls.empty() && calls.back().back() == Pair("Conf.behind.lost", "2");
    }));

    // The newest change stays in the log although the log was cut, so counting goes on.
    forget();
    ASSERT_EQ(put("Conf.behind.last", "1"), 0U);
    EXPECT_THAT(remembered(1), ElementsAre(Pairs{{"Conf.behind.last", "1"}}));
}

} // namespace
