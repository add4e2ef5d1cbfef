#include <dlfcn.h>
#include <tinyxml2.h>

#include <cstring>

#include "xml_fixture.h"

namespace {

bool parseClaimsSuccess = false;

} // namespace

// In place of tinyxml2's, which it calls: one that keeps an error and yet claims success.
tinyxml2::XMLError tinyxml2::XMLDocument::Parse(const char* text, size_t length) {
    using Real = XMLError (*)(XMLDocument*, const char*, size_t);
    static const auto real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "_ZN8tinyxml211XMLDocument5ParseEPKcm"));
    const XMLError result = real(this, text, length);
    return parseClaimsSuccess ? XML_SUCCESS : result;
}

namespace {

using tarn::test::MeantLeaks;
using testing::ElementsAre;
using testing::IsEmpty;

class XmlNodes : public tarn::test::XmlTest {
 protected:
    // A document of elements, one inside the other.
    static std::string nested(size_t levels) {
        std::string body;
        for (size_t i = 0; i < levels; ++i) {
            body += "<a>";
        }
        for (size_t i = 0; i < levels; ++i) {
            body += "</a>";
        }
        return body;
    }
};

// Bodies and files are read alike.
TEST_F(XmlNodes, GoodTextsGiveTheirRoot) {
    const tarn::test::ScratchDirectory scratch;
    const std::string path = scratch / "file.xml";
    for (const std::string& text :
         {std::string("<a><b/></a>"), std::string("<?xml version=\"1.0\"?><!-- c --><a><!-- c --><b/></a><!-- c -->"),
          std::string("<a><![CDATA[<c/>]]><!DOCTYPE d><!-- <c/> -->text<b/>&#0;&#xD800;&#x110000;&unknown;</a>"),
          std::string("\xEF\xBB\xBF<a><b/></a>"), "<a>" + nested(97) + "</a>",
          "<a><b/>" + std::string(3'000'000, 'x') + "</a>"}) {
        SCOPED_TRACE(text.substr(0, 80));
        tarn::test::writeFile(path, text);
        const Document fromBody = parse(text);
        const Document fromFile(ConfXmlParseFileGetRoot(path.c_str()));
        for (void* const root : {fromBody.get(), fromFile.get()}) {
            ASSERT_NE(root, nullptr);
            EXPECT_STREQ(ConfXmlGetNodeName(root), "a");
            EXPECT_TRUE(ConfXmlIsRootNode(root));
            EXPECT_EQ(ConfXmlGetNodeChildNum(root), 1U) << "only elements count";
        }
    }
    EXPECT_THAT(takeLogs(), IsEmpty());
    const Document data = parse("<a><![CDATA[<&>]]></a>");
    EXPECT_STREQ(ConfXmlGetNodeText(data.get()), "<&>");

    // Entities of the document's own are not expanded, so that they cannot grow.
    const Document bomb = parse("<!DOCTYPE a [<!ENTITY b \"bbbb\"><!ENTITY c \"&b;&b;\">]><a>&c;</a>");
    ASSERT_NE(bomb, nullptr);
    EXPECT_STREQ(ConfXmlGetNodeText(bomb.get()), "&c;");
}

TEST_F(XmlNodes, BadTextsAreToldOnce) {
    const tarn::test::ScratchDirectory scratch;
    const std::string path = scratch / "file.xml";
    for (const std::string& text :
         {std::string(), std::string("text"), std::string("<a><b></a>"), std::string("<a"),
          std::string("<a b='1' b='2'/>"), std::string("<a><![CDATA[x</a>"), std::string("<a><!-- x</a>"),
          std::string("<a><?xml version='1.0'?><b/></a>"), nested(99), nested(100), nested(101), nested(10'000)}) {
        SCOPED_TRACE(text.substr(0, 80));
        tarn::test::writeFile(path, text);
        EXPECT_EQ(parse(text), nullptr);
        EXPECT_EQ(ConfXmlParseFileGetRoot(path.c_str()), nullptr);
        EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlParseBodyGetRoot]Parse doc failed",
                                            "1 [ConfXmlParseFileGetRoot]LoadFile failed"));
    }
    EXPECT_EQ(ConfXmlParseBodyGetRoot(nullptr), nullptr);
    EXPECT_EQ(parse("<!-- nothing else -->"), nullptr) << "and nothing is left of the document";
    takeLogs();
    parseClaimsSuccess = true;
    EXPECT_EQ(parse("<a>"), nullptr);
    parseClaimsSuccess = false;
    EXPECT_THAT(takeLogs(),
                ElementsAre(testing::StartsWith("1 [ConfXmlParseBodyGetRoot]Error parsing XML: Error=XML_")));
}

