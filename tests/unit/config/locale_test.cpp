// In Turkish 1.5 is "1,5" and "i" no small "I". What goes to other processes is the same in every locale.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

#include "file/scratch_directory.h"
#include "tarn_conference/conf_config_value.h"
#include "tarn_conference/conf_xml.h"

namespace tarn::test {
namespace {

class Locale : public testing::Test {
 protected:
    void SetUp() override {
        const std::string made = scratch / "tr_TR.UTF-8";
        ASSERT_EQ(std::system(("localedef -i tr_TR -f UTF-8 " + made).c_str()), 0);
        setenv("LOCPATH", scratch.path().c_str(), 1);
        ASSERT_NE(std::setlocale(LC_ALL, "tr_TR.UTF-8"), nullptr);
        ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    }
    void TearDown() override {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }

    const ScratchDirectory scratch;
};

TEST_F(Locale, NumbersAndNamesThatProcessesShareDoNotFollowIt) {
    ConfConfigValue value = {};
    char text[16] = {};
    ConfConfigFloat2V(&value, 1.5);
    EXPECT_EQ(ConfConfigV2Str(&value, text, sizeof text), 0U);
    EXPECT_STREQ(text, "1.500000");
    ConfConfigStr2V(&value, text);
    EXPECT_EQ(ConfConfigV2Float(&value), 1.5);

    EXPECT_EQ(ConfConfigStrEqual("SIP", "sip"), 1U);

    void* const root = ConfXmlCreateRootNode("r");
    const double number = 1.5;
    EXPECT_EQ(ConfXmlAddAttr(root, "a", CONF_XML_DOUBLE, &number), 0U);
    EXPECT_EQ(ConfXmlSetNodeText(root, CONF_XML_DOUBLE, &number), 0U);
    EXPECT_STREQ(ConfXmlGetNodeStrAttr(root, "a"), "1.5");
    EXPECT_STREQ(ConfXmlGetNodeText(root), "1.5");
    ConfXmlFreeRootNode(root);

    EXPECT_STREQ(std::localeconv()->decimal_point, ",") << "the process keeps its own";
}

} // namespace
} // namespace tarn::test
