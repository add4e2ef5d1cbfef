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
constexpr const char* kBody = "<r k='v'><a>72,20320</a><b type='CHAR' CharLen='9' InstID='2'>x</b></r>";
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
    return {
        .name = name, .run = std::move(run), .success = 1, .failure = 0, .partial = partial, .tells = std::move(tells)};
}

std::vector<Operation> nodeOperations() {
    const auto last = [] { return ConfXmlGetNodeNextSibling(ConfXmlGetNodeFirstChild(root)); };
    return {
        making("ConfXmlCreateRootNode", [] { return makes(ConfXmlCreateRootNode(kName)); }),
        making("ConfXmlParseBodyGetRoot", [] { return makes(ConfXmlParseBodyGetRoot(kBody)); },
               {"[ConfXmlParseBodyGetRoot]Parse doc failed"}),
        {.name = "ConfXmlParseFileGetRoot",
         .run =
             [] {
                 writeFile(path("file"), kBody);
                 const uint64_t parsed = makes(ConfXmlParseFileGetRoot(path("file").c_str()));
                 scriptedFiles().closeStreams();
                 return parsed;
             },
         .success = 1,
         .failure = 0,
         .tells = {"[ConfXmlParseFileGetRoot]LoadFile failed", "[ConfXmlParseFileGetRoot]fp is null"},
         .losesHeapBy = {"OsFopen"}},
        making("ConfXmlCreateFirstChildNode", [] { return ConfXmlCreateFirstChildNode(root, kName) != nullptr; }),
        making("ConfXmlCreateLastChildNode", [] { return ConfXmlCreateLastChildNode(root, kName) != nullptr; }),
        {.name = "ConfXmlAddAttr",
         .run = [] { return ConfXmlAddAttr(root, kName, CONF_XML_STRING, kName); },
         .failure = kBad},
        {.name = "ConfXmlAddAttr/replacing",
         .run = [] { return ConfXmlAddAttr(root, "k", CONF_XML_STRING, kName); },
         .failure = kBad,
         .partial = "the old value is gone by then"},
        {.name = "ConfXmlSetNodeText",
         .run = [] { return ConfXmlSetNodeText(root, CONF_XML_STRING, kName); },
         .failure = kBad},
        {.name = "ConfXmlSetNodeText/replacing",
         .run = [=] { return ConfXmlSetNodeText(last(), CONF_XML_STRING, kName); },
         .failure = kBad,
         .partial = "the old text is gone by then"},
        making("ConfXmlTransformStr", [] { return ConfXmlTransformStr(root) != nullptr; }),
        making("_ZN15ConfXMLDocument10GetXmlBodyEv",
               [] {
                   auto* const document = static_cast<tinyxml2::XMLElement*>(root)->GetDocument();
                   return static_cast<ConfXMLDocument*>(document)->GetXmlBody() != nullptr;
               }),
        {.name = "ConfXmlTransformFile",
         .run = [] { return ConfXmlTransformFile(root, path("out").c_str()); },
         .failure = kBad},
    };
}

