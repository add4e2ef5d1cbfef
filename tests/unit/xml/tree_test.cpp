#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <deque>
#include <functional>
#include <random>

#include "tarn_conference/conf_xml_tree.h"
#include "xml_fixture.h"

namespace {

int syncResult = 0;
std::vector<std::string> commands;

} // namespace

// In place of the C library's, so that no command runs.
extern "C" __attribute__((visibility("default"))) int system(const char* command) {
    commands.emplace_back(command);
    return syncResult;
}

namespace {

using tarn::test::MeantLeaks;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* kTypeNames[] = {"UINT8", "INT8", "UINT16", "INT16", "UINT32", "INT32", "CHAR"};

// A variable and its place in an index table.
struct Variable {
    std::string name;
    uint8_t type;
    uint16_t length;
    alignas(8) char storage[64] = {};
};

struct Group {
    std::string name;
    int instance = 0;  // 0 for none
    int instances = 0; // of a group that holds instances
    std::deque<Variable> variables;
    std::deque<Group> groups;
};

// The table that `createIndexTable` makes; a load gets it as C code would.
Group* table = nullptr;
const char* tableRootName = "Root";
std::vector<uint32_t> tableModes;

void addValue(void* parent, const Variable& variable) {
    char address[32];
    std::snprintf(address, sizeof address, "0x%" PRIxPTR, reinterpret_cast<uintptr_t>(variable.storage));
    const char* const nameAndType[2] = {variable.name.c_str(), kTypeNames[variable.type]};
    const ValueSpec spec = {variable.type, address, variable.length};
    EXPECT_NE(ConfXmlAddSingleValueNode(parent, nameAndType, &spec), nullptr);
}

void fillGroup(void* node, const Group& group) {
    for (const Variable& variable : group.variables) {
        addValue(node, variable);
    }
    for (const Group& child : group.groups) {
        const char* const name = child.name.c_str();
        void* const made = child.instances != 0 ? ConfXmlAddMultiInstanceNode(node, name, child.instances)
                           : child.instance != 0
                               ? ConfXmlAddMultiStructNode(node, name, static_cast<uint32_t>(child.instance))
                               : ConfXmlAddSingleStructNode(node, name);
        fillGroup(made, child);
    }
}

void* createIndexTable(uint32_t mode) {
    tableModes.push_back(mode);
    if (table == nullptr) {
        return nullptr;
    }
    void* const root = ConfXmlAddSingleStructNode(nullptr, tableRootName);
    fillGroup(root, *table);
    return root;
}

void forEachVariable(Group& group, const std::function<void(Variable&)>& visit) {
    for (Variable& variable : group.variables) {
        visit(variable);
    }
    for (Group& child : group.groups) {
        forEachVariable(child, visit);
    }
}

std::vector<std::string> valuesOf(Group& group) {
    std::vector<std::string> values;
    forEachVariable(group, [&](Variable& variable) { values.emplace_back(variable.storage, sizeof variable.storage); });
    return values;
}

void zero(Group& group) {
    forEachVariable(group, [](Variable& variable) { std::memset(variable.storage, 0, sizeof variable.storage); });
}

class RandomTree {
 public:
    explicit RandomTree(uint32_t seed) : random_(seed) {}

    Group make() {
        Group root;
        fill(root, 4);
        return root;
    }

    void setValues(Group& group) {
        forEachVariable(group, [this](Variable& variable) { setValue(variable); });
    }

