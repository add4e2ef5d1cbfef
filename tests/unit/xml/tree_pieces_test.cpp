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
    const ValueSpec spec = {0, "1", 0};
    const ValueSpec badType = {7, "1", 0};
    EXPECT_THAT(
        Pointers({ConfXmlAddMultiInstanceNode(nullptr, "n", 1), ConfXmlAddMultiStructNode(nullptr, "n", 1),
                  ConfXmlAddSingleValueNode(nullptr, pair, &spec), ConfXmlAddSingleValueNode(root, nullptr, &spec),
                  ConfXmlAddSingleValueNode(root, pair, &badType)}),
        Each(nullptr));
    EXPECT_THAT(takeLogs("ConfXmlAddSingleValueNode"),
                ElementsAre("1 [ConfXmlAddMultiInstanceNode]pParentNode is nullptr!",
                            "1 [ConfXmlAddMultiStructNode]pParentNode is nullptr!", "pParentNode is nullptr!",
                            "Null ptr.", "ConfXmlSetNodeText fail, ret = 15!"));
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
    EXPECT_THAT(Codes({ConfXmlGetXmlNodeAttrAndValue(root, nullptr), ConfXmlGetXmlNodeAttrAndValue(nullptr, &other)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfXmlGetXmlNodeAttrAndValue"),
                ElementsAre("pNodeInfo is null", "1 [ConfXmlGetNodeName]node is nullptr!", "ConfXmlGetNodeText fail!"));
    void* found = &info;
    const auto compare = ConfXmlCompareNode;
    EXPECT_THAT(
        Codes({ConfXmlFindMatchNode(value, value, compare, &found), ConfXmlFindMatchNode(value, root, nullptr, &found),
               ConfXmlFindMatchNode(nullptr, root, compare, &found), ConfXmlMatchNode(value, nullptr, compare),
               ConfXmlMatchNode(value, value, nullptr)}),
        Each(1));
    EXPECT_EQ(found, &info);
    EXPECT_EQ(ConfXmlFindMatchNode(value, root, compare, &found), 0U);
    EXPECT_EQ(found, value);
}

TEST_F(XmlTreePieces, ValuesArePutAndTakenByTheirType) {
    const Document document = parse("<cfg><val type='CHAR' CharLen='9'>5</val></cfg>");
    void* const value = ConfXmlGetNodeFirstChild(document.get());
    uint8_t type = 77;
    EXPECT_EQ(ConfXmlAttrTypeStrToEnum("uint8", &type), 1U);
    EXPECT_EQ(type, 77);
    EXPECT_EQ(ConfXmlAttrTypeStrToEnum(nullptr, &type), 1U);
    EXPECT_THAT(Codes({ConfXmlIsNumericStr("0123"), ConfXmlIsNumericStr(""), ConfXmlIsNumericStr("-1"),
                       ConfXmlIsNumericStr(nullptr)}),
                ElementsAre(1, 0, 0, 0));
    tagCONF_XML_VALUE held = {};
    tagCONF_XML_VALUE missing = {};
    EXPECT_THAT(Codes({ConfXmlGetValue(value, 7, &held), ConfXmlGetValue(nullptr, 0, &missing),
                       ConfXmlSetXmlNodeValue(value, nullptr), ConfXmlSetXmlNodeValue(value, &held)}),
                ElementsAre(1, 0, 1, 2));
    EXPECT_EQ(held.type, 7);
    EXPECT_EQ(missing.value.number, 0U);
    EXPECT_THAT(takeLogs("ConfXmlSetXmlNodeValue"),
                ElementsAre("1 [ConfXmlGetNodeIntText]node is nullptr!", "ConfXmlSetNodeText fail, ret = 2!"));
    tagCONF_XML_NODE_INFO number = {}; // of a byte
    tagCONF_XML_NODE_INFO noType = {};
    noType.type = CONF_XML_ATTR_NONE;
    TransXMLContext context = {};
    char byte = 'x';
    EXPECT_THAT(Codes({ConfXmlCopyIndexValueToXmlNode(&noType, &byte, &held),
                       ConfXmlCopyIndexValueToXmlNode(&number, nullptr, &held),
                       ConfXmlCopyXmlNodeValueToIndex(&held, &noType, &byte),
                       ConfXmlCopyXmlNodeValueToIndex(&held, &number, nullptr), ConfXmlLoadCallBack(nullptr, &context),
                       ConfXmlWriteCallBack(&number, nullptr)}),
                Each(1));
    EXPECT_EQ(byte, 'x');
    number.node = value;
    EXPECT_THAT(Codes({ConfXmlTraverseXmlTree(nullptr, &context, ConfXmlLoadCallBack),
                       ConfXmlWriteCallBack(&number, &context)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfXmlTraverseXmlTree"), ElementsAre("hAddrTable or TransXMLContext or pCallback is null",
                                                                "1 [ConfXmlFreeRootNode]parentNode is nullptr!"));
    EXPECT_EQ(ConfXmlCloneSelfAsLastChildNode(nullptr, &number), nullptr);
}

} // namespace
} // namespace tarn::test
