// XML bodies: a path on the first line, then the body. It is walked, asked by the path, printed and read again, and its
// elements are encoded as a flat description.
#include <algorithm>
#include <cstring>
#include <memory>

#include "input.h"
#include "scripted_run.h"
#include "tarn_conference/conf_xml_encode.h"
#include "tarn_conference/conf_xml_param.h"
#include "tarn_platform/os_memory.h"
#include "xml/document_owner.h"
#include "xml/xml_element.h"

namespace {

using tarn::detail::DocumentOwner;
using tarn::fuzz::Text;

struct FreeBlock {
    void operator()(char* block) const { OSMemTypeFreeMon(block, 0, 0, __LINE__, "fuzz"); }
};
using Block = std::unique_ptr<char, FreeBlock>;

size_t countElements(void* node) {
    size_t count = 1;
    size_t children = 0;
    for (void* child = ConfXmlGetNodeFirstChild(node); child != nullptr; child = ConfXmlGetNodeNextSibling(child)) {
        FUZZ_CHECK(ConfXmlGetNodeParenet(child) == node);
        count += countElements(child);
        ++children;
    }
    FUZZ_CHECK(ConfXmlGetNodeChildNum(node) == children);
    return count;
}

// The iterator comes by every element of the document, in the order of the walk by children.
void walk(void* root) {
    FUZZ_CHECK(ConfXmlIsRootNode(root) && ConfXmlGetRootNode(root) == root);
    size_t counted = 0;
    for (void* top = root; top != nullptr; top = ConfXmlGetNodeNextSibling(top)) {
        counted += countElements(top);
    }
    size_t visited = 0;
    for (void* node = root; node != nullptr; node = ConfXmlGetNodeIterator(node)) {
        FUZZ_CHECK(ConfXmlGetRootNode(node) == root && ConfXmlGetNodeName(node) != nullptr);
        ++visited;
    }
    FUZZ_CHECK(visited == counted);
}

// Going down by first children is what a path of their names does, as long as no name is its parent's.
void followFirstChildren(void* root) {
    std::string path;
    std::string above = ConfXmlGetNodeName(root);
    for (void* node = ConfXmlGetNodeFirstChild(root); node != nullptr; node = ConfXmlGetNodeFirstChild(node)) {
        const std::string name = ConfXmlGetNodeName(node);
        if (name == above) {
            return;
        }
        path += (path.empty() ? "" : " ") + name;
        FUZZ_CHECK(ConfXmlGetNodeByPath(root, path.c_str()) == node);
        above = name;
    }
}

void askByPath(void* root, const char* path) {
    void* const node = ConfXmlGetNodeByPath(root, path);
    const char* const text = ConfXmlAdptGetNodeValueByUrl(root, path);
    FUZZ_CHECK(text == (node == nullptr ? nullptr : ConfXmlGetNodeText(node)));
    const char* const attribute = ConfXmlAdptGetNodeAttrByUrl(root, path, "name");
    FUZZ_CHECK(attribute == (node == nullptr ? nullptr : ConfXmlGetNodeStrAttr(node, "name")));

    constexpr uint32_t kBytes = 16;
    const std::unique_ptr<char[]> store(new char[kBytes]);
    store[0] = 'x';
    const bool fits = text != nullptr && std::strlen(text) < kBytes;
    FUZZ_CHECK((ConfXmlParaseStringParams(path, root, store.get(), kBytes, true) == 0) == fits);
    FUZZ_CHECK(fits ? std::strcmp(store.get(), text) == 0 : store[0] == 'x');
    uint32_t number = 0;
    FUZZ_CHECK((ConfXmlParaseIntParams(path, root, &number, true) == 0) == (text != nullptr));
    if (node != nullptr) {
        ConfXmlGetNodeIntText(node);
        ConfXmlGetNodeIntAttr(node, "id");
        ConfXmlGetNodeUintAttr(node, "id");
    }
}

// tinyxml2 lets a text behind the root pass when an end tag without a beginning follows, which ends the reading;
// printed without that tag such a document is not well-formed.
bool endsInText(void* root) {
    return tarn::detail::elementOf(root)->GetDocument()->LastChild()->ToText() != nullptr;
}

std::string reprint(const std::string& body) {
    const DocumentOwner root(ConfXmlParseBodyGetRoot(body.c_str()));
    FUZZ_CHECK(root != nullptr);
    return ConfXmlTransformStr(root.get());
}

// The first reading of a print may lose what XML cannot hold (carriage returns, texts of blanks), the second nothing.
void printAndRead(void* root) {
    const std::string once = ConfXmlTransformStr(root);
    if (!endsInText(root)) {
        const std::string twice = reprint(once);
        FUZZ_CHECK(reprint(twice) == twice);
    }

    char* withHeader = nullptr;
    FUZZ_CHECK(ConfXmlDumpWithHeader(once.c_str(), &withHeader) == CONF_XML_OK);
    const Block owned(withHeader);
    FUZZ_CHECK(std::strcmp(withHeader + 40, once.c_str()) == 0);
}

// Describes the children of the root by their names, texts and "name" attributes, and reads the description's body.
void encode(void* root) {
    std::vector<ConfXmlAttrItem> attributes;
    std::vector<ConfXmlNodeSet> sets;
    attributes.reserve(20);
    for (void* node = ConfXmlGetNodeFirstChild(root); node != nullptr && sets.size() < 20;
         node = ConfXmlGetNodeNextSibling(node)) {
        const char* const name = ConfXmlGetNodeStrAttr(node, "name");
        attributes.push_back({"name", name});
        sets.push_back(
            {ConfXmlGetNodeName(node), ConfXmlGetNodeText(node), name == nullptr ? 0U : 1U, &attributes.back()});
    }
    ConfXmlNodeSet rootSet = {ConfXmlGetNodeName(root), nullptr, 0, nullptr};
    const auto count = static_cast<uint32_t>(sets.size());
    const ConfXmlEncodeTree tree = {&rootSet, sets.empty() ? &rootSet : sets.data(), count};
    const ConfXmlEncodeReq request = {rootSet.name, tree.childNodes, count};
    const Block body(ConfXmlAdptEncode(&request));
    const Block bodyOfTree(ConfXmlAdptEncodeWithRootAttr(&tree));
    FUZZ_CHECK(body != nullptr && std::strcmp(body.get(), bodyOfTree.get()) == 0);

    const DocumentOwner read(ConfXmlParseBodyGetRoot(body.get()));
    FUZZ_CHECK(read != nullptr && ConfXmlGetNodeChildNum(read.get()) == count);
    void* node = ConfXmlGetNodeFirstChild(read.get());
    for (const ConfXmlNodeSet& set : sets) {
        FUZZ_CHECK(std::strcmp(ConfXmlGetNodeName(node), set.name) == 0);
        FUZZ_CHECK((ConfXmlGetNodeStrAttr(node, "name") != nullptr) == (set.attrNum != 0));
        node = ConfXmlGetNodeNextSibling(node);
    }
}

void fuzzXmlBody(std::span<const uint8_t> bytes) {
    const tarn::fuzz::ScriptedRun run;
    tarn::fuzz::Input input(bytes);
    const Text path(input.line());
    const Text body(tarn::fuzz::asText(input.rest()));
    const DocumentOwner root(ConfXmlParseBodyGetRoot(body.get()));
    if (root == nullptr) {
        return;
    }
    walk(root.get());
    followFirstChildren(root.get());
    askByPath(root.get(), path.get());
    printAndRead(root.get());
    encode(root.get());
}

const tarn::fuzz::Target target("xml_body", fuzzXmlBody);

} // namespace