TEST_F(XmlNodes, FilesAreReadAndStayOpen) {
    const tarn::test::ScratchDirectory scratch;
    const std::string path = scratch / "file.xml";
    tarn::test::writeFile(path, "<a><b/></a>");
    const Document document(ConfXmlParseFileGetRoot(path.c_str()));
    tarn::test::writeFile(path, "<a>");
    EXPECT_EQ(ConfXmlParseFileGetRoot(path.c_str()), nullptr);
    for (FILE* const stream : tarn::test::scriptedFiles().openedForReading) {
        EXPECT_GE(std::ftell(stream), 0) << "still open";
    }
    EXPECT_EQ(tarn::test::scriptedFiles().openedForReading.size(), 2U);
    const MeantLeaks leaks;
    EXPECT_EQ(ConfXmlParseFileGetRoot((scratch / "absent").c_str()), nullptr);
    EXPECT_EQ(ConfXmlParseFileGetRoot(nullptr), nullptr);
    EXPECT_THAT(takeLogs(),
                ElementsAre("1 [ConfXmlParseFileGetRoot]LoadFile failed", "1 [ConfXmlParseFileGetRoot]fp is null",
                            "1 [ConfXmlParseFileGetRoot]pszXmlFile is nullptr"));
}

TEST_F(XmlNodes, TheIteratorVisitsEveryElementInOrder) {
    const Document document = parse("<a>t<b><!-- x --><c/></b><d>t</d></a>");
    std::string names;
    for (void* node = document.get(); node != nullptr; node = ConfXmlGetNodeIterator(node)) {
        names += ConfXmlGetNodeName(node);
    }
    EXPECT_EQ(names, "abcd");
    EXPECT_THAT(takeLogs(), ElementsAre("4 [ConfXmlGetNodeFirstChild]this parentNode has no child!",
                                        "4 [ConfXmlGetNodeFirstChild]this parentNode has no child!",
                                        "1 [ConfXmlGetNodeParenet]node is root!"));
    const Document alone = parse("<a/>");
    EXPECT_EQ(ConfXmlGetNodeIterator(alone.get()), nullptr);

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
    const auto text = [&](const char* path) {
        void* const node = ConfXmlGetNodeByPath(document.get(), path);
        return node == nullptr ? std::string("(none)")
                               : std::string(ConfXmlGetNodeName(node)) + ":" +
                                     (ConfXmlGetNodeText(node) != nullptr ? ConfXmlGetNodeText(node) : "");
    };
    EXPECT_EQ(text("Conf Param Item"), "Item:i");
    EXPECT_EQ(text("Param Item"), "Item:i");
    EXPECT_EQ(text("Conf"), "Conf:inner");
    EXPECT_EQ(text("Conf Conf"), "Conf:inner");
    EXPECT_EQ(text("Param "), "Param:");
    EXPECT_EQ(text("Conf "), "Conf:");
    for (const char* path :
         {" Param", "Param  Item", "param Item", "Param/Item", "Item", "Param Item Item", " ", "Par"}) {
        EXPECT_EQ(text(path), "(none)") << path;
    }
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(text(""), "(none)");
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlGetNodeByPath]invalid param!"));
}

