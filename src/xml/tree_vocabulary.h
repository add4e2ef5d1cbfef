// The words of typed trees and their value types.
#pragma once

#include <bit>

#include "tarn_conference/conf_xml_tree.h"

namespace tarn::detail {

inline constexpr const char* kGroupElement = "cfg";
inline constexpr const char* kValueElement = "val";
inline constexpr const char* kNameAttribute = "name";
inline constexpr const char* kTypeAttribute = "type";
inline constexpr const char* kCharLenAttribute = "CharLen";
inline constexpr const char* kNumOfInstAttribute = "NumOfInst";
inline constexpr const char* kInstIdAttribute = "InstID";
inline constexpr const char* kCharType = "CHAR";

struct TreeType {
    const char* name;
    uint32_t bytes; // of a number
    ConfXmlValueType writtenAs;
};

// By ConfXmlAttrType.
inline constexpr TreeType kTreeTypes[] = {
    {"UINT8", 1, CONF_XML_UINT8},    {"INT8", 1, CONF_XML_INT8},     {"UINT16", 2, CONF_XML_UINT16},
    {"INT16", 2, CONF_XML_INT16},    {"UINT32", 4, CONF_XML_UINT32}, {"INT32", 4, CONF_XML_INT32},
    {kCharType, 0, CONF_XML_STRING},
};
inline constexpr uint8_t kTreeTypeCount = CONF_XML_ATTR_CHAR + 1;
static_assert(sizeof kTreeTypes / sizeof kTreeTypes[0] == kTreeTypeCount);

// A number's first bytes are its low ones: that is how values are cut and widened.
static_assert(std::endian::native == std::endian::little);

} // namespace tarn::detail
