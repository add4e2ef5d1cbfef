// What trees are saved and loaded with, call by call.
#include "tarn_conference/conf_xml_tree.h"
#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

using XmlTreePieces = XmlTest;

TEST_F(XmlTreePieces, BuildersTellWhatTheyMiss) {
    const Document document(ConfXmlAddSingleStructNode(nullptr, "Root"));
    void* const root = document.get();
    const char* const pair[2] = {"n", "UINT8"};
    const char* const noName[2] = {nullptr, "UINT8"};
    const ValueSpec spec = {0, "1", 0};
    const ValueSpec badType = {7, "1", 0};
    EXPECT_THAT(
        Pointers({ConfXmlAddSingleStructNode(nullptr, nullptr), ConfXmlAddMultiInstanceNode(nullptr, "n", 1),
                  ConfXmlAddMultiStructNode(nullptr, "n", 1), ConfXmlAddSingleValueNode(nullptr, pair, &spec),
                  ConfXmlAddSingleValueNode(root, nullptr, &spec), ConfXmlAddSingleValueNode(root, pair, nullptr),
                  ConfXmlAddSingleValueNode(root, pair, &badType), ConfXmlAddSingleValueNode(root, noName, &spec)}),
        Each(nullptr));
    EXPECT_THAT(
        takeLogs("ConfXmlAddSingleValueNode"),
        ElementsAre("1 [ConfXmlAddSingleStructNode]ConfXmlAddAttr fail, ret = 15!",
                    "1 [ConfXmlAddMultiInstanceNode]pParentNode is nullptr!",
                    "1 [ConfXmlAddMultiStructNode]pParentNode is nullptr!", "pParentNode is nullptr!", "Null ptr.",
                    "Null ptr.", "ConfXmlSetNodeText fail, ret = 15!", "ConfXmlAddAttr fail, ret = 15!"));
    EXPECT_NE(ConfXmlAddMultiInstanceNode(root, "n", 0x1FFFF), nullptr);
    EXPECT_NE(ConfXmlAddMultiStructNode(root, "i", 0x10002), nullptr);
    const char* const text[2] = {"t", "CHAR"};
    const ValueSpec longText = {CONF_XML_ATTR_CHAR, "1", 0x10009};
    EXPECT_NE(ConfXmlAddSingleValueNode(root, text, &longText), nullptr);
    EXPECT_THAT(printed(document), HasSubstr("<cfg name=\"n\" NumOfInst=\"65535\"/><cfg name=\"i\" InstID=\"2\"/>"
                                             "<val name=\"t\" type=\"CHAR\" CharLen=\"9\">1</val>"));
}