TEST_F(XmlNodes, EveryTypeIsWrittenWhereItMayBe) {
    struct Case {
        int32_t type;
        const void* value;
        const char* text; // of the element
        bool attribute;
    };
    const int32_t negative = -5;
    const int64_t wide = INT64_MIN;
    const uint64_t all = UINT64_MAX;
    const double fraction = 0.1;
    const float half = 0.5F;
    const Case cases[] = {{0, "a<&>\"'", "a<&>\"'", true},
                          {1, &negative, "-5", true},
                          {2, &negative, "4294967291", true},
                          {3, &negative, "-5", false},
                          {4, &negative, "251", false},
                          {5, &negative, "-5", true},
                          {6, &negative, "65531", true},
                          {7, &negative, "-5", false},
                          {8, &negative, "4294967291", false},
                          {9, &wide, "-9223372036854775808", true},
                          {10, &all, "18446744073709551615", true},
                          {11, &negative, "true", true},
                          {12, &fraction, "0.10000000000000001", true},
                          {13, &half, "0.5", true}};
    const Document document(ConfXmlCreateRootNode("r"));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.type);
        EXPECT_EQ(ConfXmlSetNodeText(document.get(), c.type, c.value), 0U);
        EXPECT_STREQ(ConfXmlGetNodeText(document.get()), c.text);
        EXPECT_EQ(ConfXmlAddAttr(document.get(), "k", static_cast<uint32_t>(c.type), c.value), c.attribute ? 0U : 2U);
        const char* const written = ConfXmlGetNodeStrAttr(document.get(), "k");
        EXPECT_STREQ(written, c.attribute ? c.text : nullptr);
        EXPECT_EQ(ConfXmlDeleteAttr(document.get(), "k"), 0U);
    }
    // Values need no alignment.
    alignas(8) char bytes[16] = {};
    std::memcpy(bytes + 1, &wide, sizeof wide);
    EXPECT_EQ(ConfXmlSetNodeText(document.get(), 9, bytes + 1), 0U);
    EXPECT_EQ(ConfXmlSetNodeText(document.get(), 14, &wide), 15U);
    EXPECT_EQ(ConfXmlSetNodeText(document.get(), -1, &wide), 2U);
    EXPECT_EQ(ConfXmlAddAttr(document.get(), "k", 14, &wide), 15U);
    EXPECT_EQ(ConfXmlAddAttr(document.get(), "k", UINT32_MAX, &wide), 15U);
    EXPECT_EQ(printed(document), "<r>-9223372036854775808</r>");
    EXPECT_THAT(takeLogs(), IsEmpty());
}

TEST_F(XmlNodes, NumbersAreReadOrZero) {
    const Document document = parse("<r i='-7' h='0x1F' u='4294967295' t='x'>12</r>");
    EXPECT_EQ(ConfXmlGetNodeIntText(document.get()), 12);
    EXPECT_EQ(ConfXmlGetNodeIntAttr(document.get(), "i"), -7);
    EXPECT_EQ(ConfXmlGetNodeIntAttr(document.get(), "t"), 0);
    EXPECT_EQ(ConfXmlGetNodeUintAttr(document.get(), "u"), UINT32_MAX);
    EXPECT_EQ(ConfXmlGetNodeUintAttr(document.get(), "h"), 31U);
    EXPECT_EQ(ConfXmlGetNodeUintAttr(document.get(), "absent"), 0U);
    EXPECT_EQ(ConfXmlGetNodeStrAttr(document.get(), "absent"), nullptr);
    EXPECT_EQ(ConfXmlGetNodeChildNum(document.get()), 0U) << "a text is no child";
}

TEST_F(XmlNodes, DocumentsArePrintedAndSaved) {
    const tarn::test::ScratchDirectory scratch;
    Document document(ConfXmlCreateRootNode("r"));
    EXPECT_EQ(printed(document), "<r/>");
    void* const last = ConfXmlCreateLastChildNode(document.get(), "l");
    ConfXmlCreateFirstChildNode(document.get(), "f");
    EXPECT_EQ(printed(document), "<r><f/><l/></r>");
    EXPECT_EQ(ConfXmlGetNodeParenet(last), document.get());
    EXPECT_EQ(ConfXmlTransformStr(last), nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlTransformStr]input node is not root!"));
    const std::string path = scratch / "out.xml";
    EXPECT_EQ(ConfXmlTransformFile(last, path.c_str()), 0U);
    EXPECT_EQ(tarn::test::readFile(path), "<r>\n    <f/>\n    <l/>\n</r>\n");
    EXPECT_EQ(ConfXmlTransformFile(last, scratch.path().c_str()),
              uint32_t{tinyxml2::XML_ERROR_FILE_COULD_NOT_BE_OPENED});

    // Any element releases the whole document, through the class that made it.
    auto* const element = static_cast<tinyxml2::XMLElement*>(last);
    EXPECT_NE(dynamic_cast<ConfXMLDocument*>(element->GetDocument()), nullptr);
    static_cast<void>(document.release());
    ConfXmlFreeRootNode(last);
}

