// Adding elements, attributes and texts. Attributes do not take the types 3, 4, 7 and 8: writers of messages rely on
// being refused there.
#include <cstring>
#include <iterator>
#include <memory>
#include <type_traits>

#include "base/c_locale.h"
#include "base/log.h"
#include "tarn_conference/conf_xml.h"
#include "xml/xml_element.h"

namespace {

using tarn::detail::elementOf;
using tarn::detail::unlessOutOfMemory;
using tinyxml2::XMLElement;

constexpr const char* kLogName = "xmlAdapter";

// The value behind an address of any alignment. A string is the address itself, a bool any byte but zero.
template <typename Stored>
auto valueAt(const void* address) {
    if constexpr (std::is_same_v<Stored, const char*>) {
        return static_cast<const char*>(address);
    } else if constexpr (std::is_same_v<Stored, bool>) {
        return *static_cast<const unsigned char*>(address) != 0;
    } else {
        Stored value;
        std::memcpy(&value, address, sizeof value);
        return value;
    }
}

template <typename Stored, typename Written>
void writeAttribute(XMLElement& element, const char* name, const void* value) {
    const tarn::detail::CLocaleScope decimalPoint;
    element.SetAttribute(name, static_cast<Written>(valueAt<Stored>(value)));
}

template <typename Stored, typename Written>
void writeText(XMLElement& element, const void* value) {
    const tarn::detail::CLocaleScope decimalPoint;
    element.SetText(static_cast<Written>(valueAt<Stored>(value)));
}

struct ValueWriter {
    void (*attribute)(XMLElement& element, const char* name, const void* value); // null: refused
    void (*text)(XMLElement& element, const void* value);
};

template <typename Stored, typename Written = Stored>
constexpr ValueWriter kEverywhere = {writeAttribute<Stored, Written>, writeText<Stored, Written>};

template <typename Stored, typename Written = Stored>
constexpr ValueWriter kTextOnly = {nullptr, writeText<Stored, Written>};

// By ConfXmlValueType.
constexpr ValueWriter kWriters[] = {
    kEverywhere<const char*>, kEverywhere<int>,          kEverywhere<unsigned>,      kTextOnly<int8_t, int>,
    kTextOnly<uint8_t, int>,  kEverywhere<int16_t, int>, kEverywhere<uint16_t, int>, kTextOnly<int>,
    kTextOnly<unsigned>,      kEverywhere<int64_t>,      kEverywhere<uint64_t>,      kEverywhere<bool>,
    kEverywhere<double>,      kEverywhere<float>,
};
static_assert(std::size(kWriters) == CONF_XML_FLOAT + 1);

struct DeleteElement {
    void operator()(XMLElement* element) const { element->GetDocument()->DeleteNode(element); }
};

// Lets the document have a free place for an attribute, which it asks for by the block.
void makePlaceForAttribute(tinyxml2::XMLDocument& document) {
    const std::unique_ptr<XMLElement, DeleteElement> unlinked(document.NewElement(""));
    unlinked->SetAttribute("", "");
}

// tinyxml2 links an attribute before it has its name, and cannot take out one without. So the name's memory is asked
// for before it: the block that was just given back is the one that tinyxml2 gets. A block that is too long for the
// C library to set it aside could go to the attribute instead, which must have its place by then.
bool hasMemoryFor(XMLElement& element, const char* name) {
    constexpr size_t kSetAsideBytes = 1000;
    const size_t bytes = std::strlen(name) + 1;
    if (bytes > kSetAsideBytes) {
        makePlaceForAttribute(*element.GetDocument());
    }
    void* const block = ::operator new(bytes, std::nothrow);
    ::operator delete(block);
    return block != nullptr;
}

uint32_t writeOrRemove(XMLElement& element, const char* name, const ValueWriter& writer, const void* value) {
    if (!unlessOutOfMemory(false, [&] { return hasMemoryFor(element, name); })) {
        return CONF_XML_BAD_ARGUMENT;
    }
    try {
        writer.attribute(element, name, value);
        return CONF_XML_OK;
    } catch (const std::bad_alloc&) {
        element.DeleteAttribute(name); // it may be there without a value
        return CONF_XML_BAD_ARGUMENT;
    }
}

uint32_t writeOrRemove(XMLElement& element, const ValueWriter& writer, const void* value) {
    try {
        writer.text(element, value);
        return CONF_XML_OK;
    } catch (const std::bad_alloc&) {
        tinyxml2::XMLNode* const first = element.FirstChild();
        if (first != nullptr && first->ToText() != nullptr && first->Value() == nullptr) {
            element.DeleteChild(first);
        }
        return CONF_XML_BAD_ARGUMENT;
    }
}

using Insert = tinyxml2::XMLNode* (*)(XMLElement& parent, XMLElement* child);

void* createChild(const char* function, void* parentNode, const char* name, Insert insert) {
    if (parentNode == nullptr) {
        TARN_LOG_AS(function, CONF_LOG_ERROR, "parentNode is nullptr!");
        return nullptr;
    }
    if (name == nullptr) {
        return nullptr;
    }
    return unlessOutOfMemory<void*>(nullptr, [&]() -> void* {
        XMLElement& parent = *elementOf(parentNode);
        XMLElement* const child = parent.GetDocument()->NewElement(name);
        insert(parent, child);
        return child;
    });
}

} // namespace

void* ConfXmlCreateFirstChildNode(void* parentNode, const char* name) {
    return createChild(__func__, parentNode, name,
                       [](XMLElement& parent, XMLElement* child) { return parent.InsertFirstChild(child); });
}

void* ConfXmlCreateLastChildNode(void* parentNode, const char* name) {
    return createChild(__func__, parentNode, name,
                       [](XMLElement& parent, XMLElement* child) { return parent.InsertEndChild(child); });
}

uint32_t ConfXmlAddAttr(void* node, const char* name, uint32_t type, const void* value) {
    if (node == nullptr || name == nullptr || value == nullptr || type >= std::size(kWriters)) {
        return CONF_XML_BAD_ARGUMENT;
    }
    if (kWriters[type].attribute == nullptr) {
        return CONF_XML_UNSUPPORTED;
    }
    return writeOrRemove(*elementOf(node), name, kWriters[type], value);
}

uint32_t ConfXmlDeleteAttr(void* node, const char* name) {
    if (node == nullptr || name == nullptr) {
        return CONF_XML_UNSUPPORTED; // not the 15 of its neighbours; callers test for it
    }
    elementOf(node)->DeleteAttribute(name);
    return CONF_XML_OK;
}

uint32_t ConfXmlSetNodeText(void* node, int32_t type, const void* value) {
    if (node == nullptr || value == nullptr || type > CONF_XML_FLOAT) {
        return CONF_XML_BAD_ARGUMENT;
    }
    if (type < 0) {
        return CONF_XML_UNSUPPORTED;
    }
    return writeOrRemove(*elementOf(node), kWriters[type], value);
}
