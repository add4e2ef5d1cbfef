// The table of certificate types. Its ids are rewritten on the certificate service's thread while TLS contexts are set
// up, so both go through one lock. A new id that is shorter than the one before leaves that one's tail behind it.
#include <algorithm>
#include <array>

#include "base/log.h"
#include "base/platform_lock.h"
#include "cert/cert_table.h"
#include "tarn_platform/bounds_checked.h"

namespace {

constexpr const char* kLogName = "conf_cert";

struct ConfCertTypeEntry {
    uint32_t type;
    uint32_t omType;
    uint32_t capIndex;
    uint8_t certId[OM_CERT_ID_LEN];
    uint32_t certIdLen;
};

OsMutex idMutex;
std::array<ConfCertTypeEntry, tarn::detail::kCertTypeCount> confCertTypeTable = {{
    {0, 0x107, 6, {}, 0},
    {1, 0x109, 8, {}, 0},
    {2, 0x103, 2, {}, 0},
    {3, 0x104, 3, {}, 0},
}};

using Column = uint32_t ConfCertTypeEntry::*;

// The `wanted` column of the row whose `key` column holds `value`. These columns never change: no lock.
uint32_t lookUp(Column key, uint32_t value, Column wanted) {
    for (const ConfCertTypeEntry& row : confCertTypeTable) {
        if (row.*key == value) {
            return row.*wanted;
        }
    }
    return tarn::detail::kNoSuchType;
}

} // namespace

namespace tarn::detail {

uint32_t ConfCertTypeToOmType(uint32_t type) {
    return lookUp(&ConfCertTypeEntry::type, type, &ConfCertTypeEntry::omType);
}

uint32_t ConfCertTypeToCapIndex(uint32_t type) {
    return lookUp(&ConfCertTypeEntry::type, type, &ConfCertTypeEntry::capIndex);
}

uint32_t ConfCertOmTypeToType(uint32_t omType) {
    return lookUp(&ConfCertTypeEntry::omType, omType, &ConfCertTypeEntry::type);
}

void SetCertInfo(uint32_t type, const uint8_t* data, uint32_t length) {
    const auto row = std::ranges::find(confCertTypeTable, type, &ConfCertTypeEntry::type);
    if (row == confCertTypeTable.end()) {
        TARN_LOG(CONF_LOG_ERROR, "no such type, [%d]", static_cast<int>(type));
        return;
    }
    errno_t copied = 0;
    {
        const PlatformLock lock(idMutex);
        row->certIdLen = length;
        // The bound is the row's only for a service that claims more than it was given room for.
        copied = memcpy_s(row->certId, std::min<size_t>(length, sizeof row->certId), data, length);
    }
    if (copied != 0) {
        TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, copied);
    }
}

void ConfCertGetCertId(uint32_t type, char* out) {
    for (const ConfCertTypeEntry& row : confCertTypeTable) {
        if (row.type != type) {
            continue;
        }
        errno_t copied = 0;
        {
            const PlatformLock lock(idMutex);
            copied = memcpy_s(out, OM_CERT_ID_LEN, row.certId, sizeof row.certId);
        }
        if (copied != 0) {
            TARN_LOG(CONF_LOG_ERROR, kSecureFunctionText, copied);
        }
    }
}

} // namespace tarn::detail