 private:
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_() % limit); }

    std::string newName() {
        std::string name = "n" + std::to_string(++names_);
        name.resize(below(4) == 0 ? 32 : name.size(), '_');
        return name;
    }

    void fill(Group& group, int depth) {
        for (uint32_t i = below(6); i > 0; --i) {
            group.variables.push_back(
                {newName(), static_cast<uint8_t>(below(7)), static_cast<uint16_t>(1 + below(60))});
        }
        for (uint32_t i = depth == 0 ? 0 : below(4); i > 0; --i) {
            Group& child = group.groups.emplace_back();
            child.name = newName();
            if (below(3) == 0) {
                child.instances = static_cast<int>(1 + below(4));
                for (int instance = 1; instance <= child.instances; ++instance) {
                    Group& made = child.groups.emplace_back();
                    made.name = "instance";
                    made.instance = instance;
                    fill(made, depth - 1);
                }
            } else {
                fill(child, depth - 1);
            }
        }
    }

    // What XML can hold: no text of white space only.
    std::string text(size_t most) {
        static const std::vector<std::string> kPieces = {"a",  "Z", "0",  "<",  ">",   "&",      "'",
                                                         "\"", " ", "\n", "\t", "]]>", "\u00E9", "\u4F60"};
        std::string made;
        for (uint32_t i = below(30); i > 0; --i) {
            const std::string& piece = kPieces[below(static_cast<uint32_t>(kPieces.size()))];
            made += made.size() + piece.size() <= most ? piece : "";
        }
        return made.find_first_not_of(" \n\t") == std::string::npos ? "" : made;
    }

    void setValue(Variable& variable) {
        if (variable.type == CONF_XML_ATTR_CHAR) {
            std::strcpy(variable.storage, text(variable.length - 1U).c_str());
            return;
        }
        constexpr uint32_t kEdges[] = {0,      1,      0x7F,       0x80,       0xFF,      0x7FFF,
                                       0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
        const uint32_t number = below(2) == 0 ? kEdges[below(std::size(kEdges))] : static_cast<uint32_t>(random_());
        std::memcpy(variable.storage, &number, size_t{1} << (variable.type / 2));
    }

    std::mt19937 random_;
    int names_ = 0;
};

class XmlTrees : public tarn::test::XmlTest {
 protected:
    void SetUp() override {
        XmlTest::SetUp();
        syncResult = 0;
        commands.clear();
        tableModes.clear();
        tableRootName = "Root";
        table = &group;
    }

    uint32_t save() const { return ConfXmlSave(createIndexTable, file.c_str(), backup.c_str()); }
    uint32_t load() const { return ConfXmlLoad(createIndexTable, file.c_str(), backup.c_str()); }

    // Loads a file of this text into zeroed variables.
    uint32_t loadText(const std::string& text) {
        tarn::test::writeFile(file, text);
        zero(group);
        return load();
    }

    template <typename Number>
    static Number numberOf(const Variable& variable) {
        Number number;
        std::memcpy(&number, variable.storage, sizeof number);
        return number;
    }

    Group group;
    const tarn::test::ScratchDirectory scratch;
    const std::string file = scratch / "tree.xml";
    const std::string backup = scratch / "tree.bak";
};

TEST_F(XmlTrees, AValueIsSavedAndRestored) {
    group.variables.push_back({"a", CONF_XML_ATTR_UINT16, 0, {1, 2}});
    ASSERT_EQ(save(), 0U);
    const std::string text = "<cfg name=\"Root\">\n    <val name=\"a\" type=\"UINT16\">513</val>\n</cfg>\n";
    EXPECT_EQ(tarn::test::readFile(file), text);
    EXPECT_EQ(tarn::test::readFile(backup), text);
    EXPECT_THAT(tarn::test::scriptedFiles().copies, ElementsAre(Pair(file, backup)));
    EXPECT_THAT(commands, ElementsAre("/system/bin/sync"));
    zero(group);
    EXPECT_EQ(load(), 0U);
    EXPECT_EQ(numberOf<uint16_t>(group.variables[0]), 513);
    EXPECT_THAT(tableModes, ElementsAre(1, 0));
}

TEST_F(XmlTrees, RandomTreesComeBackAsTheyWere) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        RandomTree random(seed);
        group = random.make();
        random.setValues(group);
        const std::vector<std::string> values = valuesOf(group);
        ASSERT_EQ(save(), 0U);
        zero(group);
        ASSERT_EQ(load(), 0U);
        EXPECT_EQ(valuesOf(group), values);
        tarn::test::scriptedFiles().closeStreams();
    }
}

