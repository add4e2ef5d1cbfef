// Telling the process of changes through the callbacks that it registered.
#pragma once

#include <cstdint>

namespace tarn::detail {

// Tells of a new certificate of a type. One of type 0 that nobody is registered for waits for the registration.
void announceCertificate(uint32_t type);

} // namespace tarn::detail