std::vector<Operation> encodingOperations() {
    constexpr const char* kAdded = "what was added before stays";
    const auto encodes = [](const char* name, auto call) {
        const std::string function = std::string("[") + name + "]";
        return Operation{.name = name,
                         .run = [=] { return (outputs().block = call()) != nullptr; },
                         .success = 1,
                         .failure = 0,
                         .tells = {function + "Null ptr.", function + "ConfXmlAdptAddChildNodes fail, ret = 15!",
                                   function + "tempXmlBuf is nullptr!", function + "xmlBuf is nullptr!",
                                   function + "memcpy_s fail, ret:400"},
                         .keeps = {{"memcpy_s", 1}}};
    };
    static const ConfXmlEncodeReq request = {kName, children, 2};
    return {
        {.name = "ConfXmlAdptAddNodeAttrs",
         .run = [] { return ConfXmlAdptAddNodeAttrs(root, attributes, 2); },
         .failure = kBad,
         .partial = kAdded,
         .tells = {"[ConfXmlAdptAddNodeAttrs]ConfXmlAddAttr fail, ret = 15!"}},
        {.name = "ConfXmlAdptAddChildNodes",
         .run = [] { return ConfXmlAdptAddChildNodes(root, children, 2); },
         .failure = kBad,
         .partial = kAdded,
         .tells = {"[ConfXmlAdptAddChildNodes]tempNode is nullptr!",
                   "[ConfXmlAdptAddChildNodes]ConfXmlSetNodeText fail, ret = 15!",
                   "[ConfXmlAdptAddChildNodes]ConfXmlAdptAddNodeAttrs fail, ret = 15!"}},
        {.name = "ConfXmlCreateRootNodeByNodeSet",
         .run = [] { return makes(ConfXmlCreateRootNodeByNodeSet(tree)); },
         .success = 1,
         .results = {{kMemory, kEither}},
         .partial = "only the element itself is a must",
         .tells = {"[ConfXmlCreateRootNodeByNodeSet]ConfXmlCreateRootNode failed!",
                   "[ConfXmlSetAttrByNodeSet]add attr failed!"}},
        {.name = "ConfXmlCreateChildNodeByNodeSet",
         .run = [] { return ConfXmlCreateChildNodeByNodeSet(root, tree) != nullptr; },
         .success = 1,
         .results = {{kMemory, kEither}},
         .partial = "only the element itself is a must",
         .tells = {"[ConfXmlCreateChildNodeByNodeSet]ConfXmlCreateRootNode failed!"}},
        encodes("ConfXmlAdptEncode", [] { return ConfXmlAdptEncode(&request); }),
        encodes("ConfXmlAdptEncodeWithRootAttr", [] { return ConfXmlAdptEncodeWithRootAttr(&tree); }),
        {.name = "ConfXmlDumpWithHeader",
         .run =
             [] {
                 char* text = nullptr;
                 const uint32_t result = ConfXmlDumpWithHeader("<a/>", &text);
                 outputs().block = text;
                 return result;
             },
         .failure = kBad,
         .results = {{"sprintf_s", CONF_XML_FORMAT_FAILED}},
         .tells = {"[ConfXmlDumpWithHeader]tempBody is nullptr!", "[ConfXmlDumpWithHeader]sprintf_s fail, err = -1!"},
         .keeps = {{"sprintf_s", 1}}},
    };
}

std::vector<Operation> treeOperations() {
    constexpr const char* kHalf = "the half-made element stays";
    static const char* const nameAndType[2] = {kName, "CHAR"};
    static const ValueSpec spec = {CONF_XML_ATTR_CHAR, kName, 20};
    const auto child = [] { return ConfXmlGetNodeNextSibling(ConfXmlGetNodeFirstChild(root)); };
    const auto parts = [](const char* name, std::function<uint64_t()> run, std::vector<std::string> tells = {}) {
        return Operation{.name = name,
                         .run = std::move(run),
                         .partial = "the description is filled field by field",
                         .tells = std::move(tells)};
    };
    return {
        making("ConfXmlAddSingleStructNode", [] { return makes(ConfXmlAddSingleStructNode(nullptr, kName)); },
               {"[ConfXmlAddSingleStructNode]Create child node fail",
                "[ConfXmlAddSingleStructNode]ConfXmlAddAttr fail, ret = 15!"}),
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
        parts("ConfXmlGetXmlNodeAttr",
              [=] { return ConfXmlGetXmlNodeAttr(made, reinterpret_cast<tagCONF_XML_NODE_INFO*>(outputs().text())); }),
        parts("ConfXmlGetXmlNodeAttrAndValue",
              [=] {
                  return ConfXmlGetXmlNodeAttrAndValue(made,
                                                       reinterpret_cast<tagCONF_XML_NODE_INFO*>(outputs().text()));
              },
              {"[ConfXmlGetXmlNodeAttrAndValue]strcpy_s fail!",
               "[ConfXmlGetXmlNodeAttrAndValue]ConfXmlGetXmlNodeAttr fail!"}),
        {.name = "ConfXmlMatchNode", .run = [] { return ConfXmlMatchNode(made, made, ConfXmlCompareNode); }},
        {.name = "ConfXmlFindMatchNode",
         .run =
             [=] {
                 void* found = nullptr;
                 const uint32_t result = ConfXmlFindMatchNode(child(), root, ConfXmlCompareNode, &found);
                 return result == (found == nullptr ? 1U : 0U) ? result : 99;
             }},
        {.name = "ConfXmlCopyXmlNodeValueToIndex",
         .run =
             [] {
                 const tagCONF_XML_VALUE value = {CONF_XML_ATTR_CHAR, {.text = "new"}};
                 tagCONF_XML_NODE_INFO info = {};
                 info.type = CONF_XML_ATTR_CHAR;
                 info.charLen = 9;
                 return ConfXmlCopyXmlNodeValueToIndex(&value, &info, variable);
             }},
        {.name = "ConfXmlSetXmlNodeValue",
         .run =
             [] {
                 const tagCONF_XML_VALUE value = {CONF_XML_ATTR_CHAR, {.text = kName}};
                 return ConfXmlSetXmlNodeValue(root, &value);
             },
         .failure = kBad,
         .tells = {"[ConfXmlSetXmlNodeValue]ConfXmlSetNodeText fail, ret = 15!"}},
        {.name = "ConfXmlTraverseXmlTree",
         .run =
             [] {
                 const TransXMLContext context = {};
                 return ConfXmlTraverseXmlTree(root, &context, [](tagCONF_XML_NODE_INFO*, TransXMLContext*) {
                     ++outputs().number;
                     return 0U;
                 });
             },
         .results = {{"strcpy_s", kEither}},
         .partial = "an element that fails takes what is below it out of the walk",
         .tells = {"[ConfXmlTraverseXmlTree]ConfXmlGetXmlNodeAttrAndValue fail"}},
    };
}