TEST_F(XmlTrees, ATruncatedFileGivesWayToTheBackup) {
    RandomTree random(11);
    do {
        group = random.make();
        random.setValues(group);
        ASSERT_EQ(save(), 0U);
    } while (tarn::test::readFile(file).size() < 3000);
    const std::string whole = tarn::test::readFile(file);
    const std::vector<std::string> values = valuesOf(group);
    zero(group);
    const std::vector<std::string> zeros = valuesOf(group);
    const MeantLeaks leaks; // the backup is missing at times
    for (size_t cut = 0; cut < whole.size() - 1; cut += 50) {
        SCOPED_TRACE(cut);
        tarn::test::writeFile(backup, whole);
        EXPECT_EQ(loadText(whole.substr(0, cut)), 0U);
        EXPECT_EQ(valuesOf(group), values);
        std::filesystem::remove(backup);
        EXPECT_EQ(loadText(whole.substr(0, cut)), 1U);
        EXPECT_EQ(valuesOf(group), zeros);
        tarn::test::scriptedFiles().closeStreams();
    }
    tarn::test::writeFile(backup, whole);
    std::filesystem::remove(file);
    EXPECT_EQ(load(), 0U);
    EXPECT_EQ(valuesOf(group), values);
    std::filesystem::remove(backup);
    takeLogs();
    EXPECT_EQ(load(), 1U);
    EXPECT_THAT(takeLogs(),
                ElementsAre("1 [ConfXmlParseFileGetRoot]fp is null", "1 [ConfXmlParseFileGetRoot]fp is null",
                            "1 [ConfXmlLoad]ConfXmlParseFileGetRoot fail"));
}

TEST_F(XmlTrees, TheFileSaysHowToReadTheTableHowToStore) {
    group.variables = {{"byte", CONF_XML_ATTR_UINT8, 0},    {"wide", CONF_XML_ATTR_INT32, 0},
                       {"text", CONF_XML_ATTR_CHAR, 6},     {"none", CONF_XML_ATTR_CHAR, 6},
                       {"twice", CONF_XML_ATTR_UINT8, 0},   {"kept", CONF_XML_ATTR_UINT16, 0},
                       {"number", CONF_XML_ATTR_UINT32, 0}, {"named", CONF_XML_ATTR_CHAR, 40}};
    const std::string text =
        "<?xml version='1.0'?><cfg name='Root'>text<!-- c --><![CDATA[<val/>]]><!D><val name='byte' "
        "type='UINT8'>300</val>"
        "<val name='wide' type='INT16'>-2</val><val name='text' type='CHAR' CharLen='99'>12345</val>"
        "<other name='none' type='CHAR'/><val name='twice' type='UINT8'>1</val>"
        "<val name='twice' type='UINT8'>2</val><val name='kept' type='uint16'>7</val>"
        "<val name='number' type='CHAR'>address</val><val name='named' type='UINT32'>4096</val></cfg>";
    EXPECT_EQ(loadText(text), 0U);
    EXPECT_EQ(numberOf<uint8_t>(group.variables[0]), 44);
    EXPECT_EQ(numberOf<uint32_t>(group.variables[1]), 65534U);
    EXPECT_STREQ(group.variables[2].storage, "12345");
    EXPECT_STREQ(group.variables[3].storage, "");
    EXPECT_EQ(numberOf<uint8_t>(group.variables[4]), 1);
    EXPECT_EQ(numberOf<uint16_t>(group.variables[5]), 0);
    EXPECT_EQ(numberOf<uint32_t>(group.variables[6]), 0U) << "no address in a number";
    EXPECT_STREQ(group.variables[7].storage, "") << "no number as an address";
    EXPECT_THAT(takeLogs(),
                ElementsAre("1 [ConfXmlLoadCallBack]ConfXmlGetValue fail", "1 [ConfXmlTraverseXmlTree]pCallback fail",
                            "1 [ConfXmlLoadCallBack]ConfXmlCopyXmlNodeValueToIndex fail",
                            "1 [ConfXmlTraverseXmlTree]pCallback fail",
                            "1 [ConfXmlLoadCallBack]ConfXmlCopyXmlNodeValueToIndex fail",
                            "1 [ConfXmlTraverseXmlTree]pCallback fail"));
}

