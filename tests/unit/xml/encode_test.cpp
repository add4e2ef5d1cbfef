#include <cstring>

#include "tarn_conference/conf_xml_encode.h"
#include "tarn_platform/os_memory.h"
#include "xml_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class XmlEncoding : public tarn::test::XmlTest {
 protected:
    struct FreeBlock {
        void operator()(char* block) const { OSMemTypeFreeMon(block, 0, 0, 0, "test"); }
    };
    using Text = std::unique_ptr<char, FreeBlock>;

    static std::string orNull(const char* text) { return text == nullptr ? "(null)" : text; }

    ConfXmlAttrItem attributes[2] = {{"k", "v"}, {"e", "<&>\"'"}};
    ConfXmlAttrItem unnamed[2] = {{"k", "v"}, {nullptr, "v"}};
    ConfXmlNodeSet children[3] = {{"A", "1", 0, attributes}, {"B", nullptr, 2, attributes}, {"C", nullptr, 0, nullptr}};
    ConfXmlNodeSet root = {"Msg", "text", 1, attributes};
};

TEST_F(XmlEncoding, DescriptionsBecomeBodies) {
    const ConfXmlEncodeReq request = {"Msg", children, 3};
    EXPECT_STREQ(Text(ConfXmlAdptEncode(&request)).get(),
                 "<Msg><A>1</A><B k=\"v\" e=\"&lt;&amp;&gt;&quot;&apos;\"/><C/></Msg>");
    const ConfXmlEncodeReq empty = {"Msg", children, 0};
    EXPECT_STREQ(Text(ConfXmlAdptEncode(&empty)).get(), "<Msg/>");
    const ConfXmlEncodeTree tree = {&root, children, 1};
    EXPECT_STREQ(Text(ConfXmlAdptEncodeWithRootAttr(&tree)).get(), "<Msg k=\"v\"><A>1</A>text</Msg>");

    const Document document(ConfXmlCreateRootNodeByNodeSet(tree));
    EXPECT_EQ(printed(document), "<Msg k=\"v\"><A>1</A>text</Msg>");
    ConfXmlNodeSet second[2] = {{"X", nullptr, 0, nullptr}, {"Y", nullptr, 0, nullptr}};
    EXPECT_EQ(ConfXmlAdptAddChildNodes(document.get(), second, 2), 0U);
    EXPECT_EQ(printed(document), "<Msg k=\"v\"><X/><A>1</A>text<Y/></Msg>");
    ConfXmlNodeSet half = {"H", nullptr, 2, unnamed};
    EXPECT_NE(ConfXmlCreateChildNodeByNodeSet(document.get(), {&half, children, 0}), nullptr);
    EXPECT_EQ(printed(document), "<Msg k=\"v\"><X/><A>1</A>text<Y/><H k=\"v\"/></Msg>");
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlSetAttrByNodeSet]add attr failed!"));

    const Document parsed = parse("<Msg><A>1</A><G><H/></G><B k='v'/></Msg>");
    EXPECT_STREQ(ConfXmlAdptGetNodeValueByUrl(parsed.get(), "Msg A"), "1");
    EXPECT_STREQ(ConfXmlAdptGetNodeAttrByUrl(parsed.get(), "B", "k"), "v");
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(ConfXmlAdptGetNodeValueByUrl(parsed.get(), "G"), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeValueByUrl(parsed.get(), "Z"), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeAttrByUrl(parsed.get(), "Z", "k"), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeAttrByUrl(parsed.get(), "B", "z"), nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeText fail!",
                                        "4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeByPath fail! Z",
                                        "1 [ConfXmlAdptGetNodeAttrByUrl]ConfXmlGetNodeByPath fail!",
                                        "1 [ConfXmlAdptGetNodeAttrByUrl]ConfXmlGetNodeStrAttr fail!"));
}

TEST_F(XmlEncoding, TheDeclarationGoesBeforeABody) {
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n";
    char* text = nullptr;
    ASSERT_EQ(ConfXmlDumpWithHeader("", &text), 0U);
    EXPECT_EQ(Text(text).get(), declaration);
    EXPECT_EQ(platform.allocations().back().size, 41U);
    ASSERT_EQ(ConfXmlDumpWithHeader("<a/>", &text), 0U);
    EXPECT_EQ(Text(text).get(), declaration + "<a/>");
}

