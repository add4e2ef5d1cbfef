// Variables of the program kept in an XML file.
#include <cstring>
#include <fstream>
#include <string>

#include "promise.h"
// [includes]
#include "tarn_conference/conf_xml_tree.h"
#include "tarn_platform/om_path.h"
// [/includes]

namespace {

// [variables]
struct Speaker {
    char name[24];
    uint8_t volume;
};

struct {
    uint16_t width;
    int32_t drift;
    Speaker speakers[2];
} lasting;
// [/variables]

// [value]
void addValue(void* group, const char* name, const char* typeName, uint8_t type, const void* variable,
              uint32_t bytes = 0) {
    char address[24];
    std::snprintf(address, sizeof address, "%p", variable);
    const char* const nameAndType[2] = {name, typeName};
    const ValueSpec spec = {type, address, bytes};
    ConfXmlAddSingleValueNode(group, nameAndType, &spec);
}
// [/value]

// [table]
void* createIndexTable(uint32_t) {
    void* const root = ConfXmlAddSingleStructNode(nullptr, "Root");
    void* const video = ConfXmlAddSingleStructNode(root, "Video");
    addValue(video, "width", "UINT16", CONF_XML_ATTR_UINT16, &lasting.width);
    addValue(video, "drift", "INT32", CONF_XML_ATTR_INT32, &lasting.drift);
    void* const speakers = ConfXmlAddMultiInstanceNode(root, "Speakers", 2);
    for (uint32_t i = 0; i < 2; ++i) {
        Speaker& speaker = lasting.speakers[i];
        void* const group = ConfXmlAddMultiStructNode(speakers, "Speaker", i + 1);
        addValue(group, "name", "CHAR", CONF_XML_ATTR_CHAR, speaker.name, sizeof speaker.name);
        addValue(group, "volume", "UINT8", CONF_XML_ATTR_UINT8, &speaker.volume);
    }
    return root;
}
// [/table]

// [paths]
std::string fileName(const char* suffix) {
    const char* const storage = TarnOmCustUtilGetStoragePath();
    return std::string(storage == nullptr ? "." : storage).append("/lasting.xml").append(suffix);
}
// [/paths]

bool isFilled() {
    return lasting.width == 1920 && lasting.drift == -5 && std::strcmp(lasting.speakers[1].name, "Grace & Ada") == 0 &&
           lasting.speakers[1].volume == 80;
}

} // namespace

int main() {
    lasting = {1920, -5, {{"Edsger", 40}, {"Grace & Ada", 80}}};
    // [save]
    const uint32_t saved = ConfXmlSave(createIndexTable, fileName("").c_str(), fileName(".bak").c_str());
    // [/save]
    guide::promise(saved == 0, "a file written");

    lasting = {};
    // [load]
    const uint32_t loaded = ConfXmlLoad(createIndexTable, fileName("").c_str(), fileName(".bak").c_str());
    // [/load]
    guide::promise(loaded == 0 && isFilled(), "the values read back");

    // The file is spoilt; the backup serves.
    std::ofstream(fileName("")) << "<cfg";
    lasting = {};
    const uint32_t recovered = ConfXmlLoad(createIndexTable, fileName("").c_str(), fileName(".bak").c_str());
    guide::promise(recovered == 0 && isFilled(), "the values read back from the backup");
    return guide::result();
}
