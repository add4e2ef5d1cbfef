#include "tarn_conference/conf_xml_encode.h"
#include "tarn_platform/os_memory.h"
#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

class XmlEncoding : public XmlTest {
 protected:
    // The text of a block, which is given back.
    static std::string taken(char* block) {
        const std::string text = block == nullptr ? "(null)" : block;
        OSMemTypeFreeMon(block, 0, 0, 0, "test");
        return text;
    }
    static std::string encoded(const ConfXmlEncodeReq& request) { return taken(ConfXmlAdptEncode(&request)); }
    static std::string encoded(const ConfXmlEncodeTree& tree) { return taken(ConfXmlAdptEncodeWithRootAttr(&tree)); }
    static std::string withHeader(const char* body) {
        char* text = nullptr;
        EXPECT_EQ(ConfXmlDumpWithHeader(body, &text), 0U);
        return taken(text);
    }

    ConfXmlAttrItem attributes[2] = {{"k", "v"}, {"e", "<&>\"'"}};
    ConfXmlAttrItem unnamed[2] = {{"k", "v"}, {nullptr, "v"}};
    ConfXmlNodeSet children[3] = {{"A", "1", 0, attributes}, {"B", nullptr, 2, attributes}, {"C", nullptr, 0, nullptr}};
    ConfXmlNodeSet root = {"Msg", "text", 1, attributes};
    ConfXmlNodeSet half = {"H", nullptr, 2, unnamed};
    const Document document = Document(ConfXmlCreateRootNode("r"));
    void* const node = document.get();
};

TEST_F(XmlEncoding, DescriptionsBecomeBodies) {
    EXPECT_EQ(encoded(ConfXmlEncodeReq{"Msg", children, 3}),
              "<Msg><A>1</A><B k=\"v\" e=\"&lt;&amp;&gt;&quot;&apos;\"/><C/></Msg>");
    EXPECT_EQ(encoded(ConfXmlEncodeReq{"Msg", children, 0}), "<Msg/>");
    EXPECT_EQ(encoded(ConfXmlEncodeTree{&root, children, 1}), "<Msg k=\"v\"><A>1</A>text</Msg>");
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n";
    EXPECT_EQ(withHeader(""), declaration);
    EXPECT_EQ(platform.allocations().back().size, 41U);
    EXPECT_EQ(withHeader("<a/>"), declaration + "<a/>");

    const Document made(ConfXmlCreateRootNodeByNodeSet({&root, children, 1}));
    EXPECT_EQ(printed(made), "<Msg k=\"v\"><A>1</A>text</Msg>");
    EXPECT_EQ(ConfXmlAdptAddChildNodes(made.get(), children + 1, 2), 0U);
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_NE(ConfXmlCreateChildNodeByNodeSet(made.get(), {&half, children, 0}), nullptr);
    EXPECT_EQ(printed(made),
              "<Msg k=\"v\"><B k=\"v\" e=\"&lt;&amp;&gt;&quot;&apos;\"/><A>1</A>text<C/><H k=\"v\"/></Msg>");
    EXPECT_THAT(takeLogs("ConfXmlSetAttrByNodeSet"), ElementsAre("add attr failed!"));
}

TEST_F(XmlEncoding, ValuesAreReadByTheirPaths) {
    const Document parsed = parse("<Msg><A>1</A><G><H/></G><B k='v'/></Msg>");
    EXPECT_STREQ(ConfXmlAdptGetNodeValueByUrl(parsed.get(), "Msg A"), "1");
    EXPECT_STREQ(ConfXmlAdptGetNodeAttrByUrl(parsed.get(), "B", "k"), "v");
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_THAT(
        Pointers({ConfXmlAdptGetNodeValueByUrl(parsed.get(), "G"), ConfXmlAdptGetNodeValueByUrl(parsed.get(), "Z"),
                  ConfXmlAdptGetNodeAttrByUrl(parsed.get(), "Z", "k"),
                  ConfXmlAdptGetNodeAttrByUrl(parsed.get(), "B", "z")}),
        Each(nullptr));
    EXPECT_THAT(takeLogs("ConfXmlAdptGetNodeAttrByUrl"),
                ElementsAre("4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeText fail!",
                            "4 [ConfXmlAdptGetNodeValueByUrl]ConfXmlGetNodeByPath fail! Z",
                            "ConfXmlGetNodeByPath fail!", "ConfXmlGetNodeStrAttr fail!"));
}

// What fails for want of memory is told alike.
TEST_F(XmlEncoding, NullIsToldAndAnswered) {
    char* text = nullptr;
    EXPECT_THAT(Codes({ConfXmlAdptAddNodeAttrs(nullptr, attributes, 1), ConfXmlAdptAddChildNodes(node, nullptr, 1),
                       ConfXmlDumpWithHeader(nullptr, &text), ConfXmlAdptAddNodeAttrs(node, unnamed, 2)}),
                Each(15));
    EXPECT_EQ(printed(document), "<r k=\"v\"/>");
    EXPECT_THAT(Pointers({ConfXmlAdptGetNodeValueByUrl(node, nullptr), ConfXmlAdptGetNodeAttrByUrl(node, "a", nullptr),
                          ConfXmlCreateChildNodeByNodeSet(nullptr, {&root, children, 0}), ConfXmlAdptEncode(nullptr)}),
                Each(nullptr));
    EXPECT_EQ(encoded(ConfXmlEncodeTree{nullptr, children, 1}), "(null)");
    EXPECT_THAT(takeLogs("ConfXmlAdptEncodeWithRootAttr"),
                ElementsAre("1 [ConfXmlAdptAddNodeAttrs]node or attrs is nullptr!",
                            "1 [ConfXmlAdptAddChildNodes]rootNode or nodes is nullptr!",
                            "1 [ConfXmlDumpWithHeader]xmlBody or xmlBodyWithHeader is nullptr!",
                            "1 [ConfXmlAdptAddNodeAttrs]ConfXmlAddAttr fail, ret = 15!",
                            "1 [ConfXmlAdptGetNodeValueByUrl]rootNode or url is nullptr!",
                            "1 [ConfXmlAdptGetNodeAttrByUrl]rootNode or url or attrName is nullptr!",
                            "1 [ConfXmlAdptEncode]Null ptr.", "Null ptr."));
}

} // namespace
} // namespace tarn::test
