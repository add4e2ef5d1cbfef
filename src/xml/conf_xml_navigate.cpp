// The ways through a document. The end of a walk by iterator leaves an error record, "node is root!": readers of the
// log know it as the mark of a completed walk.
#include <cstring>
#include <string_view>

#include "base/log.h"
#include "tarn_conference/conf_xml.h"
#include "xml/xml_element.h"

namespace {

using tarn::detail::elementOf;
using tinyxml2::XMLElement;

constexpr const char* kLogName = "xmlAdapter";

XMLElement* firstChildNamed(XMLElement* parent, std::string_view name) {
    XMLElement* child = parent->FirstChildElement();
    while (child != nullptr && name != child->Name()) {
        child = child->NextSiblingElement();
    }
    return child;
}

} // namespace

uint32_t ConfXmlGetNodeChildNum(void* parentNode) {
    if (parentNode == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "parentNode is nullptr");
        return 0;
    }
    uint32_t count = 0;
    for (const XMLElement* child = elementOf(parentNode)->FirstChildElement(); child != nullptr;
         child = child->NextSiblingElement()) {
        ++count;
    }
    return count;
}

void* ConfXmlGetNodeFirstChild(void* parentNode) {
    if (parentNode == nullptr) {
        TARN_LOG(CONF_LOG_DEBUG, "parentNode is nullptr");
        return nullptr;
    }
    XMLElement* const child = elementOf(parentNode)->FirstChildElement();
    if (child == nullptr) {
        TARN_LOG(CONF_LOG_DEBUG, "this parentNode has no child!");
    }
    return child;
}

void* ConfXmlGetNodeNextSibling(void* node) {
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_DEBUG, "node is nullptr!");
        return nullptr;
    }
    return elementOf(node)->NextSiblingElement();
}

void* ConfXmlGetNodeParenet(void* node) {
    if (node == nullptr) {
        return nullptr;
    }
    if (ConfXmlIsRootNode(node)) {
        TARN_LOG(CONF_LOG_ERROR, "node is root!");
        return nullptr;
    }
    // The parent of a second element beside the root is the document, which is no element.
    return elementOf(node)->Parent()->ToElement();
}

void* ConfXmlGetNodeIterator(void* pstNode) {
    if (pstNode == nullptr) {
        TARN_LOG(CONF_LOG_DEBUG, "pstNode is nullptr!");
        return nullptr;
    }
    if (void* const child = ConfXmlGetNodeFirstChild(pstNode); child != nullptr) {
        return child;
    }
    for (void* node = pstNode; node != nullptr; node = ConfXmlGetNodeParenet(node)) {
        if (void* const sibling = ConfXmlGetNodeNextSibling(node); sibling != nullptr) {
            return sibling;
        }
    }
    return nullptr;
}

const char* ConfXmlGetNodeName(void* node) {
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "node is nullptr!");
        return nullptr;
    }
    return elementOf(node)->Name();
}

const char* ConfXmlGetNodeText(void* node) {
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "node is nullptr!");
        return nullptr;
    }
    return elementOf(node)->GetText();
}

int32_t ConfXmlGetNodeIntText(void* node) {
    if (node == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "node is nullptr!");
        return 0;
    }
    return elementOf(node)->IntText(0);
}

const char* ConfXmlGetNodeStrAttr(void* node, const char* name) {
    if (node == nullptr || name == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "invalid param!");
        return nullptr;
    }
    return elementOf(node)->Attribute(name);
}

int32_t ConfXmlGetNodeIntAttr(void* node, const char* name) {
    if (node == nullptr || name == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "invalid param!");
        return 0;
    }
    return elementOf(node)->IntAttribute(name, 0);
}

uint32_t ConfXmlGetNodeUintAttr(void* node, const char* name) {
    if (node == nullptr || name == nullptr) {
        TARN_LOG(CONF_LOG_ERROR, "invalid param!");
        return 0;
    }
    return elementOf(node)->UnsignedAttribute(name, 0);
}

void* ConfXmlGetNodeByPath(void* node, const char* path) {
    if (node == nullptr || path == nullptr || *path == '\0') {
        TARN_LOG(CONF_LOG_ERROR, "invalid param!");
        return nullptr;
    }
    XMLElement* current = elementOf(node);
    std::string_view rest(path);
    for (size_t blank = rest.find(' '); blank != std::string_view::npos; blank = rest.find(' ')) {
        const std::string_view name = rest.substr(0, blank);
        rest.remove_prefix(blank + 1);
        if (name == current->Name()) {
            continue;
        }
        current = firstChildNamed(current, name);
        if (current == nullptr) {
            return nullptr;
        }
    }
    return rest.empty() ? current : firstChildNamed(current, rest);
}