TEST_F(XmlTreePieces, NodesAreDescribedAndCompared) {
    const Document document =
        parse("<cfg name='n' InstID='65537' NumOfInst='3'><val type='CHAR' CharLen='9'>5</val></cfg>");
    void* const root = document.get();
    void* const value = ConfXmlGetNodeFirstChild(root);
    tagCONF_XML_NODE_INFO info = {};
    ASSERT_EQ(ConfXmlGetXmlNodeAttrAndValue(root, &info), 0U);
    EXPECT_STREQ(info.nodeName, "cfg");
    EXPECT_THAT(Codes({info.instId, info.numOfInst, info.type, ConfXmlIsValueNode(&info), ConfXmlIsValueNode(nullptr)}),
                ElementsAre(1, 3, CONF_XML_ATTR_NONE, 0, 0));
    tagCONF_XML_NODE_INFO other = {};
    ASSERT_EQ(ConfXmlGetXmlNodeAttrAndValue(value, &other), 0U);
    EXPECT_EQ(other.charLen, 9);
    EXPECT_EQ(ConfXmlIsValueNode(&other), 1U);
    EXPECT_GT(ConfXmlCompareNode(&info, &other), 0);
    EXPECT_LT(ConfXmlCompareNode(&other, &info), 0);
    other = info;
    other.instId = 2;
    EXPECT_THAT(std::vector({ConfXmlCompareNode(&info, &other), ConfXmlCompareNode(nullptr, &other),
                             ConfXmlCompareNode(&info, nullptr)}),
                Each(1));
    EXPECT_EQ(ConfXmlGetXmlNodeAttr(value, nullptr), 1U);
    EXPECT_THAT(takeLogs(), IsEmpty());
    const std::string longName(33, 'e');
    const Document longNames = parse("<" + longName + "><val name='" + longName + "'/></" + longName + ">");
    EXPECT_THAT(Codes({ConfXmlGetXmlNodeAttrAndValue(root, nullptr), ConfXmlGetXmlNodeAttrAndValue(nullptr, &other),
                       ConfXmlGetXmlNodeAttrAndValue(longNames.get(), &other),
                       ConfXmlMatchNode(root, ConfXmlGetNodeFirstChild(longNames.get()), ConfXmlCompareNode)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfXmlGetXmlNodeAttrAndValue"),
                ElementsAre("pNodeInfo is null", "1 [ConfXmlGetNodeName]node is nullptr!", "ConfXmlGetNodeText fail!",
                            "strcpy_s fail!", "ConfXmlGetXmlNodeAttr fail!"));
    void* found = &info;
    const auto find = ConfXmlFindMatchNode;
    const auto match = ConfXmlMatchNode;
    const auto compare = ConfXmlCompareNode;
    EXPECT_THAT(Codes({find(value, value, compare, &found), find(value, root, nullptr, &found),
                       find(value, root, compare, nullptr), find(nullptr, root, compare, &found),
                       find(value, nullptr, compare, &found), match(nullptr, value, compare),
                       match(value, nullptr, compare), match(value, value, nullptr)}),
                Each(1));
    EXPECT_EQ(found, &info);
    EXPECT_EQ(find(value, root, compare, &found), 0U);
    EXPECT_EQ(found, value);
}

TEST_F(XmlTreePieces, PiecesAnswerBadArguments) {
    const Document document = parse("<cfg><val type='CHAR' CharLen='9'>5</val></cfg>");
    void* const root = document.get();
    void* const value = ConfXmlGetNodeFirstChild(root);
    uint8_t type = 77;
    EXPECT_THAT(Codes({ConfXmlAttrTypeStrToEnum("uint8", &type), ConfXmlAttrTypeStrToEnum(nullptr, &type),
                       ConfXmlAttrTypeStrToEnum("CHAR", nullptr), ConfXmlIsNumericStr("0123")}),
                Each(1));
    EXPECT_EQ(type, 77);
    EXPECT_THAT(Codes({ConfXmlIsNumericStr(""), ConfXmlIsNumericStr("-1"), ConfXmlIsNumericStr("1 "),
                       ConfXmlIsNumericStr(nullptr)}),
                Each(0));
    tagCONF_XML_VALUE held = {};
    tagCONF_XML_VALUE missing = {};
    EXPECT_THAT(Codes({ConfXmlGetValue(value, 7, &held), ConfXmlGetValue(value, 0, nullptr),
                       ConfXmlGetValue(nullptr, 0, &missing), ConfXmlSetXmlNodeValue(value, nullptr),
                       ConfXmlSetXmlNodeValue(value, &held), ConfXmlSetXmlNodeValue(nullptr, &missing)}),
                ElementsAre(1, 1, 0, 1, 2, 15));
    EXPECT_EQ(held.type, 7);
    EXPECT_EQ(missing.value.number, 0U);
    EXPECT_THAT(takeLogs("ConfXmlSetXmlNodeValue"),
                ElementsAre("1 [ConfXmlGetNodeIntText]node is nullptr!", "ConfXmlSetNodeText fail, ret = 2!",
                            "ConfXmlSetNodeText fail, ret = 15!"));
    tagCONF_XML_NODE_INFO number = {}; // of a byte
    tagCONF_XML_NODE_INFO noType = {};
    noType.type = CONF_XML_ATTR_NONE;
    TransXMLContext context = {};
    char byte = 'x';
    const auto toNode = ConfXmlCopyIndexValueToXmlNode;
    const auto toIndex = ConfXmlCopyXmlNodeValueToIndex;
    EXPECT_THAT(
        Codes({toNode(&noType, &byte, &held), toNode(nullptr, &byte, &held), toNode(&number, nullptr, &held),
               toNode(&number, &byte, nullptr), toIndex(&held, &noType, &byte), toIndex(nullptr, &number, &byte),
               toIndex(&held, nullptr, &byte), toIndex(&held, &number, nullptr), ConfXmlLoadCallBack(nullptr, &context),
               ConfXmlLoadCallBack(&number, nullptr), ConfXmlWriteCallBack(nullptr, &context),
               ConfXmlWriteCallBack(&number, nullptr)}),
        Each(1));
    EXPECT_EQ(byte, 'x');
    number.node = value;
    EXPECT_THAT(Codes({ConfXmlTraverseXmlTree(nullptr, &context, ConfXmlLoadCallBack),
                       ConfXmlTraverseXmlTree(root, nullptr, ConfXmlLoadCallBack),
                       ConfXmlTraverseXmlTree(root, &context, nullptr), ConfXmlWriteCallBack(&number, &context)}),
                Each(1));
    const char* const null = "hAddrTable or TransXMLContext or pCallback is null";
    EXPECT_THAT(takeLogs("ConfXmlTraverseXmlTree"),
                ElementsAre(null, null, null, "1 [ConfXmlFreeRootNode]parentNode is nullptr!"));
    EXPECT_THAT(
        Pointers({ConfXmlCloneSelfAsLastChildNode(nullptr, &number), ConfXmlCloneSelfAsLastChildNode(value, nullptr)}),
        Each(nullptr));
}

} // namespace
} // namespace tarn::test
