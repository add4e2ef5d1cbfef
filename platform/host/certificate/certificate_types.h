// The service certificate types of the device.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarn::host {

struct CertificateType {
    uint32_t omType;
    uint32_t capabilityIndex; // Of the ten bytes that say which types are keyless.
    const char* folder;       // Below `cert/service`.
};

inline constexpr std::array<CertificateType, 4> kCertificateTypes = {{
    {0x107, 6, "0x107"},
    {0x109, 8, "0x109"},
    {0x103, 2, "0x103"},
    {0x104, 3, "0x104"},
}};

// Null for a number that is no type.
inline const CertificateType* findCertificateType(uint32_t omType) {
    for (const CertificateType& type : kCertificateTypes) {
        if (type.omType == omType) {
            return &type;
        }
    }
    return nullptr;
}

} // namespace tarn::host
