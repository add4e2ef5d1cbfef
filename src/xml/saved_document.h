// Saving a document to a file, with what tinyxml2 does not look at.
#pragma once

#include <cstdint>

namespace tarn::detail {

struct SavedDocument {
    uint32_t result; // as ConfXmlTransformFile answers it
    bool isWhole;    // every byte went to the file
};

SavedDocument saveDocument(void* node, const char* fileName);

} // namespace tarn::detail
