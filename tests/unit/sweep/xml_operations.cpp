// XML nodes, encoding, typed trees and parameters.
#include <tinyxml2.h>

#include <cstring>
#include <filesystem>
#include <memory>

#include "failing_heap.h"
#include "scripted_file.h"
#include "scripted_platform.h"
#include "sweep.h"
#include "tarn_conference/conf_log.h"
#include "tarn_conference/conf_xml.h"
#include "tarn_conference/conf_xml_encode.h"
#include "tarn_conference/conf_xml_param.h"
#include "tarn_conference/conf_xml_tree.h"

// In place of the C library's, so that no command runs.
extern "C" __attribute__((visibility("default"))) int system(const char*) {
    return 0;
}

namespace tarn::test {

namespace {

constexpr uint64_t kBad = CONF_XML_BAD_ARGUMENT;
constexpr const char* kName = "a name that does not fit into a string";
// Nested so deep that it cannot be printed without a block for the depth.
constexpr const char* kBody =
    "<r k='v'><a>72,20320</a><b type='CHAR' CharLen='9' InstID='2'>x</b>"
    "<n><n><n><n><n><n><n><n><n><n><n><n/></n></n></n></n></n></n></n></n></n></n></n></r>";
constexpr const char* kTable =
    "<cfg name='Root'><cfg name='group' NumOfInst='1'/><val name='v' type='CHAR' "
    "CharLen='9'>%p</val><val name='w' type='UINT16'>%p</val></cfg>";

void* root = nullptr;           // of the document that an operation works on
void* made = nullptr;           // of a document that it makes
tagCONF_XML_NODE_INFO madeInfo; // of the root of `made`
char variable[16];
uint16_t number;

ConfXmlAttrItem attributes[2] = {{"k", "v"}, {kName, kName}};
ConfXmlNodeSet children[2] = {{"A", kName, 1, attributes}, {kName, nullptr, 0, nullptr}};
ConfXmlNodeSet rootSet = {kName, kName, 2, attributes};
const ConfXmlEncodeTree tree = {&rootSet, children, 2};

std::string path(const char* name) {
    return scratch() / name;
}

void* indexTable(uint32_t) {
    static char body[256];
    std::snprintf(body, sizeof body, kTable, static_cast<void*>(variable), static_cast<void*>(&number));
    return ConfXmlParseBodyGetRoot(body);
}

const std::string& longName() {
    static const std::string name(1200, 'n');
    return name;
}

std::string printed(void* node) {
    const char* const text = node == nullptr ? nullptr : ConfXmlTransformStr(ConfXmlGetRootNode(node));
    return text == nullptr ? "" : text;
}

void setVariables(const char* text, uint16_t value) {
    std::memset(variable, 0, sizeof variable);
    std::strcpy(variable, text);
    number = value;
}

// Whether a document was made; the last one is released.
uint64_t makes(void* document) {
    if (made != nullptr) {
        ConfXmlFreeRootNode(made);
    }
    made = document;
    return document != nullptr;
}

bool told(const char* text) {
    const std::vector<std::string> logs = ScriptedPlatform::get().logTexts();
    return !logs.empty() && logs.back().ends_with(text);
}

ConfXmlParamNote note(const char* url, void* value, bool isString, bool isCodes) {
    ConfXmlParamNote wanted = {};
    std::strcpy(wanted.url, url);
    wanted.pValue = value;
    wanted.strSize = 16;
    wanted.isString = isString ? 1 : 0;
    wanted.isAsciiCode = isCodes ? 1 : 0;
    return wanted;
}

// An operation that answers whether it made something.
Operation making(const char* name, std::function<uint64_t()> run, std::vector<std::string> tells = {},
                 const char* partial = nullptr) {
    return op(name, std::move(run), {1, 0}, partial, std::move(tells));
}

// The block stays where this call fails.
Operation keepingBlock(Operation operation, const char* call) {
    operation.keeps = {{call, 1}};
    return operation;
}

std::vector<Operation> nodeOperations() {
    const auto last = [] { return ConfXmlGetNodeNextSibling(ConfXmlGetNodeFirstChild(root)); };
    return {
        making("ConfXmlCreateRootNode", [] { return makes(ConfXmlCreateRootNode(kName)); }),
        making("ConfXmlParseBodyGetRoot", [] { return makes(ConfXmlParseBodyGetRoot(kBody)); }, {"Parse doc failed"}),
        op("ConfXmlParseFileGetRoot",
           [] {
               writeFile(path("file"), kBody);
               const uint64_t parsed = makes(ConfXmlParseFileGetRoot(path("file").c_str()));
               scriptedFiles().closeStreams();
               return parsed;
           },
           {1, 0}, nullptr, {"LoadFile failed", "fp is null"}),
        making("ConfXmlCreateFirstChildNode", [] { return ConfXmlCreateFirstChildNode(root, kName) != nullptr; }),
        making("ConfXmlCreateLastChildNode", [] { return ConfXmlCreateLastChildNode(root, kName) != nullptr; }),
        op("ConfXmlAddAttr", [] { return ConfXmlAddAttr(root, kName, CONF_XML_STRING, kName); }, {0, kBad}),
        op("ConfXmlAddAttr/long",
           [] {
               makes(ConfXmlCreateRootNode(kName)); // its first attribute
               return ConfXmlAddAttr(made, longName().c_str(), CONF_XML_STRING, kName);
           },
           {0, kBad}),
        op(
            "ConfXmlAddAttr/replacing", [] { return ConfXmlAddAttr(root, "k", CONF_XML_STRING, kName); }, {0, kBad},
            "the old value is gone by then"),
        op("ConfXmlSetNodeText", [] { return ConfXmlSetNodeText(root, CONF_XML_STRING, kName); }, {0, kBad}),
        op(
            "ConfXmlSetNodeText/replacing", [=] { return ConfXmlSetNodeText(last(), CONF_XML_STRING, kName); },
            {0, kBad}, "the old text is gone by then"),
        making("ConfXmlTransformStr", [] { return ConfXmlTransformStr(root) != nullptr; }),
        op("ConfXmlTransformFile", [] { return ConfXmlTransformFile(root, path("out").c_str()); }, {0, kBad}),
    };
}

std::vector<Operation> encodingOperations() {
    constexpr const char* kAdded = "what was added before stays";
    const auto encodes = [](const char* name, auto call, std::vector<std::string> tells = {}) {
        tells.insert(tells.end(), {"Null ptr.", "ConfXmlAdptAddChildNodes fail, ret = 15!", "tempXmlBuf is nullptr!",
                                   "xmlBuf is nullptr!", "memcpy_s fail, ret:400"});
        const auto encode = [=] { return (outputs().block = call()) != nullptr; };
        return keepingBlock(making(name, encode, std::move(tells)), "memcpy_s");
    };
    static const ConfXmlEncodeReq request = {kName, children, 2};
    return {
        op("ConfXmlAdptAddNodeAttrs", [] { return ConfXmlAdptAddNodeAttrs(root, attributes, 2); }, {0, kBad}, kAdded,
           {"ConfXmlAddAttr fail, ret = 15!"}),
        op("ConfXmlAdptAddChildNodes", [] { return ConfXmlAdptAddChildNodes(root, children, 2); }, {0, kBad}, kAdded,
           {"tempNode is nullptr!", "ConfXmlSetNodeText fail, ret = 15!", "ConfXmlAdptAddNodeAttrs fail, ret = 15!"}),
        op("ConfXmlCreateRootNodeByNodeSet", [] { return makes(ConfXmlCreateRootNodeByNodeSet(tree)); },
           {1, 1, {{kMemory, kEither}}}, "only the element itself is a must",
           {"ConfXmlCreateRootNode failed!", "[ConfXmlSetAttrByNodeSet]add attr failed!"}),
        op("ConfXmlCreateChildNodeByNodeSet", [] { return ConfXmlCreateChildNodeByNodeSet(root, tree) != nullptr; },
           {1, 1, {{kMemory, kEither}}}, "only the element itself is a must", {"ConfXmlCreateRootNode failed!"}),
        encodes("ConfXmlAdptEncode", [] { return ConfXmlAdptEncode(&request); }),
        encodes("ConfXmlAdptEncodeWithRootAttr", [] { return ConfXmlAdptEncodeWithRootAttr(&tree); },
                {"ConfXmlSetNodeText fail, ret = 15!", "ConfXmlAdptAddNodeAttrs fail, ret = 15!"}),
        keepingBlock(op("ConfXmlDumpWithHeader",
                        [] {
                            char* text = nullptr;
                            const uint32_t result = ConfXmlDumpWithHeader("<a/>", &text);
                            outputs().block = text;
                            return result;
                        },
                        {0, kBad, {{"sprintf_s", CONF_XML_FORMAT_FAILED}}}, nullptr,
                        {"tempBody is nullptr!", "sprintf_s fail, err = -1!"}),
                     "sprintf_s"),
    };
}

std::vector<Operation> buildingOperations() {
    constexpr const char* kHalf = "the half-made element stays";
    static const char* const nameAndType[2] = {kName, "CHAR"};
    static const ValueSpec spec = {CONF_XML_ATTR_CHAR, kName, 20};
    return {
        making("ConfXmlAddSingleStructNode", [] { return makes(ConfXmlAddSingleStructNode(nullptr, kName)); },
               {"Create child node fail", "ConfXmlAddAttr fail, ret = 15!"}),
        making(
            "ConfXmlAddSingleStructNode/child", [] { return ConfXmlAddSingleStructNode(root, kName) != nullptr; }, {},
            kHalf),
        making(
            "ConfXmlAddMultiInstanceNode", [] { return ConfXmlAddMultiInstanceNode(root, kName, 2) != nullptr; },
            {"[ConfXmlAddMultiInstanceNode]ConfXmlCreateLastChildNode fail",
             "[ConfXmlAddMultiInstanceNode]ConfXmlAddAttr fail, ret = 15!"},
            kHalf),
        making(
            "ConfXmlAddMultiStructNode",
            [] {
                void* const node = ConfXmlAddMultiStructNode(root, kName, 2);
                if (node == nullptr && told("ConfXmlCreateLastChildNode is nullptr!")) {
                    root = nullptr;
                }
                return node != nullptr;
            },
            {"[ConfXmlAddMultiStructNode]ConfXmlCreateLastChildNode is nullptr!",
             "[ConfXmlAddMultiStructNode]ConfXmlAddAttr, ret = 15!"},
            "an instance that cannot be made takes its document with it"),
        making(
            "ConfXmlAddSingleValueNode", [] { return ConfXmlAddSingleValueNode(root, nameAndType, &spec) != nullptr; },
            {"[ConfXmlAddSingleValueNode]ConfXmlCreateLastChildNode fail",
             "[ConfXmlAddSingleValueNode]ConfXmlSetNodeText fail, ret = 15!",
             "[ConfXmlAddSingleValueNode]ConfXmlAddAttr fail, ret = 15!"},
            kHalf),
        making(
            "_Z31ConfXmlCloneSelfAsLastChildNodePvP21tagCONF_XML_NODE_INFO",
            [=] {
                void* const copy = ConfXmlCloneSelfAsLastChildNode(root, &madeInfo);
                if (copy == nullptr && !told("ConfXmlCreateLastChildNode fail!")) {
                    root = nullptr;
                }
                return copy != nullptr;
            },
            {"[ConfXmlCloneSelfAsLastChildNode]ConfXmlCreateLastChildNode fail!",
             "[ConfXmlCloneSelfAsLastChildNode]ConfXmlAddAttr name fail!",
             "[ConfXmlCloneSelfAsLastChildNode]ConfXmlAddAttr type fail"},
            "an attribute that cannot be copied takes the document with it"),
    };
}

std::vector<Operation> pieceOperations() {
    return {
        op("ConfXmlGetXmlNodeAttrAndValue",
           [] {
               return ConfXmlGetXmlNodeAttrAndValue(made, reinterpret_cast<tagCONF_XML_NODE_INFO*>(outputs().text()));
           },
           {}, "the description is filled field by field", {"strcpy_s fail!", "ConfXmlGetXmlNodeAttr fail!"}),
        op("ConfXmlCopyXmlNodeValueToIndex",
           [] {
               const tagCONF_XML_VALUE value = {CONF_XML_ATTR_CHAR, {.text = "new"}};
               tagCONF_XML_NODE_INFO info = {};
               info.type = CONF_XML_ATTR_CHAR;
               info.charLen = 9;
               return ConfXmlCopyXmlNodeValueToIndex(&value, &info, variable);
           }),
        op("ConfXmlSetXmlNodeValue",
           [] {
               const tagCONF_XML_VALUE value = {CONF_XML_ATTR_CHAR, {.text = kName}};
               return ConfXmlSetXmlNodeValue(root, &value);
           },
           {0, kBad}, nullptr, {"ConfXmlSetNodeText fail, ret = 15!"}),
    };
}

// The variables hold what was saved, or zero, never anything else.
bool variablesAreSound() {
    return (variable[0] == '\0' || std::strcmp(variable, "saved") == 0) && (number == 0 || number == 7);
}

Subject files() {
    Subject subject;
    subject.prepare = [] {
        setVariables("saved", 7);
        ConfXmlSave(indexTable, path("tree").c_str(), path("bak").c_str());
        std::filesystem::remove(path("new"));
    };
    subject.state = [] { return variable + std::to_string(number); };
    subject.finish = [] { scriptedFiles().closeStreams(); };
    subject.isSound = variablesAreSound;
    subject.heap = kOperatorNew;
    subject.losesHeapBy = {"OsFopen"};
    subject.operations = {
        op("ConfXmlLoad",
           [] {
               setVariables("", 0);
               return ConfXmlLoad(indexTable, path("tree").c_str(), path("bak").c_str());
           },
           {0, 1, {{kEveryCall, kEither}, {"OsFopen", 0}, {"memset_s", 0}}}, "each value is loaded by itself",
           {"[ConfXmlLoadCallBack]ConfXmlGetXmlNodeAttrAndValue fail",
            "[ConfXmlLoadCallBack]ConfXmlCopyXmlNodeValueToIndex fail", "Traverse XML tree fail",
            "Create call index table fail", "conf secure func failed, err = 400!\n"}),
        op("ConfXmlSave", [] { return ConfXmlSave(indexTable, path("tree").c_str(), path("bak").c_str()); },
           {0, 1, {{"memset_s", 0}, {"OsCopyFile", 0}, {"strcpy_s", kEither}, {kMemory, kEither}}}, nullptr,
           {"Create XML tree fail", "Create call index table fail", "Traverse XML tree fail",
            "conf secure func failed, err = 400!\n"}),
        op("ConfXmlBakFile",
           [] {
               ConfXmlBakFile(path("tree").c_str(), path("new").c_str());
               return std::filesystem::exists(path("new"));
           },
           {1, 0}, nullptr, {"OsCopyFile fail, ret:5"}),
    };
    return subject;
}

std::vector<Operation> paramOperations() {
    const auto reads = [](const char* name, ConfXmlParamNote (*wanted)(), std::map<std::string, uint64_t> results,
                          std::vector<std::string> tells) {
        return op(
            name,
            [=] {
                ConfXmlParamNote asked = wanted();
                std::memset(outputs().text(), 0, 16);
                return ConfXmlParseSingleNote(root, &asked);
            },
            {0, 1, std::move(results)}, "a failed copy leaves what it left", std::move(tells));
    };
    return {
        reads("ConfXmlParseSingleNote", [] { return note("a", outputs().text(), true, true); }, {{kEveryCall, 0}},
              {"[ConfXmlGetStringFromAscii]pcUTF8Temp is null!",
               "[ConfXmlGetStringFromAscii]conf secure func failed, err = 400!\n",
               "[ConfXmlParaseStringParams]strcpy_s failed, err = 400."}),
        reads("ConfXmlParseSingleNote/number", [] { return note("b", &outputs().number, false, false); },
              {{"MOSS_StrToInt32", 0}}, {}),
    };
}

} // namespace

std::vector<Subject> xmlSubjects() {
    Subject documents;
    documents.prepare = [] {
        failHeapBlock(kOperatorNew, 0); // the document that an operation works on is counted, too
        SetLogLevel(CONF_LOG_DEBUG);
        root = ConfXmlParseBodyGetRoot(kBody);
        made = ConfXmlParseBodyGetRoot("<val name='n' type='CHAR' CharLen='9'>x</val>");
        madeInfo = {};
        ConfXmlGetXmlNodeAttrAndValue(made, &madeInfo);
        setVariables("old", 7);
    };
    documents.state = [] { return printed(root) + outputs().shown() + variable; };
    documents.finish = [] {
        for (void* const document : {root, made}) {
            if (document != nullptr) {
                ConfXmlFreeRootNode(document);
            }
        }
        root = made = nullptr;
        SetLogLevel(CONF_LOG_INFO);
    };
    documents.heap = kOperatorNew;
    documents.losesHeapBy = {"OsFopen"};
    for (const auto& operations :
         {nodeOperations(), encodingOperations(), buildingOperations(), pieceOperations(), paramOperations()}) {
        documents.operations.insert(documents.operations.end(), operations.begin(), operations.end());
    }
    return {documents, files()};
}

} // namespace tarn::test
