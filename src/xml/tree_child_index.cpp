#include "xml/tree_child_index.h"

#include <algorithm>
#include <tuple>

#include "xml/tree_vocabulary.h"
#include "xml/xml_element.h"

namespace tarn::detail {

bool TreeChildIndex::less(const Child& left, const Child& right) {
    return std::tie(left.name, left.instId) < std::tie(right.name, right.instId);
}

TreeChildIndex::Children TreeChildIndex::describe(void* parent) {
    Children children;
    for (auto* child = elementOf(parent)->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
        const char* const name = child->Attribute(kNameAttribute);
        const std::string_view nameView = name == nullptr ? "" : name;
        if (nameView.size() >= CONF_XML_NAME_LEN || std::string_view(child->Name()).size() >= CONF_XML_NAME_LEN) {
            children.stop = child;
            break;
        }
        const auto instId = static_cast<uint16_t>(child->UnsignedAttribute(kInstIdAttribute, 0));
        children.sorted.push_back({nameView, instId, child});
    }
    std::ranges::stable_sort(children.sorted, less);
    return children;
}

const TreeChildIndex::Children* TreeChildIndex::childrenOf(void* parent) noexcept {
    return unlessOutOfMemory<const Children*>(nullptr, [&] {
        const auto found = known_.find(parent);
        return found != known_.end() ? &found->second : &known_.emplace(parent, describe(parent)).first->second;
    });
}

uint32_t TreeChildIndex::find(const tagCONF_XML_NODE_INFO& wanted, void* parent, void** found) {
    if (ConfXmlGetNodeFirstChild(parent) == nullptr) {
        return 1;
    }
    const Children* const children = childrenOf(parent);
    if (children == nullptr) {
        return ConfXmlFindMatchNode(wanted.node, parent, ConfXmlCompareNode, found);
    }
    const Child key = {wanted.name, wanted.instId, nullptr};
    const auto place = std::ranges::lower_bound(children->sorted, key, less);
    if (place != children->sorted.end() && !less(key, *place)) {
        *found = place->node;
        return 0;
    }
    if (children->stop != nullptr) {
        tagCONF_XML_NODE_INFO info = {};
        return ConfXmlGetXmlNodeAttrAndValue(children->stop, &info); // says what is wrong with it
    }
    return 1;
}

} // namespace tarn::detail
