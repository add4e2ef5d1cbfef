// The certificate types, their numbers at the certificate service, and the id of each type's certificate.
//
// Functions of this folder that write to the log carry the names under which its readers know them.
#pragma once

#include <cstdint>

#include "tarn_platform/om_certificate.h"

namespace tarn::detail {

inline constexpr uint32_t kNoSuchType = 0xFFFFFFFF;

// The types are numbered from 0.
inline constexpr uint32_t kCertTypeCount = 4;

// The types whose certificate comes with a key part.
constexpr bool hasKeyPart(uint32_t type) {
    return type == 2 || type == 3;
}

// Each gives `kNoSuchType` for what no row holds.
uint32_t ConfCertTypeToOmType(uint32_t type);
uint32_t ConfCertTypeToCapIndex(uint32_t type);
uint32_t ConfCertOmTypeToType(uint32_t omType);

// Keeps the id of a type's certificate.
void SetCertInfo(uint32_t type, const uint8_t* data, uint32_t length);

// Copies all of a type's id field into `OM_CERT_ID_LEN` bytes; an unknown type leaves them as they are.
void ConfCertGetCertId(uint32_t type, char* out);

} // namespace tarn::detail
