// Elements of typed trees. An instance that cannot be made takes its whole document with it, its neighbours do not:
// builders of index tables are written for that.
#include <cstring>

#include "base/log.h"
#include "xml/document_owner.h"
#include "xml/tree_clone.h"
#include "xml/tree_vocabulary.h"

namespace {

using namespace tarn::detail;

constexpr const char* kLogName = "xml_utility";
constexpr const char* kNullParentText = "pParentNode is nullptr!";
constexpr const char* kAttributeText = "ConfXmlAddAttr fail, ret = %d!";

uint32_t addText(void* node, const char* name, const char* text) {
    return ConfXmlAddAttr(node, name, CONF_XML_STRING, text);
}

uint32_t addNumber(void* node, const char* name, uint16_t number) {
    return ConfXmlAddAttr(node, name, CONF_XML_UINT16, &number);
}

// Name and number of a group; the first failure ends it.
uint32_t addNameAndNumber(void* node, const char* name, const char* numberName, uint16_t number) {
    const uint32_t result = addText(node, kNameAttribute, name);
    return result != CONF_XML_OK ? result : addNumber(node, numberName, number);
}

uint32_t setTypedText(void* node, const ValueSpec& spec) {
    return spec.type < kTreeTypeCount ? ConfXmlSetNodeText(node, CONF_XML_STRING, spec.text)
                                      : uint32_t{CONF_XML_BAD_ARGUMENT};
}

uint32_t addValueAttributes(void* node, const char* const nameAndType[2], uint32_t length) {
    const uint32_t named = addText(node, kNameAttribute, nameAndType[0]);
    if (named != CONF_XML_OK) {
        return named;
    }
    const uint32_t typed = addText(node, kTypeAttribute, nameAndType[1]);
    if (typed != CONF_XML_OK || std::strcmp(nameAndType[1], kCharType) != 0) {
        return typed;
    }
    return addNumber(node, kCharLenAttribute, static_cast<uint16_t>(length));
}

// Adds a copy of a text attribute if the described element has it; `failure` is logged when that fails.
bool copyText(void* node, const char* name, const char* text, const char* failure) {
    if (text == nullptr || addText(node, name, text) == CONF_XML_OK) {
        return true;
    }
    TARN_LOG_AS("ConfXmlCloneSelfAsLastChildNode", CONF_LOG_ERROR, "%s", failure);
    return false;
}

bool copyNumber(void* node, const char* name, bool present, uint16_t number) {
    return !present || addNumber(node, name, number) == CONF_XML_OK;
}

bool copyAttributes(void* node, const tagCONF_XML_NODE_INFO& info) {
    const auto attribute = [&](const char* name) { return ConfXmlGetNodeStrAttr(info.node, name); };
    const char* const type = attribute(kTypeAttribute);
    const bool isChar = type != nullptr && std::strcmp(type, kCharType) == 0;
    return copyText(node, kNameAttribute, attribute(kNameAttribute), "ConfXmlAddAttr name fail!") &&
           copyText(node, kTypeAttribute, type, "ConfXmlAddAttr type fail") &&
           copyNumber(node, kCharLenAttribute, isChar && attribute(kCharLenAttribute) != nullptr, info.charLen) &&
           copyNumber(node, kNumOfInstAttribute, attribute(kNumOfInstAttribute) != nullptr, info.numOfInst) &&
           copyNumber(node, kInstIdAttribute, attribute(kInstIdAttribute) != nullptr, info.instId);
}

} // namespace

namespace tarn::detail {

Clone cloneAsLastChild(void* parent, const tagCONF_XML_NODE_INFO& info) {
    void* const node = ConfXmlCreateLastChildNode(parent, info.nodeName);
    if (node == nullptr) {
        TARN_LOG_AS("ConfXmlCloneSelfAsLastChildNode", CONF_LOG_ERROR, "ConfXmlCreateLastChildNode fail!");
        return {nullptr, false};
    }
    if (!copyAttributes(node, info)) {
        ConfXmlFreeRootNode(node);
        return {nullptr, true};
    }
    return {node, false};
}

} // namespace tarn::detail

void* ConfXmlAddSingleStructNode(void* parent, const char* name) {
    void* const node =
        parent == nullptr ? ConfXmlCreateRootNode(kGroupElement) : ConfXmlCreateLastChildNode(parent, kGroupElement);
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "Create child node fail");
        return nullptr;
    }
    DocumentOwner ownDocument(parent == nullptr ? node : nullptr);
    const uint32_t result = addText(node, kNameAttribute, name);
    if (result != CONF_XML_OK) {
        TARN_LOG(CONF_LOG_ERROR, kAttributeText, static_cast<int>(result));
        return nullptr;
    }
    static_cast<void>(ownDocument.release());
    return node;
}

void* ConfXmlAddMultiInstanceNode(void* parent, const char* name, int32_t numOfInst) {
    if (parent == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullParentText);
        return nullptr;
    }
    void* const node = ConfXmlCreateLastChildNode(parent, kGroupElement);
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlCreateLastChildNode fail");
        return nullptr;
    }
    const uint32_t result = addNameAndNumber(node, name, kNumOfInstAttribute, static_cast<uint16_t>(numOfInst));
    if (result != CONF_XML_OK) {
        TARN_LOG(CONF_LOG_ERROR, kAttributeText, static_cast<int>(result));
        return nullptr;
    }
    return node;
}

void* ConfXmlAddMultiStructNode(void* parent, const char* name, uint32_t instId) {
    if (parent == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullParentText);
        return nullptr;
    }
    void* const node = ConfXmlCreateLastChildNode(parent, kGroupElement);
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlCreateLastChildNode is nullptr!");
        ConfXmlFreeRootNode(parent);
        return nullptr;
    }
    const uint32_t result = addNameAndNumber(node, name, kInstIdAttribute, static_cast<uint16_t>(instId));
    if (result != CONF_XML_OK) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlAddAttr, ret = %d!", static_cast<int>(result));
        return nullptr;
    }
    return node;
}

void* ConfXmlAddSingleValueNode(void* parent, const char* const nameAndType[2], const ValueSpec* spec) {
    if (parent == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullParentText);
        return nullptr;
    }
    if (nameAndType == nullptr || spec == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "%s", kNullPointerText);
        return nullptr;
    }
    void* const node = ConfXmlCreateLastChildNode(parent, kValueElement);
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlCreateLastChildNode fail");
        return nullptr;
    }
    const uint32_t textResult = setTypedText(node, *spec);
    if (textResult != CONF_XML_OK) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlSetNodeText fail, ret = %d!", static_cast<int>(textResult));
        return nullptr;
    }
    const uint32_t attributeResult = addValueAttributes(node, nameAndType, spec->length);
    if (attributeResult != CONF_XML_OK) {
        TARN_LOG(CONF_LOG_ERROR, kAttributeText, static_cast<int>(attributeResult));
        return nullptr;
    }
    return node;
}

void* ConfXmlCloneSelfAsLastChildNode(void* parent, tagCONF_XML_NODE_INFO* info) {
    return parent == nullptr || info == nullptr ? nullptr : cloneAsLastChild(parent, *info).node;
}
