// What elements of typed trees say about themselves, which of them match, and values between texts and variables.
#include <cstring>

#include "base/log.h"
#include "tarn_platform/bounds_checked.h"
#include "xml/tree_vocabulary.h"

namespace {

using namespace tarn::detail;

constexpr const char* kLogName = "xml_utility";
constexpr uint32_t kFailed = 1;

bool isNumberType(uint8_t type) {
    return type < CONF_XML_ATTR_CHAR;
}

uint16_t shortAttribute(void* node, const char* name) {
    return static_cast<uint16_t>(ConfXmlGetNodeUintAttr(node, name));
}

} // namespace

uint32_t ConfXmlAttrTypeStrToEnum(const char* str, uint8_t* out) {
    if (str == nullptr || out == nullptr) {
        return kFailed;
    }
    for (uint8_t type = 0; type < kTreeTypeCount; ++type) {
        if (std::strcmp(str, kTreeTypes[type].name) == 0) {
            *out = type;
            return 0;
        }
    }
    return kFailed;
}

uint32_t ConfXmlGetXmlNodeAttr(void* node, tagCONF_XML_NODE_INFO* info) {
    if (info == nullptr) {
        return kFailed;
    }
    info->node = node;
    const char* const name = ConfXmlGetNodeStrAttr(node, kNameAttribute);
    if (name != nullptr && strcpy_s(info->name, sizeof info->name, name) != 0) {
        return kFailed;
    }
    info->type = CONF_XML_ATTR_NONE;
    ConfXmlAttrTypeStrToEnum(ConfXmlGetNodeStrAttr(node, kTypeAttribute), &info->type);
    if (info->type == CONF_XML_ATTR_CHAR) {
        info->charLen = shortAttribute(node, kCharLenAttribute);
    }
    return 0;
}

uint32_t ConfXmlGetXmlNodeAttrAndValue(void* node, tagCONF_XML_NODE_INFO* info) {
    if (info == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "pNodeInfo is null");
        return kFailed;
    }
    const char* const elementName = ConfXmlGetNodeName(node);
    if (elementName == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlGetNodeText fail!");
        return kFailed;
    }
    if (strcpy_s(info->nodeName, sizeof info->nodeName, elementName) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "strcpy_s fail!");
        return kFailed;
    }
    if (ConfXmlGetXmlNodeAttr(node, info) != 0) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlGetXmlNodeAttr fail!");
        return kFailed;
    }
    info->numOfInst = shortAttribute(node, kNumOfInstAttribute);
    info->instId = shortAttribute(node, kInstIdAttribute);
    return 0;
}

uint32_t ConfXmlIsValueNode(const tagCONF_XML_NODE_INFO* info) {
    return info != nullptr && std::strcmp(info->nodeName, kValueElement) == 0 ? 1 : 0;
}

int32_t ConfXmlCompareNode(const tagCONF_XML_NODE_INFO* first, const tagCONF_XML_NODE_INFO* second, uint32_t) {
    if (first == nullptr || second == nullptr) {
        return 1;
    }
    const int order = std::strcmp(first->name, second->name);
    return order != 0 ? order : static_cast<int32_t>(first->instId != second->instId);
}

uint32_t ConfXmlMatchNode(void* first, void* second, ConfXmlCompareCallBack compare) {
    tagCONF_XML_NODE_INFO infos[2] = {};
    void* const nodes[] = {first, second};
    for (int i = 0; i < 2; ++i) {
        const uint32_t result = ConfXmlGetXmlNodeAttrAndValue(nodes[i], &infos[i]);
        if (result != 0) {
            return result;
        }
    }
    return compare == nullptr ? kFailed : static_cast<uint32_t>(compare(&infos[0], &infos[1], 0));
}

uint32_t ConfXmlFindMatchNode(void* indexNode, void* parent, ConfXmlCompareCallBack compare, void** found) {
    if (compare == nullptr || found == nullptr) {
        return kFailed;
    }
    tagCONF_XML_NODE_INFO wanted = {};
    const uint32_t described = ConfXmlGetXmlNodeAttrAndValue(indexNode, &wanted);
    if (described != 0) {
        return described;
    }
    for (void* child = ConfXmlGetNodeFirstChild(parent); child != nullptr; child = ConfXmlGetNodeNextSibling(child)) {
        tagCONF_XML_NODE_INFO info = {};
        const uint32_t result = ConfXmlGetXmlNodeAttrAndValue(child, &info);
        if (result != 0) {
            return result;
        }
        if (compare(&wanted, &info, 0) == 0) {
            *found = child;
            return 0;
        }
    }
    return kFailed;
}

uint32_t ConfXmlIsNumericStr(const char* str) {
    return str != nullptr && *str != '\0' && str[std::strspn(str, "0123456789")] == '\0' ? 1 : 0;
}

uint32_t ConfXmlGetValue(void* node, uint8_t type, tagCONF_XML_VALUE* out) {
    if (out == nullptr) {
        return kFailed;
    }
    out->type = type;
    if (type == CONF_XML_ATTR_CHAR) {
        out->value.text = ConfXmlGetNodeText(node);
        return 0;
    }
    if (!isNumberType(type)) {
        return kFailed;
    }
    const int32_t number = ConfXmlGetNodeIntText(node);
    out->value.text = nullptr;
    std::memcpy(&out->value, &number, kTreeTypes[type].bytes);
    return 0;
}

uint32_t ConfXmlCopyIndexValueToXmlNode(const tagCONF_XML_NODE_INFO* info, const void* address,
                                        tagCONF_XML_VALUE* out) {
    if (info == nullptr || address == nullptr || out == nullptr || info->type >= kTreeTypeCount) {
        return kFailed;
    }
    out->type = info->type;
    if (!isNumberType(info->type)) {
        out->value.text = static_cast<const char*>(address);
        return 0;
    }
    out->value.text = nullptr;
    std::memcpy(&out->value, address, kTreeTypes[info->type].bytes);
    return 0;
}

uint32_t ConfXmlSetXmlNodeValue(void* node, const tagCONF_XML_VALUE* value) {
    if (value == nullptr) {
        return kFailed;
    }
    uint32_t result = CONF_XML_UNSUPPORTED;
    if (value->type < kTreeTypeCount) {
        const void* const address =
            isNumberType(value->type) ? static_cast<const void*>(&value->value) : value->value.text;
        result = ConfXmlSetNodeText(node, kTreeTypes[value->type].writtenAs, address);
    }
    if (result != CONF_XML_OK) {
        TARN_LOG(CONF_LOG_ERROR, "ConfXmlSetNodeText fail, ret = %d!", static_cast<int>(result));
    }
    return result;
}

uint32_t ConfXmlCopyXmlNodeValueToIndex(const tagCONF_XML_VALUE* value, const tagCONF_XML_NODE_INFO* info,
                                        void* address) {
    if (value == nullptr || info == nullptr || address == nullptr || info->type >= kTreeTypeCount) {
        return kFailed;
    }
    if (isNumberType(info->type)) {
        std::memcpy(address, &value->value, kTreeTypes[info->type].bytes);
        return 0;
    }
    auto* const text = static_cast<char*>(address);
    if (value->value.text == nullptr) {
        *text = '\0';
        return 0;
    }
    return strcpy_s(text, info->charLen, value->value.text) == 0 ? 0 : kFailed;
}