TEST_F(XmlEncoding, BadDescriptionsAreTold) {
    const Document document(ConfXmlCreateRootNode("r"));
    EXPECT_EQ(ConfXmlAdptAddNodeAttrs(nullptr, attributes, 1), 15U);
    EXPECT_EQ(ConfXmlAdptAddNodeAttrs(document.get(), nullptr, 0), 15U);
    EXPECT_EQ(ConfXmlAdptAddNodeAttrs(document.get(), unnamed, 0), 0U);
    EXPECT_EQ(ConfXmlAdptAddNodeAttrs(document.get(), unnamed, 2), 15U);
    EXPECT_EQ(printed(document), "<r k=\"v\"/>");
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlAdptAddNodeAttrs]node or attrs is nullptr!",
                                        "1 [ConfXmlAdptAddNodeAttrs]node or attrs is nullptr!",
                                        "1 [ConfXmlAdptAddNodeAttrs]ConfXmlAddAttr fail, ret = 15!"));
    ConfXmlNodeSet nameless = {nullptr, nullptr, 0, nullptr};
    ConfXmlNodeSet half = {"H", nullptr, 2, unnamed};
    EXPECT_EQ(ConfXmlAdptAddChildNodes(document.get(), nullptr, 1), 15U);
    EXPECT_EQ(ConfXmlAdptAddChildNodes(nullptr, children, 1), 15U);
    EXPECT_EQ(ConfXmlAdptAddChildNodes(document.get(), &nameless, 1), 15U);
    EXPECT_EQ(ConfXmlAdptAddChildNodes(document.get(), &half, 1), 15U);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlAdptAddChildNodes]rootNode or nodes is nullptr!",
                                        "1 [ConfXmlAdptAddChildNodes]rootNode or nodes is nullptr!",
                                        "1 [ConfXmlAdptAddChildNodes]tempNode is nullptr!",
                                        "1 [ConfXmlAdptAddNodeAttrs]ConfXmlAddAttr fail, ret = 15!",
                                        "1 [ConfXmlAdptAddChildNodes]ConfXmlAdptAddNodeAttrs fail, ret = 15!"));
    EXPECT_EQ(ConfXmlCreateRootNodeByNodeSet({&nameless, children, 0}), nullptr);
    EXPECT_EQ(ConfXmlCreateRootNodeByNodeSet({nullptr, children, 0}), nullptr);
    EXPECT_EQ(ConfXmlCreateChildNodeByNodeSet(document.get(), {&nameless, children, 0}), nullptr);
    EXPECT_EQ(ConfXmlCreateChildNodeByNodeSet(nullptr, {&root, children, 0}), nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlCreateRootNodeByNodeSet]ConfXmlCreateRootNode failed!",
                                        "1 [ConfXmlCreateRootNodeByNodeSet]ConfXmlCreateRootNode failed!",
                                        "1 [ConfXmlCreateChildNodeByNodeSet]ConfXmlCreateRootNode failed!"));
    const ConfXmlEncodeReq noName = {nullptr, children, 1};
    const ConfXmlEncodeReq badChild = {"Msg", &nameless, 1};
    const ConfXmlEncodeTree badRoot = {&half, children, 1};
    const ConfXmlEncodeTree noRoot = {nullptr, children, 1};
    EXPECT_EQ(ConfXmlAdptEncode(nullptr), nullptr);
    EXPECT_EQ(ConfXmlAdptEncode(&noName), nullptr);
    EXPECT_EQ(ConfXmlAdptEncode(&badChild), nullptr);
    EXPECT_EQ(ConfXmlAdptEncodeWithRootAttr(&badRoot), nullptr);
    EXPECT_EQ(ConfXmlAdptEncodeWithRootAttr(&noRoot), nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlAdptEncode]Null ptr.", "1 [ConfXmlAdptEncode]Null ptr.",
                                        "1 [ConfXmlAdptAddChildNodes]tempNode is nullptr!",
                                        "1 [ConfXmlAdptEncode]ConfXmlAdptAddChildNodes fail, ret = 15!",
                                        "1 [ConfXmlAdptAddNodeAttrs]ConfXmlAddAttr fail, ret = 15!",
                                        "1 [ConfXmlAdptEncodeWithRootAttr]ConfXmlAdptAddNodeAttrs fail, ret = 15!",
                                        "1 [ConfXmlAdptEncodeWithRootAttr]Null ptr."));
    char* text = nullptr;
    EXPECT_EQ(ConfXmlDumpWithHeader(nullptr, &text), 15U);
    EXPECT_EQ(ConfXmlDumpWithHeader("", nullptr), 15U);
    EXPECT_EQ(ConfXmlAdptGetNodeValueByUrl(nullptr, "a"), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeValueByUrl(document.get(), nullptr), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeAttrByUrl(nullptr, "a", "k"), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeAttrByUrl(document.get(), nullptr, "k"), nullptr);
    EXPECT_EQ(ConfXmlAdptGetNodeAttrByUrl(document.get(), "a", nullptr), nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlDumpWithHeader]xmlBody or xmlBodyWithHeader is nullptr!",
                                        "1 [ConfXmlDumpWithHeader]xmlBody or xmlBodyWithHeader is nullptr!",
                                        "1 [ConfXmlAdptGetNodeValueByUrl]rootNode or url is nullptr!",
                                        "1 [ConfXmlAdptGetNodeValueByUrl]rootNode or url is nullptr!",
                                        "1 [ConfXmlAdptGetNodeAttrByUrl]rootNode or url or attrName is nullptr!",
                                        "1 [ConfXmlAdptGetNodeAttrByUrl]rootNode or url or attrName is nullptr!",
                                        "1 [ConfXmlAdptGetNodeAttrByUrl]rootNode or url or attrName is nullptr!"));
}

} // namespace
