#include <cinttypes>
#include <cstring>
#include <deque>

#include "tarn_conference/conf_xml_tree.h"
#include "xml_fixture.h"

namespace tarn::test {
namespace {

using namespace testing;

constexpr const char* kTypeNames[] = {"UINT8", "INT8", "UINT16", "INT16", "UINT32", "INT32", "CHAR"};

// A variable and its place in the index table: at the root, or in an instance of a list.
struct Variable {
    std::string name;
    uint8_t type;
    uint16_t length;
    alignas(8) char storage[64] = {};
    uint32_t instance = 0; // 0 for none
};

// What a test sees outside the files.
struct Process {
    std::deque<Variable> variables;
    std::vector<uint32_t> tableModes;
    std::vector<std::string> commands;
    int syncResult = 0;
} process;

std::deque<Variable>& variables = process.variables;

// A load gets the table as C code would.
void* createIndexTable(uint32_t mode) {
    process.tableModes.push_back(mode);
    void* const root = ConfXmlAddSingleStructNode(nullptr, "Root");
    void* list = nullptr;
    for (Variable& variable : variables) {
        char address[32];
        const bool isHex = variables.size() % 2 == 0; // any notation of C does
        const auto number = reinterpret_cast<uintptr_t>(variable.storage);
        std::snprintf(address, sizeof address, isHex ? "0x%" PRIxPTR : "%" PRIuPTR, number);
        const char* const nameAndType[2] = {variable.name.c_str(), kTypeNames[variable.type]};
        const ValueSpec spec = {variable.type, address, variable.length};
        list = variable.instance == 1 ? ConfXmlAddMultiInstanceNode(root, "list", 2) : list;
        void* const group = list == nullptr ? root : ConfXmlAddMultiStructNode(list, "item", variable.instance);
        EXPECT_NE(ConfXmlAddSingleValueNode(group, nameAndType, &spec), nullptr);
    }
    return root;
}

void zero() {
    for (Variable& variable : variables) {
        std::memset(variable.storage, 0, sizeof variable.storage);
    }
}

// What trees are saved and loaded with, call by call.
using XmlTreePieces = XmlTest;

class XmlTrees : public XmlTest {
 protected:
    void SetUp() override {
        XmlTest::SetUp();
        process = {};
    }

    uint32_t save() const { return ConfXmlSave(createIndexTable, file.c_str(), backup.c_str()); }
    uint32_t load() const { return ConfXmlLoad(createIndexTable, file.c_str(), backup.c_str()); }

    // Loads a file of this text into zeroed variables.
    uint32_t loadText(const std::string& text) {
        writeFile(file, text);
        zero();
        return load();
    }

    // All variables by their low bytes.
    static std::vector<int64_t> numbers() {
        std::vector<int64_t> all;
        for (const Variable& variable : variables) {
            std::memcpy(&all.emplace_back(), variable.storage, sizeof all[0]);
        }
        return all;
    }

