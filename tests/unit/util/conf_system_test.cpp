#include <array>

#include "tarn_conference/conf_system.h"
#include "told.h"

namespace tarn::test {
namespace {

using namespace testing;

using System = ScriptedPlatformTest;

// The scripted calls put their other arguments into the record.
using Answer = std::array<uintptr_t, 3>;

TEST_F(System, MemoryStatisticsPassThrough) {
    Answer out = {};
    EXPECT_EQ(ConfMemGetMemRec(nullptr, out.data()), 0U);
    EXPECT_THAT(out, ElementsAre(0, 0, 0));
    const int filter = 0;
    EXPECT_EQ(ConfMemGetMemRec(&filter, out.data()), 0U);
    EXPECT_THAT(out, ElementsAre(1, reinterpret_cast<uintptr_t>(&filter), 0));

    using Wrapper = uint32_t (*)(void*, uintptr_t, uintptr_t);
    const std::pair<Wrapper, const char*> wrappers[] = {{ConfMemGetMemStatus, "OsMemGetMemStatus"},
                                                        {ConfMemGetMemScan, "OsMemGetMemScan"},
                                                        {ConfMemGetMemoryUseMonitor, "OsMemGetMemoryUseMonitor"}};
    constexpr uintptr_t kWide = 0x1234'5678'9ABC'DEF0;
    for (const auto& [wrapper, call] : wrappers) {
        platform.reset();
        EXPECT_EQ(wrapper(nullptr, 1, 2), 1U);
        EXPECT_EQ(ConfMemGetMemRec(&filter, nullptr), 1U);
        EXPECT_THAT(platform.calls(), IsEmpty());
        EXPECT_EQ(wrapper(out.data(), kWide, 7), 0U);
        EXPECT_THAT(out, ElementsAre(kWide, 7, 0));
        EXPECT_THAT(platform.calls(), ElementsAre(call));
    }
}

TEST_F(System, HooksAreSilentAndOneHelperSaysThatItIsNotSupported) {
    EXPECT_THAT(Codes({ConfReportToBeacon(), ConfReportAddrBookToBeacon(), ConfReportRegisterToBeacon(),
                       ConfReportCallErrToBeacon()}),
                Each(0));
    SetOmsConfType(0xFFFFFFFF);
    EXPECT_EQ(GetOmsConfType(), 0xFFFFFFFF);
    EXPECT_EQ(g_bConfCalltype, 0xFFFFFFFF);
    EXPECT_THAT(platform.calls(), IsEmpty());
    EXPECT_EQ(GetBestLocalIpByDestIp(nullptr), 1U);
    EXPECT_THAT(takeLogs("GetBestLocalIpByDestIp"), ElementsAre("GetBestLocalIpByDestIp not supported"));
}

} // namespace
} // namespace tarn::test
