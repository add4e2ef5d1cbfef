#include "memory/account_code.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>

#include "base/byte_code.h"
#include "tarn_platform/os_memory.h"

namespace tarn::host {
namespace {

constexpr uint32_t kLongestName = 4096;

// A site on its way; its name follows.
struct SiteHead {
    uint32_t line;
    uint32_t nameBytes;
    uint64_t liveBlocks;
    uint64_t liveBytes;
    uint64_t peakBytes;
    uint64_t totalBlocks;
    uint64_t totalBytes;
};
static_assert(sizeof(SiteHead) == 48, "both ends agree on it");
static_assert(sizeof(TarnHostMemoryStatus) == 48, "both ends agree on it");

// Other threads add sites meanwhile.
std::vector<TarnHostMemorySite> allSites() {
    std::vector<TarnHostMemorySite> sites;
    TarnHostMemoryRecord record = {nullptr, 0, 0, 0};
    do {
        sites.resize(record.total + size_t{8});
        record.sites = sites.data();
        record.capacity = static_cast<uint32_t>(sites.size());
        if (OsMemGetMemRec(0, 0, nullptr, &record) != 0) {
            throw std::bad_alloc();
        }
    } while (record.total > record.capacity);
    sites.resize(record.count);
    return sites;
}

} // namespace

std::vector<std::byte> encodeAccount() {
    std::vector<std::byte> bytes;
    TarnHostMemoryStatus status = {};
    OsMemGetMemStatus(&status, 0, 0);
    putBytes(bytes, &status, sizeof status);
    for (const TarnHostMemorySite& site : allSites()) {
        const auto nameBytes = static_cast<uint32_t>(std::min<size_t>(std::strlen(site.fileName), kLongestName));
        const SiteHead head = {site.line,      nameBytes,        site.liveBlocks, site.liveBytes,
                               site.peakBytes, site.totalBlocks, site.totalBytes};
        putBytes(bytes, &head, sizeof head);
        putBytes(bytes, site.fileName, nameBytes);
    }
    return bytes;
}

std::optional<Account> decodeAccount(std::span<const std::byte> bytes) {
    Account account;
    if (!takeBytes(bytes, &account.status, sizeof account.status)) {
        return std::nullopt;
    }
    while (!bytes.empty()) {
        SiteHead head = {};
        if (!takeBytes(bytes, &head, sizeof head) || head.nameBytes > std::min<size_t>(bytes.size(), kLongestName)) {
            return std::nullopt;
        }
        account.names.emplace_back(reinterpret_cast<const char*>(bytes.data()), head.nameBytes);
        bytes = bytes.subspan(head.nameBytes);
        account.sites.push_back({nullptr, head.line, 0, head.liveBlocks, head.liveBytes, head.peakBytes,
                                 head.totalBlocks, head.totalBytes});
    }
    return account;
}

} // namespace tarn::host