TEST_F(XmlTrees, TextsMustFitTheTablesCharLen) {
    const struct {
        uint16_t charLen;
        const char* text;
        const char* loaded; // null: it does not fit
    } cases[] = {{0, "x", nullptr},
                 {1, "x", nullptr},
                 {1, "", ""},
                 {5, "12345", nullptr},
                 {6, "12345", "12345"},
                 {65535, "x", "x"},
                 {65535, "<![CDATA[<]]>", "<"}};
    for (const auto& [charLen, text, loaded] : cases) {
        SCOPED_TRACE(testing::Message() << text << " into " << charLen);
        group.variables = {{"text", CONF_XML_ATTR_CHAR, charLen, {'o', 'l', 'd'}}};
        tarn::test::writeFile(file,
                              std::string("<cfg name='Root'><val name='text' type='CHAR'>") + text + "</val></cfg>");
        takeLogs();
        EXPECT_EQ(load(), 0U);
        EXPECT_EQ(takeLogs().empty(), loaded != nullptr);
        if (loaded != nullptr) {
            EXPECT_STREQ(group.variables[0].storage, loaded);
        } else {
            EXPECT_TRUE(group.variables[0].storage[0] == (charLen == 0 ? 'o' : '\0'));
        }
    }
}

TEST_F(XmlTrees, InstancesAreToldApartByTheirNumber) {
    Group& list = group.groups.emplace_back();
    list.name = "list";
    list.instances = 2;
    for (const int instance : {1, 2}) {
        Group& made = list.groups.emplace_back();
        made.name = "item";
        made.instance = instance;
        made.variables.push_back({"v", CONF_XML_ATTR_INT8, 0, {static_cast<char>(instance)}});
    }
    ASSERT_EQ(save(), 0U);
    EXPECT_THAT(tarn::test::readFile(file),
                testing::HasSubstr("<cfg name=\"list\" NumOfInst=\"2\">\n        <cfg name=\"item\" InstID=\"1\">"));
    EXPECT_EQ(
        loadText(
            "<cfg name='Root'><cfg name='list'><cfg name='item' InstID='2'><val name='v' type='INT8'>-2</val></cfg>"
            "<cfg name='item' InstID='1'><val name='v' type='INT8'>-1</val></cfg></cfg></cfg>"),
        0U);
    EXPECT_EQ(numberOf<int8_t>(list.groups[0].variables[0]), -1);
    EXPECT_EQ(numberOf<int8_t>(list.groups[1].variables[0]), -2);
}

// A name that is too long hides what stands behind it, as it does for `ConfXmlFindMatchNode`.
TEST_F(XmlTrees, LoadsFindWhatTheExportedSearchFinds) {
    for (const auto& [element, attribute] : {std::pair<size_t, size_t>{32, 32}, {33, 3}, {34, 3}, {3, 33}, {3, 34}}) {
        SCOPED_TRACE(testing::Message() << element << " and " << attribute);
        const std::string text = "<cfg name='Root'><val name='a' type='UINT8'>1</val><" + std::string(element, 'e') +
                                 " name='" + std::string(attribute, 'n') +
                                 "' type='UINT8'/><val name='b' type='UINT8'>3</val></cfg>";
        group.variables = {{"b", CONF_XML_ATTR_UINT8, 0},
                           {"a", CONF_XML_ATTR_UINT8, 0},
                           {"absent", CONF_XML_ATTR_UINT8, 0},
                           {std::string(attribute, 'n'), CONF_XML_ATTR_UINT8, 0}};
        tarn::test::writeFile(file, text);
        EXPECT_EQ(load(), 0U);
        const std::vector<std::string> loaded = valuesOf(group);
        const std::vector<std::string> logs = takeLogs();

        zero(group);
        const Document parsed = parse(text);
        const Document index(createIndexTable(0));
        const TransXMLContext context = {parsed.get(), nullptr};
        EXPECT_EQ(ConfXmlTraverseXmlTree(index.get(), &context, ConfXmlLoadCallBack), 0U);
        EXPECT_EQ(valuesOf(group), loaded);
        EXPECT_EQ(takeLogs(), logs);
        EXPECT_EQ(numberOf<uint8_t>(group.variables[0]), element == 32 ? 3 : 0);
        EXPECT_EQ(numberOf<uint8_t>(group.variables[1]), 1);
        EXPECT_THAT(
            logs,
            Contains("1 [ConfXmlTraverseXmlTree]ConfXmlGetXmlNodeAttrAndValue fail").Times(attribute > 32 ? 1 : 0));
    }
}

