#include <tinyxml2.h>

#include <cstring>

#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

class XmlNodes : public XmlTest {
 protected:
    // A document of elements, one inside the other.
    static std::string nested(size_t levels) {
        std::string body;
        for (size_t i = 0; i < levels; ++i) {
            body.insert(body.size() / 7 * 3, "<a></a>");
        }
        return body;
    }

    const ScratchDirectory scratch;
    const std::string path = scratch / "file.xml";
};

// Bodies and files are read alike; files stay open.
TEST_F(XmlNodes, GoodTextsGiveTheirRoot) {
    for (const std::string& text :
         {std::string("<?xml version=\"1.0\"?><!-- c --><a><!-- c --><b/></a><!-- c -->"),
          std::string("<a><![CDATA[<c/>]]><!DOCTYPE d><!-- <c/> -->text<b/>&#0;&#xD800;&#x110000;&unknown;</a>"),
          std::string("\xEF\xBB\xBF<a><b/></a>"), "<a>" + nested(97) + "</a>"}) {
        SCOPED_TRACE(text.substr(0, 80));
        writeFile(path, text);
        const Document fromBody = parse(text);
        const Document fromFile(ConfXmlParseFileGetRoot(path.c_str()));
        EXPECT_GE(std::ftell(scriptedFiles().openedForReading.back()), 0);
        for (void* const root : {fromBody.get(), fromFile.get()}) {
            ASSERT_NE(root, nullptr);
            EXPECT_STREQ(ConfXmlGetNodeName(root), "a");
            EXPECT_TRUE(ConfXmlIsRootNode(root));
            EXPECT_EQ(ConfXmlGetNodeChildNum(root), 1U) << "only elements count";
        }
    }
    EXPECT_THAT(takeLogs(), IsEmpty());
    // Entities of the document's own are not expanded, so that they cannot grow.
    const Document bomb = parse("<!DOCTYPE a [<!ENTITY b \"bbbb\"><!ENTITY c \"&b;&b;\">]><a>&c;</a>");
    EXPECT_STREQ(ConfXmlGetNodeText(bomb.get()), "&c;");
}

