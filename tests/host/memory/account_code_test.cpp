// An account on its way to another process; what is no whole account is refused.
#include "memory/account_code.h"

#include "support/host_test.h"
#include "tarn_platform/os_memory.h"

namespace {

using tarn::host::Account;
using tarn::host::decodeAccount;
using tarn::host::encodeAccount;

TEST(MemoryAccountCode, RefusesWhatEndsEarlyOrClaimsTooMuch) {
    void* const block = OsMemMallocSetCharMon(1, 0, 0, 0, 1, "x");
    std::vector<std::byte> bytes = encodeAccount();
    OSMemTypeFreeMon(block, 0, 0, 1, "x");
    const size_t whole = decodeAccount(bytes)->sites.size();
    for (size_t length = 0; length < bytes.size(); ++length) {
        // A vector of its own, so that a read behind its end is seen.
        const std::vector<std::byte> start(bytes.begin(), bytes.begin() + static_cast<long>(length));
        const std::optional<Account> account = decodeAccount(start);
        EXPECT_TRUE(!account || account->sites.size() < whole) << length;
    }
    constexpr size_t kFirstNameLength = sizeof(TarnHostMemoryStatus) + sizeof(uint32_t);
    std::fill_n(bytes.begin() + kFirstNameLength, sizeof(uint32_t), std::byte{0xFF});
    EXPECT_FALSE(decodeAccount(bytes).has_value());
}

} // namespace