TEST_F(XmlTrees, AMismatchAtTheRootFailsTheLoad) {
    group.variables.push_back({"a", CONF_XML_ATTR_UINT8, 0});
    for (const char* text : {"<cfg name='root'><val name='a' type='UINT8'>1</val></cfg>", "<cfg/>",
                             "<cfg name='Root' InstID='1'><val name='a' type='UINT8'>1</val></cfg>"}) {
        EXPECT_EQ(loadText(text), 1U);
        EXPECT_EQ(numberOf<uint8_t>(group.variables[0]), 0);
        EXPECT_THAT(takeLogs(),
                    ElementsAre("1 [ConfXmlTraverseXmlTree]pCallback fail", "1 [ConfXmlLoad]Traverse XML tree fail"));
    }
    table = nullptr;
    EXPECT_EQ(load(), 1U);
    EXPECT_EQ(save(), 1U);
    EXPECT_EQ(ConfXmlSave(nullptr, file.c_str(), backup.c_str()), 1U);
    EXPECT_EQ(ConfXmlLoad(nullptr, nullptr, file.c_str()), 1U);
    EXPECT_THAT(
        takeLogs(),
        ElementsAre("1 [ConfXmlLoad]Create call index table fail", "1 [ConfXmlSave]Create call index table fail",
                    "1 [ConfXmlSave]Create call index table fail", "1 [ConfXmlParseFileGetRoot]pszXmlFile is nullptr",
                    "1 [ConfXmlLoad]Create call index table fail"));
    table = &group;
    EXPECT_EQ(ConfXmlSave(createIndexTable, scratch.path().c_str(), backup.c_str()), 1U);
    EXPECT_EQ(ConfXmlSave(createIndexTable, nullptr, backup.c_str()), 1U);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlSave]TransForm File fail", "1 [ConfXmlSave]TransForm File fail"));
    EXPECT_THAT(commands, IsEmpty());

    platform.failNth("OsCopyFile", 1);
    EXPECT_EQ(save(), 0U);
    syncResult = 256;
    EXPECT_EQ(save(), 0U);
    ConfXmlBakFile(nullptr, "b");
    ConfXmlBakFile("a", nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlBakFile]OsCopyFile fail, ret:5",
                                        "1 [ConfXmlBakFile]/system/bin/sync fail, ret:256",
                                        "1 [ConfXmlBakFile]Null ptr.", "1 [ConfXmlBakFile]Null ptr."));
}

TEST_F(XmlTrees, WithoutAnAddressOrATypeNothingIsSavedOrLoaded) {
    const auto badTable = [](uint32_t mode) -> void* {
        const std::string root = mode == 0 ? "Root" : "other";
        return ConfXmlParseBodyGetRoot(
            ("<cfg name='" + root +
             "'><val name='a' type='UINT8'>0</val><val name='b' type='UINT8'/>"
             "<val name='c' type='FLOAT'>64</val><val name='d'>64</val><val name='e' type='UINT8'>0x</val>"
             "<val name='f' type='CHAR' CharLen='70000'>no address</val>"
             "<val name='g' type='INT32'>99999999999999999999</val></cfg>")
                .c_str());
    };
    EXPECT_EQ(ConfXmlSave(badTable, file.c_str(), backup.c_str()), 0U);
    EXPECT_EQ(tarn::test::readFile(file),
              "<cfg name=\"Root\">\n    <val name=\"a\" type=\"UINT8\"/>\n    <val name=\"b\" type=\"UINT8\"/>\n"
              "    <val name=\"c\" type=\"FLOAT\"/>\n    <val name=\"d\"/>\n    <val name=\"e\" type=\"UINT8\"/>\n"
              "    <val name=\"f\" type=\"CHAR\" CharLen=\"4464\"/>\n    <val name=\"g\" type=\"INT32\"/>\n</cfg>\n");
    takeLogs();
    EXPECT_EQ(ConfXmlLoad(badTable, file.c_str(), backup.c_str()), 0U);
    const std::vector<std::string> logs = takeLogs();
    EXPECT_EQ(std::count(logs.begin(), logs.end(), "1 [ConfXmlLoadCallBack]ConfXmlCopyXmlNodeValueToIndex fail"), 5);
    EXPECT_EQ(std::count(logs.begin(), logs.end(), "1 [ConfXmlLoadCallBack]ConfXmlGetValue fail"), 2);
}