TEST_F(XmlNodes, BadTextsAreToldOnce) {
    for (const std::string& text :
         {std::string("text"), std::string("<a><b></a>"), std::string("<a"), nested(99), nested(10'000)}) {
        SCOPED_TRACE(text.substr(0, 80));
        writeFile(path, text);
        EXPECT_THAT(Pointers({parse(text).get(), ConfXmlParseFileGetRoot(path.c_str())}), Each(nullptr));
        EXPECT_GE(std::ftell(scriptedFiles().openedForReading.back()), 0) << "still open";
        EXPECT_THAT(takeLogs("ConfXmlParseBodyGetRoot"),
                    ElementsAre("Parse doc failed", "1 [ConfXmlParseFileGetRoot]LoadFile failed"));
    }
    const MeantLeaks leaks;
    EXPECT_THAT(Pointers({ConfXmlParseFileGetRoot((scratch / "absent").c_str()), ConfXmlParseFileGetRoot(nullptr),
                          parse("<!-- nothing else, and nothing is left of the document -->").get()}),
                Each(nullptr));
    EXPECT_THAT(takeLogs("ConfXmlParseFileGetRoot"), ElementsAre("fp is null", "pszXmlFile is nullptr"));
    EXPECT_EQ(ConfXmlParseBodyGetRoot(nullptr), nullptr);
}

TEST_F(XmlNodes, TheIteratorVisitsEveryElementInOrder) {
    const Document document = parse("<a>t<b><!-- x --><c/></b><d>t</d></a>");
    std::string names;
    for (void* node = document.get(); node != nullptr; node = ConfXmlGetNodeIterator(node)) {
        names += ConfXmlGetNodeName(node);
    }
    EXPECT_EQ(names, "abcd");
    EXPECT_THAT(takeLogs("ConfXmlGetNodeParenet"),
                ElementsAre("4 [ConfXmlGetNodeFirstChild]this parentNode has no child!",
                            "4 [ConfXmlGetNodeFirstChild]this parentNode has no child!", "node is root!"));
    // tinyxml2 takes a second element beside the root; its parent is no element.
    const Document twoRoots = parse("<a/><b><c/></b>");
    void* const second = ConfXmlGetNodeIterator(twoRoots.get());
    EXPECT_STREQ(ConfXmlGetNodeName(second), "b");
    EXPECT_EQ(ConfXmlGetNodeParenet(second), nullptr);
    EXPECT_EQ(ConfXmlGetNodeIterator(ConfXmlGetNodeFirstChild(second)), nullptr);
    EXPECT_EQ(ConfXmlGetRootNode(second), twoRoots.get());
}

TEST_F(XmlNodes, PathsMayNameTheirStart) {
    const Document document = parse("<Conf><Param k='1'><Item>i</Item><Item>2</Item></Param><Conf>inner</Conf></Conf>");
    const auto find = [&](const char* wanted) { return ConfXmlGetNodeByPath(document.get(), wanted); };
    void* const param = ConfXmlGetNodeFirstChild(document.get());
    void* const inner = ConfXmlGetNodeNextSibling(param);
    EXPECT_THAT(Pointers({find("Conf Param Item"), find("Param Item")}), Each(ConfXmlGetNodeFirstChild(param)));
    EXPECT_THAT(Pointers({find("Conf"), find("Conf Conf")}), Each(inner));
    EXPECT_EQ(find("Param "), param);
    EXPECT_EQ(find("Conf "), document.get());
    EXPECT_THAT(Pointers({find(" Param"), find("Param  Item"), find("param Item"), find("Item"),
                          find("Param Item Item"), find("Par")}),
                Each(nullptr));
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(find(""), nullptr);
    EXPECT_THAT(takeLogs("ConfXmlGetNodeByPath"), ElementsAre("invalid param!"));
}

TEST_F(XmlNodes, EveryTypeIsWrittenWhereItMayBe) {
    const int32_t negative = -5;
    const int64_t wide = INT64_MIN;
    const uint64_t all = UINT64_MAX;
    const double fraction = 0.1;
    const float half = 0.5F;
    const void* const values[] = {"a<&>\"'", &negative, &negative, &negative, &negative, &negative, &negative,
                                  &negative, &negative, &wide,     &all,      &negative, &fraction, &half};
    const Document document(ConfXmlCreateRootNode("r"));
    void* const node = document.get();
    std::string texts;
    std::string attributes;
    for (uint32_t type = 0; type < 14; ++type) {
        EXPECT_EQ(ConfXmlSetNodeText(node, static_cast<int32_t>(type), values[type]), 0U);
        texts.append(ConfXmlGetNodeText(node)) += " ";
        const uint32_t added = ConfXmlAddAttr(node, "k", type, values[type]);
        const char* const attribute = ConfXmlGetNodeStrAttr(node, "k");
        attributes.append(added == 0 ? "" : std::to_string(added) + "!").append(attribute ? attribute : "") += " ";
        EXPECT_EQ(ConfXmlDeleteAttr(node, "k"), 0U);
    }
    EXPECT_EQ(texts,
              "a<&>\"' -5 4294967291 -5 251 -5 65531 -5 4294967291 -9223372036854775808 18446744073709551615 "
              "true 0.10000000000000001 0.5 ");
    EXPECT_EQ(attributes,
              "a<&>\"' -5 4294967291 2! 2! -5 65531 2! 2! -9223372036854775808 18446744073709551615 "
              "true 0.10000000000000001 0.5 ");
    alignas(8) char bytes[16] = {};
    std::memcpy(bytes + 1, &wide, sizeof wide); // values need no alignment
    EXPECT_THAT(Codes({ConfXmlSetNodeText(node, 9, bytes + 1), ConfXmlSetNodeText(node, 14, &wide),
                       ConfXmlSetNodeText(node, -1, &wide), ConfXmlAddAttr(node, "k", 14, &wide)}),
                ElementsAre(0, 15, 2, 15));

    const Document numbers = parse("<r i='-7' h='0x1F' u='4294967295' t='x'>-12</r>");
    const auto asInt = [&](const char* name) { return ConfXmlGetNodeIntAttr(numbers.get(), name); };
    const auto asUint = [&](const char* name) { return ConfXmlGetNodeUintAttr(numbers.get(), name); };
    EXPECT_EQ(ConfXmlGetNodeIntText(numbers.get()), -12);
    EXPECT_THAT(std::vector({asInt("i"), asInt("h"), asInt("t"), asInt("absent")}), ElementsAre(-7, 31, 0, 0));
    EXPECT_THAT(Codes({asUint("u"), asUint("h"), asUint("t"), asUint("absent")}), ElementsAre(UINT32_MAX, 31, 0, 0));
    EXPECT_THAT(takeLogs(), IsEmpty());
}

TEST_F(XmlNodes, DocumentsArePrintedAndSaved) {
    Document document(ConfXmlCreateRootNode("r"));
    EXPECT_EQ(printed(document), "<r/>");
    void* const last = ConfXmlCreateLastChildNode(document.get(), "l");
    ConfXmlCreateFirstChildNode(document.get(), "f");
    EXPECT_EQ(printed(document), "<r><f/><l/></r>");
    EXPECT_EQ(ConfXmlGetNodeParenet(last), document.get());
    EXPECT_EQ(ConfXmlTransformStr(last), nullptr);
    EXPECT_THAT(takeLogs("ConfXmlTransformStr"), ElementsAre("input node is not root!"));
    EXPECT_EQ(ConfXmlTransformFile(last, path.c_str()), 0U);
    EXPECT_EQ(readFile(path), "<r>\n    <f/>\n    <l/>\n</r>\n");
    EXPECT_EQ(ConfXmlTransformFile(last, scratch.path().c_str()), tinyxml2::XML_ERROR_FILE_COULD_NOT_BE_OPENED + 0U);

    // Any element releases the whole document, through the class that made it.
    auto* const element = static_cast<tinyxml2::XMLElement*>(last);
    EXPECT_NE(dynamic_cast<ConfXMLDocument*>(element->GetDocument()), nullptr);
    static_cast<void>(document.release());
    ConfXmlFreeRootNode(last);
}

TEST_F(XmlNodes, NullIsToldAndAnswered) {
    int value = 1;
    const Document document(ConfXmlCreateRootNode("r"));
    void* const node = document.get();
    EXPECT_THAT(Codes({ConfXmlAddAttr(node, nullptr, 1, &value), ConfXmlAddAttr(node, "k", 1, nullptr),
                       ConfXmlSetNodeText(node, 1, nullptr), ConfXmlTransformFile(node, nullptr),
                       ConfXmlAddAttr(nullptr, "k", 1, &value), ConfXmlSetNodeText(nullptr, 1, &value),
                       ConfXmlTransformFile(nullptr, "/dev/null")}),
                Each(15));
    EXPECT_THAT(Codes({ConfXmlDeleteAttr(nullptr, "k"), ConfXmlDeleteAttr(node, nullptr)}), Each(2));
    EXPECT_THAT(Pointers({ConfXmlCreateRootNode(nullptr), ConfXmlCreateFirstChildNode(node, nullptr),
                          ConfXmlGetNodeParenet(nullptr)}),
                Each(nullptr));
    EXPECT_FALSE(ConfXmlIsRootNode(nullptr));
    EXPECT_THAT(takeLogs(), IsEmpty());

    ConfXmlFreeRootNode(nullptr);
    EXPECT_THAT(
        Pointers({ConfXmlGetRootNode(nullptr), ConfXmlGetNodeFirstChild(nullptr), ConfXmlGetNodeNextSibling(nullptr),
                  ConfXmlGetNodeIterator(nullptr), ConfXmlGetNodeName(nullptr), ConfXmlGetNodeText(nullptr),
                  ConfXmlGetNodeStrAttr(node, nullptr), ConfXmlGetNodeByPath(nullptr, "k"),
                  ConfXmlCreateLastChildNode(nullptr, "k"), ConfXmlTransformStr(nullptr)}),
        Each(nullptr));
    EXPECT_EQ(ConfXmlGetNodeChildNum(nullptr), 0U);
    EXPECT_EQ(ConfXmlGetNodeIntText(nullptr) + ConfXmlGetNodeIntAttr(node, nullptr), 0);
    EXPECT_EQ(ConfXmlGetNodeUintAttr(nullptr, "k"), 0U);
    EXPECT_THAT(
        takeLogs(),
        ElementsAre("1 [ConfXmlFreeRootNode]parentNode is nullptr!", "1 [ConfXmlGetRootNode]node is nullptr!",
                    "4 [ConfXmlGetNodeFirstChild]parentNode is nullptr",
                    "4 [ConfXmlGetNodeNextSibling]node is nullptr!", "4 [ConfXmlGetNodeIterator]pstNode is nullptr!",
                    "1 [ConfXmlGetNodeName]node is nullptr!", "1 [ConfXmlGetNodeText]node is nullptr!",
                    "1 [ConfXmlGetNodeStrAttr]invalid param!", "1 [ConfXmlGetNodeByPath]invalid param!",
                    "1 [ConfXmlCreateLastChildNode]parentNode is nullptr!",
                    "1 [ConfXmlTransformStr]rootNode is nullptr!", "1 [ConfXmlGetNodeChildNum]parentNode is nullptr",
                    "1 [ConfXmlGetNodeIntText]node is nullptr!", "1 [ConfXmlGetNodeIntAttr]invalid param!",
                    "1 [ConfXmlGetNodeUintAttr]invalid param!"));
}

} // namespace
} // namespace tarn::test