TEST_F(XmlNodes, NullIsToldAndAnswered) {
    int value = 1;
    const Document document(ConfXmlCreateRootNode("r"));
    EXPECT_EQ(ConfXmlCreateRootNode(nullptr), nullptr);
    EXPECT_EQ(ConfXmlCreateFirstChildNode(document.get(), nullptr), nullptr);
    EXPECT_EQ(ConfXmlCreateLastChildNode(document.get(), nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeParenet(nullptr), nullptr);
    EXPECT_FALSE(ConfXmlIsRootNode(nullptr));
    EXPECT_EQ(ConfXmlAddAttr(nullptr, "k", 1, &value), 15U);
    EXPECT_EQ(ConfXmlAddAttr(document.get(), nullptr, 1, &value), 15U);
    EXPECT_EQ(ConfXmlAddAttr(document.get(), "k", 1, nullptr), 15U);
    EXPECT_EQ(ConfXmlDeleteAttr(nullptr, "k"), 2U);
    EXPECT_EQ(ConfXmlDeleteAttr(document.get(), nullptr), 2U);
    EXPECT_EQ(ConfXmlSetNodeText(nullptr, 1, &value), 15U);
    EXPECT_EQ(ConfXmlSetNodeText(document.get(), 1, nullptr), 15U);
    EXPECT_EQ(ConfXmlTransformFile(nullptr, "f"), 15U);
    EXPECT_EQ(ConfXmlTransformFile(document.get(), nullptr), 15U);
    EXPECT_THAT(takeLogs(), IsEmpty());

    ConfXmlFreeRootNode(nullptr);
    EXPECT_EQ(ConfXmlGetRootNode(nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeChildNum(nullptr), 0U);
    EXPECT_EQ(ConfXmlGetNodeFirstChild(nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeNextSibling(nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeIterator(nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeName(nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeText(nullptr), nullptr);
    EXPECT_EQ(ConfXmlGetNodeIntText(nullptr), 0);
    for (const auto& [node, name] : {std::pair<void*, const char*>{nullptr, "k"}, {document.get(), nullptr}}) {
        EXPECT_EQ(ConfXmlGetNodeStrAttr(node, name), nullptr);
        EXPECT_EQ(ConfXmlGetNodeIntAttr(node, name), 0);
        EXPECT_EQ(ConfXmlGetNodeUintAttr(node, name), 0U);
    }
    EXPECT_EQ(ConfXmlGetNodeByPath(nullptr, "k"), nullptr);
    EXPECT_EQ(ConfXmlGetNodeByPath(document.get(), nullptr), nullptr);
    EXPECT_EQ(ConfXmlCreateFirstChildNode(nullptr, "k"), nullptr);
    EXPECT_EQ(ConfXmlCreateLastChildNode(nullptr, "k"), nullptr);
    EXPECT_EQ(ConfXmlTransformStr(nullptr), nullptr);
    for (const tarn::test::LogRecord& record : platform.logs()) {
        EXPECT_EQ(record.file, "xmlAdapter");
    }
    EXPECT_THAT(
        takeLogs(),
        ElementsAre(
            "1 [ConfXmlFreeRootNode]parentNode is nullptr!", "1 [ConfXmlGetRootNode]node is nullptr!",
            "1 [ConfXmlGetNodeChildNum]parentNode is nullptr", "4 [ConfXmlGetNodeFirstChild]parentNode is nullptr",
            "4 [ConfXmlGetNodeNextSibling]node is nullptr!", "4 [ConfXmlGetNodeIterator]pstNode is nullptr!",
            "1 [ConfXmlGetNodeName]node is nullptr!", "1 [ConfXmlGetNodeText]node is nullptr!",
            "1 [ConfXmlGetNodeIntText]node is nullptr!", "1 [ConfXmlGetNodeStrAttr]invalid param!",
            "1 [ConfXmlGetNodeIntAttr]invalid param!", "1 [ConfXmlGetNodeUintAttr]invalid param!",
            "1 [ConfXmlGetNodeStrAttr]invalid param!", "1 [ConfXmlGetNodeIntAttr]invalid param!",
            "1 [ConfXmlGetNodeUintAttr]invalid param!", "1 [ConfXmlGetNodeByPath]invalid param!",
            "1 [ConfXmlGetNodeByPath]invalid param!", "1 [ConfXmlCreateFirstChildNode]parentNode is nullptr!",
            "1 [ConfXmlCreateLastChildNode]parentNode is nullptr!", "1 [ConfXmlTransformStr]rootNode is nullptr!"));
}

} // namespace