// The variables hold what was saved, or zero, never anything else.
bool variablesAreSound() {
    return (variable[0] == '\0' || std::strcmp(variable, "saved") == 0) && (number == 0 || number == 7);
}

Subject files() {
    Subject subject = {.prepare =
                           [] {
                               setVariables("saved", 7);
                               ConfXmlSave(indexTable, path("tree").c_str(), path("bak").c_str());
                               std::filesystem::remove(path("new"));
                           },
                       .state = [] { return variable + std::to_string(number); },
                       .finish = [] { scriptedFiles().closeStreams(); },
                       .isSound = variablesAreSound,
                       .heap = kOperatorNew,
                       .losesMemory = true};
    const auto callback = [](const char* name, auto call, std::vector<std::string> tells = {}) {
        return Operation{.name = name,
                         .run =
                             [=] {
                                 void* const table = indexTable(0);
                                 void* const other = call == ConfXmlLoadCallBack
                                                         ? ConfXmlParseFileGetRoot(path("tree").c_str())
                                                         : ConfXmlAddSingleStructNode(nullptr, "Root");
                                 tagCONF_XML_NODE_INFO info = {};
                                 info.node = table;
                                 std::strcpy(info.nodeName, "cfg");
                                 TransXMLContext context = {other, nullptr};
                                 const uint32_t result = call(&info, &context);
                                 if (table != nullptr) {
                                     ConfXmlFreeRootNode(table);
                                 }
                                 if (other != nullptr) {
                                     ConfXmlFreeRootNode(other);
                                 }
                                 return uint64_t{result};
                             },
                         .results = {{kEveryCall, kEither}},
                         .partial = "it is the walk's",
                         .tells = std::move(tells),
                         .losesHeapBy = {"OsFopen"}};
    };
    subject.operations = {
        {.name = "ConfXmlLoad",
         .run =
             [] {
                 setVariables("", 0);
                 return ConfXmlLoad(indexTable, path("tree").c_str(), path("bak").c_str());
             },
         .results = {{kEveryCall, kEither}, {"OsFopen", 0}, {"memset_s", 0}},
         .partial = "each value is loaded by itself",
         .tells = {"[ConfXmlLoadCallBack]ConfXmlGetXmlNodeAttrAndValue fail",
                   "[ConfXmlLoadCallBack]ConfXmlCopyXmlNodeValueToIndex fail", "[ConfXmlLoad]Traverse XML tree fail",
                   "[ConfXmlLoad]Create call index table fail", "[ConfXmlLoad]conf secure func failed, err = 400!\n"},
         .losesHeapBy = {"OsFopen"}},
        {.name = "ConfXmlSave",
         .run = [] { return ConfXmlSave(indexTable, path("tree").c_str(), path("bak").c_str()); },
         .results = {{"memset_s", 0}, {"OsCopyFile", 0}, {"strcpy_s", kEither}, {kMemory, kEither}},
         .tells = {"[ConfXmlSave]Create XML tree fail", "[ConfXmlSave]Create call index table fail",
                   "[ConfXmlSave]Traverse XML tree fail", "[ConfXmlSave]conf secure func failed, err = 400!\n"}},
        {.name = "ConfXmlBakFile",
         .run =
             [] {
                 ConfXmlBakFile(path("tree").c_str(), path("new").c_str());
                 return std::filesystem::exists(path("new"));
             },
         .success = 1,
         .failure = 0,
         .tells = {"[ConfXmlBakFile]OsCopyFile fail, ret:5"}},
        callback("ConfXmlLoadCallBack", ConfXmlLoadCallBack),
        callback("ConfXmlWriteCallBack", ConfXmlWriteCallBack),
    };
    return subject;
}