TEST_F(XmlTrees, BuildersTellWhatTheyMiss) {
    const Document root(ConfXmlAddSingleStructNode(nullptr, "Root"));
    const char* const pair[2] = {"n", "UINT8"};
    const char* const noName[2] = {nullptr, "UINT8"};
    const ValueSpec spec = {0, "1", 0};
    const ValueSpec badType = {7, "1", 0};
    EXPECT_EQ(ConfXmlAddSingleStructNode(nullptr, nullptr), nullptr);
    EXPECT_EQ(ConfXmlAddMultiInstanceNode(nullptr, "n", 1), nullptr);
    EXPECT_EQ(ConfXmlAddMultiInstanceNode(root.get(), nullptr, 1), nullptr);
    EXPECT_EQ(ConfXmlAddMultiStructNode(nullptr, "n", 1), nullptr);
    EXPECT_EQ(ConfXmlAddMultiStructNode(root.get(), nullptr, 1), nullptr);
    EXPECT_EQ(ConfXmlAddSingleValueNode(nullptr, pair, &spec), nullptr);
    EXPECT_EQ(ConfXmlAddSingleValueNode(root.get(), nullptr, &spec), nullptr);
    EXPECT_EQ(ConfXmlAddSingleValueNode(root.get(), pair, nullptr), nullptr);
    EXPECT_EQ(ConfXmlAddSingleValueNode(root.get(), pair, &badType), nullptr);
    EXPECT_EQ(ConfXmlAddSingleValueNode(root.get(), noName, &spec), nullptr);
    EXPECT_THAT(takeLogs(),
                ElementsAre("1 [ConfXmlAddSingleStructNode]ConfXmlAddAttr fail, ret = 15!",
                            "1 [ConfXmlAddMultiInstanceNode]pParentNode is nullptr!",
                            "1 [ConfXmlAddMultiInstanceNode]ConfXmlAddAttr fail, ret = 15!",
                            "1 [ConfXmlAddMultiStructNode]pParentNode is nullptr!",
                            "1 [ConfXmlAddMultiStructNode]ConfXmlAddAttr, ret = 15!",
                            "1 [ConfXmlAddSingleValueNode]pParentNode is nullptr!",
                            "1 [ConfXmlAddSingleValueNode]Null ptr.", "1 [ConfXmlAddSingleValueNode]Null ptr.",
                            "1 [ConfXmlAddSingleValueNode]ConfXmlSetNodeText fail, ret = 15!",
                            "1 [ConfXmlAddSingleValueNode]ConfXmlAddAttr fail, ret = 15!"));
    EXPECT_NE(ConfXmlAddMultiInstanceNode(root.get(), "n", 0x1FFFF), nullptr);
    EXPECT_THAT(printed(root), testing::HasSubstr("<cfg name=\"n\" NumOfInst=\"65535\"/>"));
}

