// The OpenSSL engine of the keyless service certificates.
#pragma once

#include <openssl/types.h>

namespace tarn::host {

inline constexpr const char* kKeyEngineId = "openssl_engine";

// Makes `engine` the keyless engine. False when OpenSSL fails.
bool bindKeyEngine(ENGINE* engine);

// Puts the engine into the process's list unless there is one with its id already. 0 or an errno.
int registerKeyEngine();

} // namespace tarn::host
