// The engine's module, loaded as a process without the built-in engine loads it.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <gtest/gtest.h>
#include <openssl/engine.h>
#include <openssl/err.h>

#include "certificate/engine_support.h"

namespace {

using namespace certificate_test;

TEST(EngineModuleTest, LoadsAndSigns) {
    ASSERT_EQ(ENGINE_by_id("openssl_engine"), nullptr);
    ERR_clear_error();
    ENGINE* engine = ENGINE_by_id("dynamic");
    ASSERT_EQ(ENGINE_ctrl_cmd_string(engine, "SO_PATH", TARN_TEST_ENGINE, 0), 1);
    ASSERT_EQ(ENGINE_ctrl_cmd_string(engine, "ID", "another_engine", 0), 1);
    ASSERT_EQ(ENGINE_ctrl_cmd(engine, "LOAD", 1, nullptr, nullptr, 0), 0);
    ENGINE_free(engine);
    ERR_clear_error();

    engine = ENGINE_by_id("dynamic");
    ASSERT_EQ(ENGINE_ctrl_cmd_string(engine, "SO_PATH", TARN_TEST_ENGINE, 0), 1);
    ASSERT_EQ(ENGINE_ctrl_cmd_string(engine, "ID", "openssl_engine", 0), 1);
    ASSERT_EQ(ENGINE_ctrl_cmd(engine, "LIST_ADD", 1, nullptr, nullptr, 0), 1);
    ASSERT_EQ(ENGINE_ctrl_cmd(engine, "LOAD", 1, nullptr, nullptr, 0), 1);
    ENGINE* found = ENGINE_by_id("openssl_engine");
    ASSERT_NE(found, nullptr);
    ASSERT_EQ(ENGINE_init(found), 1);
    const Identity ca = makeCa("Test CA");
    const Identity leaf = makeLeaf("leaf", ca);
    ASSERT_EQ(installKeyless(0x103, leaf, "open sesame"), 0U);
    EXPECT_TRUE(talksWithKeyFrom(found, leaf, ca));
    EXPECT_EQ(keyFrom(found, idOf(ca)), nullptr);
    ENGINE_finish(found);
    ENGINE_free(found);
    ENGINE_free(engine);
}

} // namespace
