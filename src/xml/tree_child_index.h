// Children of loaded elements, found in logarithmic time where `ConfXmlFindMatchNode` looks at one after the other. The
// answers are the same, its records in the log among them.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarn_conference/conf_xml_tree.h"

namespace tarn::detail {

class TreeChildIndex {
 public:
    // `ConfXmlFindMatchNode` by `ConfXmlCompareNode`.
    uint32_t find(const tagCONF_XML_NODE_INFO& wanted, void* parent, void** found);

 private:
    struct Child {
        std::string_view name; // the document's
        uint16_t instId;
        void* node;
    };
    struct Children {
        std::vector<Child> sorted; // equal ones in document order
        void* stop = nullptr;      // the first child that cannot be described; none behind it is found
    };

    static bool less(const Child& left, const Child& right);
    static Children describe(void* parent);

    // Null when memory is out.
    const Children* childrenOf(void* parent) noexcept;

    std::unordered_map<void*, Children> known_;
};

} // namespace tarn::detail
