// What the tests of the engine and of its module share.
#pragma once

#include <string>

#include "certificate/made_certificates.h"

typedef struct engine_st ENGINE;

namespace certificate_test {

uint32_t installKeyless(uint32_t omType, const Identity& identity, const std::string& passPhrase = "");
std::string idOf(const Identity& identity);
// Null when the engine does not give it.
Key keyFrom(ENGINE* engine, const std::string& id);
// A server with this identity, its key from the engine, and a client that trusts `root` talk TLS 1.3.
bool talksWithKeyFrom(ENGINE* engine, const Identity& identity, const Identity& root);

} // namespace certificate_test
