// The engine's module, loaded by the library in a process that has not connected to the certificate service and so has
// no engine of the host platform's own.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <dlfcn.h>
#include <openssl/engine.h>
#include <openssl/err.h>

#include "certificate/certificate_support.h"
#include "tarn_conference/conf_cert.h"

namespace {

using namespace tarn::test;

std::string askedPath;

} // namespace

// Comes before OpenSSL's own: the library is the one that is shipped, with the device's path of the module in it, and
// the module stands where it was built.
#pragma GCC visibility push(default)
int ENGINE_ctrl_cmd_string(ENGINE* engine, const char* command, const char* argument, int optional) {
    static const auto genuine =
        reinterpret_cast<decltype(&ENGINE_ctrl_cmd_string)>(dlsym(RTLD_NEXT, "ENGINE_ctrl_cmd_string"));
    if (std::strcmp(command, "SO_PATH") == 0) {
        askedPath = argument;
        argument = TARN_TEST_ENGINE;
    }
    return genuine(engine, command, argument, optional);
}
#pragma GCC visibility pop

namespace {

TEST(EngineModuleTest, ServesTheLibrarysKeylessTypes) {
    ASSERT_EQ(ENGINE_by_id("openssl_engine"), nullptr);
    ERR_clear_error();
    const Identity ca = newCa("Test CA");
    ASSERT_EQ(addCa(pem(ca.certificate)), 0U);
    ASSERT_EQ(install(0x103, issue("leaf", newEcKey(), &ca), "open sesame", true), 0U);
    // Brings the certificate's id; the start-up function would connect to the service.
    ConfOmCertCallback(OM_CERT_EVENT_SERVICE, 0x103);
    EXPECT_TRUE(handshakeAs(2).succeeded);
    EXPECT_EQ(askedPath, TARN_ENGINE_PATH);
    askedPath.clear();
    EXPECT_TRUE(handshakeAs(2).succeeded) << "with the engine that is there now";
    EXPECT_EQ(askedPath, "");
}

} // namespace
