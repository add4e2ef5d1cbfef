// Bodies out of flat descriptions. The first of several new elements goes before what the parent has already, the
// others behind it: receivers read some messages in that order.
#include "tarn_conference/conf_xml_encode.h"

#include <cstring>

#include "base/accounted.h"
#include "base/log.h"
#include "tarn_platform/bounds_checked.h"
#include "xml/document_owner.h"

namespace {

using tarn::detail::DocumentOwner;
using tarn::detail::kNullPointerText;

constexpr const char* kLogName = "xml_utility";
constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n";
static_assert(sizeof kDeclaration == 41, "readers skip the declaration by its length");

uint32_t setText(const char* function, void* node, const char* text) {
    const uint32_t result = ConfXmlSetNodeText(node, CONF_XML_STRING, text);
    if (result != CONF_XML_OK) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfXmlSetNodeText fail, ret = %d!", static_cast<int>(result));
    }
    return result;
}

uint32_t addAttributes(const char* function, void* node, const ConfXmlNodeSet& set) {
    const uint32_t result = ConfXmlAdptAddNodeAttrs(node, set.attrs, set.attrNum);
    if (result != CONF_XML_OK) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfXmlAdptAddNodeAttrs fail, ret = %d!", static_cast<int>(result));
    }
    return result;
}

// Text and attributes of a node set, as far as it has any; `function` logs.
uint32_t fillNode(const char* function, void* node, const ConfXmlNodeSet& set) {
    if (set.text != nullptr) {
        const uint32_t result = setText(function, node, set.text);
        if (result != CONF_XML_OK) {
            return result;
        }
    }
    return set.attrNum == 0 ? uint32_t{CONF_XML_OK} : addAttributes(function, node, set);
}

// Unlike `fillNode` this goes on behind what fails.
void ConfXmlSetAttrByNodeSet(void* node, const ConfXmlEncodeTree& tree) {
    const ConfXmlNodeSet& set = *tree.rootNode;
    ConfXmlSetNodeText(node, CONF_XML_STRING, set.text);
    for (uint32_t i = 0; set.attrs != nullptr && i < set.attrNum; ++i) {
        if (ConfXmlAddAttr(node, set.attrs[i].name, CONF_XML_STRING, set.attrs[i].value) != CONF_XML_OK) {
            TARN_LOG(CONF_LOG_ERROR, "add attr failed!");
        }
    }
    ConfXmlAdptAddChildNodes(node, tree.childNodes, tree.childNum);
}

void* fillCreated(const char* function, void* node, const ConfXmlEncodeTree& tree) {
    if (node == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfXmlCreateRootNode failed!");
        return nullptr;
    }
    ConfXmlSetAttrByNodeSet(node, tree);
    return node;
}

const char* nameOf(const ConfXmlEncodeTree& tree) {
    return tree.rootNode == nullptr ? nullptr : tree.rootNode->name;
}

// Prints the document into a block of the caller's.
char* printToBlock(const char* function, void* root) {
    const char* const body = ConfXmlTransformStr(root);
    if (body == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "tempXmlBuf is nullptr!");
        return nullptr;
    }
    const size_t bytes = std::strlen(body) + 1;
    auto block = bytes <= UINT32_MAX ? TARN_ALLOCATE(char, static_cast<uint32_t>(bytes)) : nullptr;
    if (block == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "xmlBuf is nullptr!");
        return nullptr;
    }
    char* const text = block.release();
    const errno_t copied = memcpy_s(text, bytes, body, bytes);
    if (copied != 0) {
        // The block stays allocated, as it always did.
        TARN_LOG_AS(function, CONF_LOG_ERROR, "memcpy_s fail, ret:%d", copied);
        return nullptr;
    }
    return text;
}

// `set` is what the root has besides its name; null for nothing.
char* encode(const char* function, const char* rootName, const ConfXmlNodeSet* set, const ConfXmlNodeSet* children,
             uint32_t childNum) {
    const DocumentOwner root(ConfXmlCreateRootNode(rootName));
    if (root == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "%s", kNullPointerText);
        return nullptr;
    }
    if (set != nullptr && fillNode(function, root.get(), *set) != CONF_XML_OK) {
        return nullptr;
    }
    const uint32_t result = ConfXmlAdptAddChildNodes(root.get(), children, childNum);
    if (result != CONF_XML_OK) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "ConfXmlAdptAddChildNodes fail, ret = %d!", static_cast<int>(result));
        return nullptr;
    }
    return printToBlock(function, root.get());
}

} // namespace

