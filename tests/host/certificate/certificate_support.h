// What the certificate tests of the host platform share. Results are those of the host platform's calls.
#pragma once

#include "handshake.h"
#include "pki.h"
#include "support/host_test.h"
#include "tarn_host/host_certificate.h"
#include "tarn_platform/om_certificate.h"

namespace tarn::test {

namespace fs = std::filesystem;

// A path below "cert" of the host directory; the folder of a service type there.
std::string below(const std::string& name);
std::string folderOf(uint32_t omType);

// As a key has to be, or with another mode.
void writeOwnFile(const std::string& path, const std::string& content, unsigned mode = 0600);

uint32_t install(uint32_t omType, const std::string& certificate, const std::string& key,
                 const std::string& passPhrase = "", bool isKeyless = false);
uint32_t install(uint32_t omType, const Identity& identity, const std::string& passPhrase = "", bool isKeyless = false);
uint32_t addCa(const std::string& certificates, uint32_t* count = nullptr);
uint32_t addCrl(const std::string& lists, uint32_t* count = nullptr);

// The id that the certificate service gives a certificate, in a buffer of so many bytes; empty when that fails.
std::string idOf(std::string certificate, uint32_t expected = 0, uint32_t capacity = OM_CERT_ID_LEN);

// A server with what the library loads for a type, and a client with what it lists as trusted, shake hands.
HandshakeResult handshakeAs(uint32_t type);

} // namespace tarn::test