std::vector<Operation> paramOperations() {
    const auto reads = [](const char* name, ConfXmlParamNote (*wanted)(), std::map<std::string, uint64_t> results,
                          std::vector<std::string> tells) {
        return Operation{.name = name,
                         .run =
                             [=] {
                                 ConfXmlParamNote asked = wanted();
                                 std::memset(outputs().text(), 0, 16);
                                 return ConfXmlParseSingleNote(root, &asked);
                             },
                         .results = std::move(results),
                         .partial = "a failed copy leaves what it left",
                         .tells = std::move(tells)};
    };
    return {
        reads("ConfXmlParseSingleNote", [] { return note("a", outputs().text(), true, true); }, {{kEveryCall, 0}},
              {"[ConfXmlGetStringFromAscii]pcUTF8Temp is null!",
               "[ConfXmlGetStringFromAscii]conf secure func failed, err = 400!\n"}),
        reads("ConfXmlParseSingleNote/number", [] { return note("b", &outputs().number, false, false); },
              {{"MOSS_StrToInt32", 0}}, {}),
        {.name = "ConfXmlParaseStringParams",
         .run = [] { return ConfXmlParaseStringParams("a", root, outputs().text(), 16, true); },
         .results = {{"strcpy_s", 0}},
         .partial = "a failed copy leaves what it left",
         .tells = {"[ConfXmlParaseStringParams]strcpy_s failed, err = 400."}},
        {.name = "ConfXmlParaseIntParams",
         .run =
             [] {
                 uint32_t value = 0;
                 return ConfXmlParaseIntParams("b", root, &value, false);
             },
         .results = {{"MOSS_StrToInt32", 0}}},
        {.name = "ConfXmlGetStringFromAscii",
         .run = [] { return ConfXmlGetStringFromAscii("72,20320", outputs().text(), 16); },
         .results = {{"memcpy_s", 0}},
         .partial = "what was decoded before stays"},
    };
}

} // namespace

std::vector<Subject> xmlSubjects() {
    Subject documents = {.prepare =
                             [] {
                                 SetLogLevel(CONF_LOG_DEBUG);
                                 root = ConfXmlParseBodyGetRoot(kBody);
                                 made = ConfXmlParseBodyGetRoot("<val name='n' type='CHAR' CharLen='9'>x</val>");
                                 madeInfo = {};
                                 ConfXmlGetXmlNodeAttrAndValue(made, &madeInfo);
                                 setVariables("old", 7);
                             },
                         .state = [] { return printed(root) + outputs().shown() + variable; },
                         .finish =
                             [] {
                                 for (void* const document : {root, made}) {
                                     if (document != nullptr) {
                                         ConfXmlFreeRootNode(document);
                                     }
                                 }
                                 root = made = nullptr;
                                 SetLogLevel(CONF_LOG_INFO);
                             },
                         .heap = kOperatorNew,
                         .losesMemory = true};
    for (const auto& operations : {nodeOperations(), encodingOperations(), treeOperations(), paramOperations()}) {
        documents.operations.insert(documents.operations.end(), operations.begin(), operations.end());
    }
    return {documents, files()};
}

} // namespace tarn::test