uint32_t ConfXmlAdptAddNodeAttrs(void* node, const ConfXmlAttrItem* attrs, uint32_t num) {
    if (node == nullptr || attrs == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "node or attrs is nullptr!");
        return CONF_XML_BAD_ARGUMENT;
    }
    for (uint32_t i = 0; i < num; ++i) {
        const uint32_t result = ConfXmlAddAttr(node, attrs[i].name, CONF_XML_STRING, attrs[i].value);
        if (result != CONF_XML_OK) {
            TARN_LOG(CONF_LOG_ERROR, "ConfXmlAddAttr fail, ret = %d!", static_cast<int>(result));
            return result;
        }
    }
    return CONF_XML_OK;
}

uint32_t ConfXmlAdptAddChildNodes(void* parent, const ConfXmlNodeSet* nodes, uint32_t num) {
    if (parent == nullptr || nodes == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "rootNode or nodes is nullptr!");
        return CONF_XML_BAD_ARGUMENT;
    }
    for (uint32_t i = 0; i < num; ++i) {
        void* const node = i == 0 ? ConfXmlCreateFirstChildNode(parent, nodes[i].name)
                                  : ConfXmlCreateLastChildNode(parent, nodes[i].name);
        if (node == nullptr) {
            TARN_LOG(CONF_LOG_ERROR, "tempNode is nullptr!");
            return CONF_XML_BAD_ARGUMENT;
        }
        const uint32_t result = fillNode(__func__, node, nodes[i]);
        if (result != CONF_XML_OK) {
            return result;
        }
    }
    return CONF_XML_OK;
}

void* ConfXmlCreateRootNodeByNodeSet(ConfXmlEncodeTree tree) {
    return fillCreated(__func__, ConfXmlCreateRootNode(nameOf(tree)), tree);
}

void* ConfXmlCreateChildNodeByNodeSet(void* parent, ConfXmlEncodeTree tree) {
    if (parent == nullptr) {
        return nullptr;
    }
    return fillCreated(__func__, ConfXmlCreateLastChildNode(parent, nameOf(tree)), tree);
}

char* ConfXmlAdptEncode(const ConfXmlEncodeReq* req) {
    if (req == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return nullptr;
    }
    return encode(__func__, req->rootName, nullptr, req->childNodes, req->childNum);
}

char* ConfXmlAdptEncodeWithRootAttr(const ConfXmlEncodeTree* req) {
    if (req == nullptr || req->rootNode == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return nullptr;
    }
    return encode(__func__, req->rootNode->name, req->rootNode, req->childNodes, req->childNum);
}

uint32_t ConfXmlDumpWithHeader(const char* xmlBody, char** xmlBodyWithHeader) {
    if (xmlBody == nullptr || xmlBodyWithHeader == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "xmlBody or xmlBodyWithHeader is nullptr!");
        return CONF_XML_BAD_ARGUMENT;
    }
    const size_t bytes = std::strlen(xmlBody) + sizeof kDeclaration;
    auto block = bytes <= UINT32_MAX ? TARN_ALLOCATE(char, static_cast<uint32_t>(bytes)) : nullptr;
    if (block == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "tempBody is nullptr!");
        return CONF_XML_BAD_ARGUMENT;
    }
    char* const text = block.release();
    const int length = sprintf_s(text, bytes, "%s%s", kDeclaration, xmlBody);
    if (length < 0) {
        // The block stays allocated, as it always did.
        TARN_LOG(CONF_LOG_ERROR, "sprintf_s fail, err = %d!", length);
        return CONF_XML_FORMAT_FAILED;
    }
    *xmlBodyWithHeader = text;
    return CONF_XML_OK;
}

const char* ConfXmlAdptGetNodeValueByUrl(void* rootNode, const char* url) {
    if (rootNode == nullptr || url == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "rootNode or url is nullptr!");
        return nullptr;
    }
    void* const node = ConfXmlGetNodeByPath(rootNode, url);
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_DEBUG, "ConfXmlGetNodeByPath fail! %s", url);
        return nullptr;
    }
    const char* const text = ConfXmlGetNodeText(node);
    if (text == nullptr) {
        TARN_LOG(CONF_LOG_DEBUG, "ConfXmlGetNodeText fail!");
    }
    return text;
}

const char* ConfXmlAdptGetNodeAttrByUrl(void* rootNode, const char* url, const char* attrName) {
    if (rootNode == nullptr || url == nullptr || attrName == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "rootNode or url or attrName is nullptr!");
        return nullptr;
    }
    void* const node = ConfXmlGetNodeByPath(rootNode, url);
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlGetNodeByPath fail!");
        return nullptr;
    }
    const char* const value = ConfXmlGetNodeStrAttr(node, attrName);
    if (value == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlGetNodeStrAttr fail!");
    }
    return value;
}
