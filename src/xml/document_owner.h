// Owns a document through one of its elements.
#pragma once

#include <memory>

#include "tarn_conference/conf_xml.h"

namespace tarn::detail {

struct FreeDocument {
    void operator()(void* node) const { ConfXmlFreeRootNode(node); }
};

using DocumentOwner = std::unique_ptr<void, FreeDocument>;

} // namespace tarn::detail
