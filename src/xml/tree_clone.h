// Copies of elements without their contents.
#pragma once

#include "tarn_conference/conf_xml_tree.h"

namespace tarn::detail {

struct Clone {
    void* node;            // null when it failed
    bool documentReleased; // the parent's whole document is gone
};

// `ConfXmlCloneSelfAsLastChildNode`, which also says what became of the parent.
Clone cloneAsLastChild(void* parent, const tagCONF_XML_NODE_INFO& info);

} // namespace tarn::detail
