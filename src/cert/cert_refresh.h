// Bringing the certificate table up to date with the certificate service.
#pragma once

#include <cstdint>

namespace tarn::detail {

// Reads the id of a type's certificate anew and tells the process of it. 0, or 1 with the reason logged.
uint32_t ConfCertUpdateCertInfo(uint32_t type);

} // namespace tarn::detail