    const ScratchDirectory scratch;
    const std::string file = scratch / "tree.xml";
    const std::string backup = scratch / "tree.bak";
};

TEST_F(XmlTrees, AValueIsSavedAndRestored) {
    variables.push_back({"a", CONF_XML_ATTR_UINT16, 0, {1, 2}});
    ASSERT_EQ(save(), 0U);
    const std::string text = "<cfg name=\"Root\">\n    <val name=\"a\" type=\"UINT16\">513</val>\n</cfg>\n";
    EXPECT_EQ(readFile(file), text);
    EXPECT_EQ(readFile(backup), text);
    EXPECT_THAT(scriptedFiles().copies, ElementsAre(Pair(file, backup)));
    EXPECT_THAT(process.commands, ElementsAre("/system/bin/sync"));
    zero();
    EXPECT_EQ(load(), 0U);
    EXPECT_THAT(numbers(), ElementsAre(513));
    EXPECT_THAT(process.tableModes, ElementsAre(1, 0));
    // The disk may not be reached, and a backup needs two names.
    process.syncResult = 256;
    EXPECT_EQ(save(), 0U);
    ConfXmlBakFile(nullptr, "b");
    ConfXmlBakFile("a", nullptr);
    EXPECT_THAT(takeLogs("ConfXmlBakFile"), ElementsAre("/system/bin/sync fail, ret:256", "Null ptr.", "Null ptr."));
}

TEST_F(XmlTrees, ATruncatedFileGivesWayToTheBackup) {
    variables = {{"a", CONF_XML_ATTR_INT32, 0, {5}}, {"b", CONF_XML_ATTR_CHAR, 9, "text"}};
    ASSERT_EQ(save(), 0U);
    const std::string whole = readFile(file);
    const std::vector<int64_t> values = numbers();
    const MeantLeaks leaks; // the backup is missing at times
    for (const size_t cut : {size_t{0}, whole.size() / 2, whole.size() - 2}) {
        SCOPED_TRACE(cut);
        writeFile(backup, whole);
        EXPECT_EQ(loadText(whole.substr(0, cut)), 0U);
        EXPECT_EQ(numbers(), values);
        std::filesystem::remove(backup);
        EXPECT_EQ(loadText(whole.substr(0, cut)), 1U);
        EXPECT_THAT(numbers(), Each(0));
    }
    std::filesystem::remove(file);
    takeLogs();
    EXPECT_EQ(load(), 1U);
    EXPECT_THAT(takeLogs("ConfXmlParseFileGetRoot"),
                ElementsAre("fp is null", "fp is null", "1 [ConfXmlLoad]ConfXmlParseFileGetRoot fail"));
}

TEST_F(XmlTrees, TheFileSaysHowToReadTheTableHowToStore) {
    variables = {{"byte", CONF_XML_ATTR_UINT8, 0},    {"wide", CONF_XML_ATTR_INT32, 0},
                 {"twice", CONF_XML_ATTR_UINT8, 0},   {"kept", CONF_XML_ATTR_UINT16, 0},
                 {"number", CONF_XML_ATTR_UINT32, 0}, {"none", CONF_XML_ATTR_CHAR, 6},
                 {"named", CONF_XML_ATTR_CHAR, 40},   {"text", CONF_XML_ATTR_CHAR, 6}};
    EXPECT_EQ(loadText("<?xml version='1.0'?><cfg name='Root'>text<!-- c --><![CDATA[<val/>]]><!D>"
                       "<val name='byte' type='UINT8'>300</val><val name='wide' type='INT16'>-2</val>"
                       "<val name='text' type='CHAR' CharLen='99'>1</val><other name='none' type='CHAR'/>"
                       "<val name='twice' type='UINT8'>1</val><val name='twice' type='UINT8'>2</val>"
                       "<val name='kept' type='uint16'>7</val><val name='number' type='CHAR'>address</val>"
                       "<val name='named' type='UINT32'>4096</val></cfg>"),
              0U);
    // No address becomes a number, and no number an address.
    EXPECT_THAT(numbers(), ElementsAre(44, 65534, 1, 0, 0, 0, 0, '1'));
    EXPECT_THAT(takeLogs("ConfXmlLoadCallBack"),
                ElementsAre("ConfXmlGetValue fail", "1 [ConfXmlTraverseXmlTree]pCallback fail",
                            "ConfXmlCopyXmlNodeValueToIndex fail", "1 [ConfXmlTraverseXmlTree]pCallback fail",
                            "ConfXmlCopyXmlNodeValueToIndex fail", "1 [ConfXmlTraverseXmlTree]pCallback fail"));

    // Nothing at all is either.
    variables = {{"n", CONF_XML_ATTR_UINT32, 0, {7}}, {"t", CONF_XML_ATTR_CHAR, 6, "t"}};
    writeFile(file, "<cfg name='Root'><val name='n' type='CHAR'/><val name='t' type='UINT32'/></cfg>");
    EXPECT_EQ(load(), 0U);
    EXPECT_THAT(numbers(), Each(0));
    EXPECT_THAT(takeLogs(), IsEmpty());
}

TEST_F(XmlTrees, TextsMustFitTheTablesCharLen) {
    variables = {{"none", CONF_XML_ATTR_CHAR, 0, "old"},
                 {"empty", CONF_XML_ATTR_CHAR, 1, "old"},
                 {"long", CONF_XML_ATTR_CHAR, 5, "old"},
                 {"fits", CONF_XML_ATTR_CHAR, 6, "old"}};
    writeFile(file,
              "<cfg name='Root'><val name='none' type='CHAR'>x</val><val name='empty' type='CHAR'></val>"
              "<val name='long' type='CHAR'>12345</val><val name='fits' type='CHAR'>12345</val></cfg>");
    EXPECT_EQ(load(), 0U);
    EXPECT_STREQ(variables[0].storage, "old");
    EXPECT_STREQ(variables[1].storage, "");
    EXPECT_STREQ(variables[2].storage, "") << "what does not fit is lost";
    EXPECT_STREQ(variables[3].storage, "12345");
    EXPECT_THAT(takeLogs("ConfXmlLoadCallBack"), Contains("ConfXmlCopyXmlNodeValueToIndex fail").Times(2));
}

TEST_F(XmlTrees, InstancesAreToldApartByTheirNumber) {
    variables = {{"v", CONF_XML_ATTR_INT8, 0, {1}, 1}, {"v", CONF_XML_ATTR_INT8, 0, {2}, 2}};
    ASSERT_EQ(save(), 0U);
    EXPECT_THAT(readFile(file),
                HasSubstr("<cfg name=\"list\" NumOfInst=\"2\">\n        <cfg name=\"item\" InstID=\"1\">"));
    EXPECT_EQ(loadText("<cfg name='Root'><cfg name='list'>"
                       "<cfg name='item' InstID='2'><val name='v' type='INT8'>22</val></cfg>"
                       "<cfg name='item' InstID='1'><val name='v' type='INT8'>11</val></cfg></cfg></cfg>"),
              0U);
    EXPECT_THAT(numbers(), ElementsAre(11, 22));
}

// A name that is too long hides what stands behind it, as it does for `ConfXmlFindMatchNode`.
TEST_F(XmlTrees, LoadsFindWhatTheExportedSearchFinds) {
    for (const auto& [element, attribute] : {std::pair<size_t, size_t>{32, 32}, {33, 3}, {3, 33}}) {
        SCOPED_TRACE(testing::Message() << element << " and " << attribute);
        const std::string name(attribute, 'n');
        const std::string text = "<cfg name='Root'><val name='a' type='UINT8'>1</val><" + std::string(element, 'e') +
                                 " name='" + name + "' type='UINT8'/><val name='b' type='UINT8'>3</val></cfg>";
        variables.clear();
        for (const std::string& wanted : {std::string("b"), std::string("a"), std::string("absent"), name}) {
            variables.push_back({wanted, CONF_XML_ATTR_UINT8, 0});
        }
        EXPECT_EQ(loadText(text), 0U);
        EXPECT_THAT(numbers(), ElementsAre(element == 32 ? 3 : 0, 1, 0, 0));
        const std::vector<std::string> logs = takeLogs("ConfXmlTraverseXmlTree");
        EXPECT_THAT(logs, Contains("ConfXmlGetXmlNodeAttrAndValue fail").Times(attribute > 32 ? 1 : 0));

        zero();
        const Document parsed = parse(text);
        const Document index(createIndexTable(0));
        const TransXMLContext context = {parsed.get(), nullptr};
        EXPECT_EQ(ConfXmlTraverseXmlTree(index.get(), &context, ConfXmlLoadCallBack), 0U);
        EXPECT_THAT(numbers(), ElementsAre(element == 32 ? 3 : 0, 1, 0, 0));
        EXPECT_EQ(takeLogs("ConfXmlTraverseXmlTree"), logs);
    }
}

TEST_F(XmlTrees, AMismatchAtTheRootFailsTheLoad) {
    variables.push_back({"a", CONF_XML_ATTR_UINT8, 0});
    for (const std::string root : {"<cfg name='root'>", "<cfg name='Root' InstID='1'>"}) {
        EXPECT_EQ(loadText(root + "<val name='a' type='UINT8'>1</val></cfg>"), 1U);
        EXPECT_THAT(numbers(), ElementsAre(0));
        EXPECT_THAT(takeLogs("ConfXmlLoad"),
                    ElementsAre("1 [ConfXmlTraverseXmlTree]pCallback fail", "Traverse XML tree fail"));
    }
    const char* const path = file.c_str();
    EXPECT_THAT(Codes({ConfXmlSave(nullptr, path, path), ConfXmlSave(createIndexTable, nullptr, path),
                       ConfXmlLoad(nullptr, nullptr, path)}),
                Each(1));
    EXPECT_THAT(takeLogs("ConfXmlSave"), ElementsAre("Create call index table fail", "TransForm File fail",
                                                     "1 [ConfXmlParseFileGetRoot]pszXmlFile is nullptr",
                                                     "1 [ConfXmlLoad]Create call index table fail"));
    EXPECT_EQ(ConfXmlSave(createIndexTable, "/dev/full", path), 1U) << "a cut file must not go over the backup";
    EXPECT_THAT(takeLogs("ConfXmlSave"), ElementsAre("TransForm File fail"));
    EXPECT_THAT(process.commands, IsEmpty());
}

TEST_F(XmlTrees, WithoutAnAddressOrATypeNothingIsSavedOrLoaded) {
    const auto badTable = [](uint32_t mode) {
        const std::string root = mode == 0 ? "<cfg name='Root'>" : "<cfg name='other'>";
        return ConfXmlParseBodyGetRoot(
            (root + "<val name='a' type='UINT8'>0</val><val name='b' type='UINT8'/><val name='c' type='FLOAT'>64</val>"
                    "<val name='d' type='CHAR' CharLen='70000'>no address</val>"
                    "<val name='e' type='INT32'>99999999999999999999</val></cfg>")
                .c_str());
    };
    EXPECT_EQ(ConfXmlSave(badTable, file.c_str(), backup.c_str()), 0U);
    EXPECT_EQ(readFile(file),
              "<cfg name=\"Root\">\n    <val name=\"a\" type=\"UINT8\"/>\n    <val name=\"b\" type=\"UINT8\"/>\n"
              "    <val name=\"c\" type=\"FLOAT\"/>\n    <val name=\"d\" type=\"CHAR\" CharLen=\"4464\"/>\n"
              "    <val name=\"e\" type=\"INT32\"/>\n</cfg>\n");
    takeLogs();
    EXPECT_EQ(ConfXmlLoad(badTable, file.c_str(), backup.c_str()), 0U);
    const std::vector<std::string> logs = takeLogs("ConfXmlLoadCallBack");
    EXPECT_THAT(logs, Contains("ConfXmlCopyXmlNodeValueToIndex fail").Times(4));
    EXPECT_THAT(logs, Contains("ConfXmlGetValue fail").Times(1));
}

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
                       ConfXmlSetXmlNodeValue(value, nullptr), ConfXmlSetXmlNodeValue(value, &held),
                       ConfXmlGetValue(value, 7, nullptr)}),
                ElementsAre(1, 0, 1, 2, 1));
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

// In place of the C library's, so that no command runs.
extern "C" __attribute__((visibility("default"))) int system(const char* command) {
    tarn::test::process.commands.emplace_back(command);
    return tarn::test::process.syncResult;
}
