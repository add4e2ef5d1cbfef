// Masking of values that are addresses: the first and the last parts stay. What is none is masked as any value.
#include <array>
#include <cstring>
#include <optional>
#include <string_view>

#include "base/log.h"
#include "log/mask_rule.h"
#include "tarn_conference/conf_filter.h"
#include "tarn_conference/conf_param.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr const char* kLogName = "conf_mask_keyword";

constexpr size_t kLongestAddress = 45;
constexpr size_t kLongestIpv4 = 15;
constexpr size_t kIpv4Parts = 4;
constexpr size_t kIpv4PartLength = 3;
constexpr size_t kIpv6GroupLength = 4;
constexpr size_t kFewestIpv6Groups = 4;
constexpr size_t kMostIpv6Groups = 12;

// A masked group stands for each but the first and the last two.
constexpr std::string_view kMaskedGroup = ":****";
constexpr std::string_view kMaskedGroups = ":****:****:****:****:****:****:****:****:****";
static_assert(kMaskedGroups.size() == (kMostIpv6Groups - 3) * kMaskedGroup.size());

// The parts of an address, at most as many as the longest one has.
struct Parts {
    std::array<std::string_view, kMostIpv6Groups> part;
    size_t count = 0;
};

// Takes an address apart; empty parts vanish. Nothing when a part is longer than `longest`.
std::optional<Parts> split(std::string_view address, char separator, size_t longest) {
    Parts parts;
    while (!address.empty() && parts.count != parts.part.size()) {
        const std::string_view part = address.substr(0, address.find(separator));
        address.remove_prefix(part.size() == address.size() ? part.size() : part.size() + 1);
        if (part.size() > longest) {
            return std::nullopt;
        }
        if (!part.empty()) {
            parts.part[parts.count++] = part;
        }
    }
    return parts;
}

int width(std::string_view text) {
    return static_cast<int>(text.size());
}

bool maskIpv4(std::string_view address, char* dst, uint32_t dstLen) {
    const std::optional<Parts> parts = split(address, '.', kIpv4PartLength);
    if (address.size() > kLongestIpv4 || !parts || parts->count != kIpv4Parts) {
        return false;
    }
    const std::string_view first = parts->part.front();
    const std::string_view last = parts->part[kIpv4Parts - 1];
    return sprintf_s(dst, dstLen, "%.*s.**.**.%.*s", width(first), first.data(), width(last), last.data()) != -1;
}

bool maskIpv6(std::string_view address, char* dst, uint32_t dstLen) {
    const std::optional<Parts> parts = split(address, ':', kIpv6GroupLength);
    if (!parts || parts->count < kFewestIpv6Groups) {
        return false;
    }
    const std::string_view first = parts->part.front();
    const std::string_view masked = kMaskedGroups.substr(0, (parts->count - 3) * kMaskedGroup.size());
    const std::string_view last = parts->part[parts->count - 1];
    const std::string_view beforeLast = parts->part[parts->count - 2];
    return sprintf_s(dst, dstLen, "%.*s%.*s:%.*s:%.*s", width(first), first.data(), width(masked), masked.data(),
                     width(beforeLast), beforeLast.data(), width(last), last.data()) != -1;
}

bool maskAddress(const char* ip, char* dst, uint32_t dstLen) {
    if (ConfParamCheckValidIp(ip) != 0) {
        return false;
    }
    const std::string_view address = ip;
    if (address.size() < tarn::detail::kShortestAddress || address.size() > kLongestAddress) {
        return false;
    }
    return address.find(':') != std::string_view::npos ? maskIpv6(address, dst, dstLen)
                                                       : maskIpv4(address, dst, dstLen);
}

} // namespace

uint32_t ConfFilterIPAddrStr(const char* ip, char* dst, uint32_t dstLen) {
    if (!tarn::detail::canFilter(ip, dst, dstLen)) {
        return 1;
    }
    std::memset(dst, 0, dstLen);
    if (maskAddress(ip, dst, dstLen)) {
        return 0;
    }
    if (ConfFilterStr(ip, dst, dstLen) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfFilterStr fail.\n");
        return 1;
    }
    return 0;
}