TEST_F(XmlTrees, PiecesAnswerBadArguments) {
    const Document document =
        parse("<cfg name='n' InstID='65537' NumOfInst='3'><val type='CHAR' CharLen='9'>5</val></cfg>");
    void* const value = ConfXmlGetNodeFirstChild(document.get());
    tagCONF_XML_NODE_INFO info = {};
    ASSERT_EQ(ConfXmlGetXmlNodeAttrAndValue(document.get(), &info), 0U);
    EXPECT_STREQ(info.nodeName, "cfg");
    EXPECT_EQ(info.instId, 1);
    EXPECT_EQ(info.numOfInst, 3);
    EXPECT_EQ(info.type, CONF_XML_ATTR_NONE);
    EXPECT_EQ(ConfXmlIsValueNode(&info), 0U);
    tagCONF_XML_NODE_INFO other = {};
    ASSERT_EQ(ConfXmlGetXmlNodeAttrAndValue(value, &other), 0U);
    EXPECT_EQ(other.charLen, 9);
    EXPECT_EQ(ConfXmlIsValueNode(&other), 1U);
    EXPECT_EQ(ConfXmlIsValueNode(nullptr), 0U);
    EXPECT_EQ(ConfXmlGetXmlNodeAttr(value, nullptr), 1U);
    EXPECT_GT(ConfXmlCompareNode(&info, &other), 0);
    EXPECT_LT(ConfXmlCompareNode(&other, &info), 0);
    other = info;
    other.instId = 2;
    EXPECT_EQ(ConfXmlCompareNode(&info, &other), 1);
    EXPECT_EQ(ConfXmlCompareNode(nullptr, &other), 1);
    EXPECT_EQ(ConfXmlCompareNode(&info, nullptr), 1);
    EXPECT_THAT(takeLogs(), IsEmpty());
    EXPECT_EQ(ConfXmlGetXmlNodeAttrAndValue(document.get(), nullptr), 1U);
    EXPECT_EQ(ConfXmlGetXmlNodeAttrAndValue(nullptr, &other), 1U);
    const Document longNames = parse("<" + std::string(33, 'e') + "><val name='" + std::string(33, 'n') + "'/></" +
                                     std::string(33, 'e') + ">");
    EXPECT_EQ(ConfXmlGetXmlNodeAttrAndValue(longNames.get(), &other), 1U);
    EXPECT_EQ(ConfXmlMatchNode(document.get(), ConfXmlGetNodeFirstChild(longNames.get()), ConfXmlCompareNode), 1U);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlGetXmlNodeAttrAndValue]pNodeInfo is null",
                                        "1 [ConfXmlGetNodeName]node is nullptr!",
                                        "1 [ConfXmlGetXmlNodeAttrAndValue]ConfXmlGetNodeText fail!",
                                        "1 [ConfXmlGetXmlNodeAttrAndValue]strcpy_s fail!",
                                        "1 [ConfXmlGetXmlNodeAttrAndValue]ConfXmlGetXmlNodeAttr fail!"));
    void* found = &info;
    EXPECT_EQ(ConfXmlFindMatchNode(value, value, ConfXmlCompareNode, &found), 1U);
    EXPECT_EQ(found, &info);
    EXPECT_EQ(ConfXmlFindMatchNode(value, document.get(), nullptr, &found), 1U);
    EXPECT_EQ(ConfXmlFindMatchNode(value, document.get(), ConfXmlCompareNode, nullptr), 1U);
    EXPECT_EQ(ConfXmlFindMatchNode(value, document.get(), ConfXmlCompareNode, &found), 0U);
    EXPECT_EQ(found, value);
    EXPECT_EQ(ConfXmlFindMatchNode(nullptr, document.get(), ConfXmlCompareNode, &found), 1U);
    EXPECT_EQ(ConfXmlFindMatchNode(value, nullptr, ConfXmlCompareNode, &found), 1U);
    EXPECT_EQ(ConfXmlMatchNode(nullptr, value, ConfXmlCompareNode), 1U);
    EXPECT_EQ(ConfXmlMatchNode(value, nullptr, ConfXmlCompareNode), 1U);
    EXPECT_EQ(ConfXmlMatchNode(value, value, nullptr), 1U);
    EXPECT_EQ(ConfXmlMatchNode(value, value, ConfXmlCompareNode), 0U);

    uint8_t type = 77;
    EXPECT_EQ(ConfXmlAttrTypeStrToEnum("uint8", &type), 1U);
    EXPECT_EQ(ConfXmlAttrTypeStrToEnum(nullptr, &type), 1U);
    EXPECT_EQ(ConfXmlAttrTypeStrToEnum("CHAR", nullptr), 1U);
    EXPECT_EQ(type, 77);
    EXPECT_EQ(ConfXmlIsNumericStr("0123"), 1U);
    for (const char* text : {"", "-1", "1 ", static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(ConfXmlIsNumericStr(text), 0U);
    }
    tagCONF_XML_VALUE held = {};
    char byte = 'x';
    EXPECT_EQ(ConfXmlGetValue(value, 7, &held), 1U);
    EXPECT_EQ(held.type, 7);
    EXPECT_EQ(ConfXmlGetValue(value, 0, nullptr), 1U);
    tagCONF_XML_VALUE missing = {};
    EXPECT_EQ(ConfXmlGetValue(nullptr, 0, &missing), 0U);
    EXPECT_EQ(missing.value.number, 0U);
    takeLogs();
    EXPECT_EQ(ConfXmlSetXmlNodeValue(value, nullptr), 1U);
    EXPECT_EQ(ConfXmlSetXmlNodeValue(value, &held), 2U);
    held = {};
    EXPECT_EQ(ConfXmlSetXmlNodeValue(nullptr, &held), 15U);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlSetXmlNodeValue]ConfXmlSetNodeText fail, ret = 2!",
                                        "1 [ConfXmlSetXmlNodeValue]ConfXmlSetNodeText fail, ret = 15!"));
    EXPECT_EQ(ConfXmlCopyIndexValueToXmlNode(&info, &byte, &held), 1U) << "no type";
    other.type = CONF_XML_ATTR_UINT8;
    EXPECT_EQ(ConfXmlCopyIndexValueToXmlNode(nullptr, &byte, &held), 1U);
    EXPECT_EQ(ConfXmlCopyIndexValueToXmlNode(&other, nullptr, &held), 1U);
    EXPECT_EQ(ConfXmlCopyIndexValueToXmlNode(&other, &byte, nullptr), 1U);
    EXPECT_EQ(ConfXmlCopyXmlNodeValueToIndex(&held, &info, &byte), 1U);
    EXPECT_EQ(ConfXmlCopyXmlNodeValueToIndex(nullptr, &info, &byte), 1U);
    EXPECT_EQ(ConfXmlCopyXmlNodeValueToIndex(&held, nullptr, &byte), 1U);
    EXPECT_EQ(ConfXmlCopyXmlNodeValueToIndex(&held, &other, nullptr), 1U);
    EXPECT_EQ(byte, 'x');
    TransXMLContext context = {};
    EXPECT_EQ(ConfXmlLoadCallBack(nullptr, &context), 1U);
    EXPECT_EQ(ConfXmlLoadCallBack(&info, nullptr), 1U);
    EXPECT_EQ(ConfXmlWriteCallBack(nullptr, &context), 1U);
    EXPECT_EQ(ConfXmlWriteCallBack(&info, nullptr), 1U);
    EXPECT_EQ(ConfXmlTraverseXmlTree(nullptr, &context, ConfXmlLoadCallBack), 1U);
    EXPECT_EQ(ConfXmlTraverseXmlTree(document.get(), nullptr, ConfXmlLoadCallBack), 1U);
    EXPECT_EQ(ConfXmlTraverseXmlTree(document.get(), &context, nullptr), 1U);
    info.node = value;
    EXPECT_EQ(ConfXmlWriteCallBack(&info, &context), 1U);
    EXPECT_EQ(ConfXmlCloneSelfAsLastChildNode(nullptr, &info), nullptr);
    EXPECT_EQ(ConfXmlCloneSelfAsLastChildNode(value, nullptr), nullptr);
    EXPECT_THAT(takeLogs(), ElementsAre("1 [ConfXmlTraverseXmlTree]hAddrTable or TransXMLContext or pCallback is null",
                                        "1 [ConfXmlTraverseXmlTree]hAddrTable or TransXMLContext or pCallback is null",
                                        "1 [ConfXmlTraverseXmlTree]hAddrTable or TransXMLContext or pCallback is null",
                                        "1 [ConfXmlFreeRootNode]parentNode is nullptr!"));
}

} // namespace
